// Prints each change of a named database, until SIGINT or SIGTERM arrives or nobody reads the output any more.
#pragma once

#include <string>

// A database that is not there is an empty one: its keys are shown when it appears, as deleted when it vanishes.
// A change is shown 50 ms after its commit, together with what other transactions changed until then. In between
// nothing runs: the kernel wakes it, or, where it gives no notices, a look every 2 s.
struct watch_end {
    int problem = 0;       // the database's fault that ended it, in the words of sysdb_problem()
    int output_error = 0;  // the errno of the output that could not be written
};

// with_time: the time at which the change was seen, in UTC to the millisecond, stands in front of each.
watch_end watch_changes(const std::string &folder, const char *named_database, bool json, bool with_time);
