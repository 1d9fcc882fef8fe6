#include "tools/zelt_top/database.h"

#include <ctime>

#include <sys/stat.h>

namespace zelt_top {

namespace {

// Every commit writes to this file, whoever made it: the only record of the time before the view began.
std::optional<double> seconds_since_commit(const std::string &folder) {
    struct stat status {};
    timespec now{};
    if (stat((folder + "/data.mdb").c_str(), &status) != 0 || clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return std::nullopt;
    }
    const auto seconds = [](const timespec &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double age = seconds(now) - seconds(status.st_mtim);
    // Routers start without the time of day; when it is set, older records turn out years old or of the future.
    constexpr double longest_believed = 30.0 * 86400;
    // File times are those of the last tick, a little behind.
    return age > -1 && age < longest_believed ? std::optional(age > 0 ? age : 0) : std::nullopt;
}

}  // namespace

int database::read_into(reading &result) {
    if (!environment_.is_open() || environment_.is_stale()) {
        if (const int opened = environment_.open(folder_, sysdb_access::read); opened != 0) {
            return opened;
        }
    }
    // Before the transaction: a commit in between shows at the next reading, and is not lost.
    result.commits = environment_.change_counter();
    sysdb_transaction transaction;
    if (const int begun = transaction.begin(environment_, "CELL", sysdb_access::read); begun != 0) {
        return begun;
    }
    snapshot cell;
    if (const int listed = transaction.list(&cell, &result.foreign_keys); listed != 0) {
        return listed;
    }
    result.cell = std::move(cell);
    return 0;
}

reading database::read() {
    reading result;
    result.folder = folder_;
    if (const int failed = read_into(result); failed != 0) {
        result.problem = sysdb_is_absent(failed) ? "Database not there yet: " + folder_ +
                                                       ". Start the daemon, or name its folder in SYSDB_DIR."
                                                 : "Database not readable: " + sysdb_problem(folder_, failed) + ".";
        environment_.close();
    }
    result.seconds_since_commit = seconds_since_commit(folder_);
    return result;
}

}  // namespace zelt_top
