#include "tools/zelt_top/runtime_state.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/clock.h"
#include "posix/descriptor.h"
#include "posix/device_holders.h"
#include "view/characters.h"

namespace zelt_top {

namespace {

// The daemon's own exchanges hold the lock for less.
constexpr double OLD_LOCK_SECONDS = 10;

bool exists(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

// The text that a file begins with; nothing when it cannot be opened. "/tmp" belongs to everybody: a link is not
// followed, and a FIFO at whose other end nobody is not waited for.
std::optional<std::istringstream> beginning_of(const std::string &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.is_open()) {
        return std::nullopt;
    }
    std::array<char, 64> text{};
    const ssize_t size = read(file.get(), text.data(), text.size());
    return std::istringstream(std::string(text.data(), static_cast<std::size_t>(size > 0 ? size : 0)));
}

view::runtime_state::process look_for_daemon(const std::string &pid_file) {
    auto file = beginning_of(pid_file);
    if (!file) {
        return view::runtime_state::process::no_pid_file;
    }
    pid_t pid = 0;
    *file >> pid;
    // 0 and negative numbers would ask for whole process groups. A process of another user refuses, and lives.
    const bool lives = *file && pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
    return lives ? view::runtime_state::process::running : view::runtime_state::process::gone;
}

// The daemon writes whole seconds since boot, 32 bits.
std::optional<double> seconds_since(const std::string &path) {
    auto file = beginning_of(path);
    std::uint32_t then = 0;
    const long long now = seconds_since_boot();
    if (!file || !(*file >> then) || then > now) {
        return std::nullopt;  // a time still to come was left by another boot
    }
    return static_cast<double>(now - then);
}

std::string first_word(const std::string &path) {
    std::string word;
    if (auto file = beginning_of(path)) {
        *file >> word;
    }
    return word;
}

// "minicom, process 4711"; empty when there is none to be seen. The daemon is not meant.
std::string find_holder(const std::string &port, const std::string &daemon) {
    for (const device_holder &holder : holders_of_device(port)) {
        if (std::to_string(holder.pid) != daemon) {
            return view::harmless(in_words({holder}));
        }
    }
    return {};
}

}  // namespace

std::optional<double> age_of_file(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const timespec &then = status.st_mtim;
    const double age =
        seconds_since_1970() - static_cast<double>(then.tv_sec) - static_cast<double>(then.tv_nsec) * 1e-9;
    // Routers start without the time of day; when it is set, older records turn out years old or of the future.
    constexpr double LONGEST_BELIEVED = 30.0 * 86400;
    // File times are those of the last tick, a little behind.
    return age > -1 && age < LONGEST_BELIEVED ? std::optional(std::max(age, 0.0)) : std::nullopt;
}

view::runtime_state read_runtime_state(const runtime_files &files, bool port_troubled) {
    view::runtime_state around{look_for_daemon(files.pid_file), !exists(files.running), exists(files.module_device),
                               seconds_since(files.link_change)};
    around.module_in_box = exists(files.module_in_box);
    around.seconds_locked = age_of_file(files.lock);
    if (port_troubled || around.seconds_locked.value_or(0) > OLD_LOCK_SECONDS) {
        around.holder = find_holder(files.module_device, first_word(files.pid_file));
        // Other users' descriptors are root's to see; the box has process numbers of its own.
        around.sees_all_programs = geteuid() == 0 && !around.module_in_box;
    }
    return around;
}

}  // namespace zelt_top
