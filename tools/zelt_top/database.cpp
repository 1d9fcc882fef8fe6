#include "tools/zelt_top/database.h"

#include <utility>

#include "posix/clock.h"
#include "tools/zelt_top/runtime_state.h"

namespace zelt_top {

view::reading database::read() {
    view::reading result;
    result.folder = folder_;
    view::snapshot cell;
    if (const int failed = reader_.list(&cell, &result.foreign_keys); failed == 0) {
        result.cell = std::move(cell);
        result.port = view::read_port(reader_.values_beside(), static_cast<double>(seconds_since_boot()));
    } else {
        result.problem = sysdb_is_absent(failed) ? "Database not there yet: " + folder_ +
                                                       ". Start the daemon, or name its folder in SYSDB_DIR."
                                                 : "Database not readable: " + sysdb_problem(folder_, failed) + ".";
    }
    result.taken_at = seconds_since_1970();
    result.commits = reader_.changes();
    // Every commit writes to this file, whoever made it: the only record of the time before the view began.
    result.seconds_since_commit = age_of_file(folder_ + "/data.mdb");
    return result;
}

}  // namespace zelt_top
