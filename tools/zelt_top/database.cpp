#include "tools/zelt_top/database.h"

#include <ctime>
#include <utility>

#include <sys/stat.h>

namespace zelt_top {

namespace {

double seconds(const timespec &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Every commit writes to this file, whoever made it: the only record of the time before the view began.
std::optional<double> seconds_since_commit(const std::string &folder) {
    struct stat status {};
    timespec now{};
    if (stat((folder + "/data.mdb").c_str(), &status) != 0 || clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return std::nullopt;
    }
    const double age = seconds(now) - seconds(status.st_mtim);
    // Routers start without the time of day; when it is set, older records turn out years old or of the future.
    constexpr double longest_believed = 30.0 * 86400;
    // File times are those of the last tick, a little behind.
    return age > -1 && age < longest_believed ? std::optional(age > 0 ? age : 0) : std::nullopt;
}

double seconds_since_boot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<double>(now.tv_sec);
}

}  // namespace

view::reading database::read() {
    view::reading result;
    result.folder = folder_;
    view::snapshot cell;
    if (const int failed = reader_.list(&cell, &result.foreign_keys); failed == 0) {
        result.cell = std::move(cell);
        result.port = view::read_port(reader_.values_beside(), seconds_since_boot());
    } else {
        result.problem = sysdb_is_absent(failed) ? "Database not there yet: " + folder_ +
                                                       ". Start the daemon, or name its folder in SYSDB_DIR."
                                                 : "Database not readable: " + sysdb_problem(folder_, failed) + ".";
    }
    if (timespec now{}; clock_gettime(CLOCK_REALTIME, &now) == 0) {
        result.taken_at = seconds(now);
    }
    result.commits = reader_.changes();
    result.seconds_since_commit = seconds_since_commit(folder_);
    return result;
}

}  // namespace zelt_top
