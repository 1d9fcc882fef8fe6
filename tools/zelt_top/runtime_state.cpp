#include "tools/zelt_top/runtime_state.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <fstream>

#include <unistd.h>

namespace zelt_top {

namespace {

bool exists(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

view::runtime_state::process look_for_daemon(const std::string &pid_file) {
    std::ifstream file(pid_file);
    if (!file) {
        return view::runtime_state::process::no_pid_file;
    }
    pid_t pid = 0;
    file >> pid;
    // 0 and negative numbers would ask for whole process groups. A process of another user refuses, and lives.
    const bool lives = file && pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
    return lives ? view::runtime_state::process::running : view::runtime_state::process::gone;
}

// The daemon writes whole seconds since boot, 32 bits.
std::optional<double> seconds_since(const std::string &path) {
    std::ifstream file(path);
    std::uint32_t then = 0;
    timespec now{};
    if (!(file >> then) || clock_gettime(CLOCK_BOOTTIME, &now) != 0 || then > now.tv_sec) {
        return std::nullopt;  // a time still to come was left by another boot
    }
    return static_cast<double>(now.tv_sec - then);
}

}  // namespace

view::runtime_state read_runtime_state(const runtime_files &files) {
    return {look_for_daemon(files.pid_file), !exists(files.running), exists(files.module_device),
            seconds_since(files.link_change)};
}

}  // namespace zelt_top
