// What the run-time files and the running programs tell of the daemon and of the module. Reads files only; opens no
// device; never logs.
#pragma once

#include <optional>
#include <string>

#include "view/observation.h"

namespace zelt_top {

// The paths of the daemon; tests give others.
struct runtime_files {
    std::string pid_file = "/var/run/zelt-stats.pid";
    std::string running = "/tmp/zstats.running";
    std::string link_change = "/tmp/cell_last_connect_changed_time";
    std::string module_device = "/dev/ttyQSB3";
    std::string lock = "/tmp/zelt.cli";
    std::string module_in_box = "/run/zelt-sim.module";
};

// Only in trouble, or when the lock is old, it is worth looking through all programs for one that has the port open.
view::runtime_state read_runtime_state(const runtime_files &files, bool port_troubled);

// Seconds since it was written; nothing when there is no such file, or when the clock was set since.
std::optional<double> age_of_file(const std::string &path);

}  // namespace zelt_top
