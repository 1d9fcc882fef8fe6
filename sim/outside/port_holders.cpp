#include "sim/outside/port_holders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "sim/scenario/line_text.h"

namespace {

namespace fs = std::filesystem;

// A device has one number under all its names. Not so pseudo-terminals: each container counts its own from 0.
bool is_same(const struct stat &a, const struct stat &b) {
    constexpr unsigned int FIRST_PSEUDO_TERMINAL = 136;
    constexpr unsigned int LAST_PSEUDO_TERMINAL = 143;
    const auto kind = major(a.st_rdev);
    const bool is_pseudo = kind >= FIRST_PSEUDO_TERMINAL && kind <= LAST_PSEUDO_TERMINAL;
    return S_ISCHR(b.st_mode) && a.st_rdev == b.st_rdev && (!is_pseudo || a.st_dev == b.st_dev);
}

bool has_open(const fs::path &process, const struct stat &wanted) {
    std::error_code error;
    const fs::directory_iterator descriptors(process / "fd", error);
    return std::any_of(begin(descriptors), end(descriptors), [&wanted](const fs::directory_entry &entry) {
        struct stat found {};
        return stat(entry.path().c_str(), &found) == 0 && is_same(wanted, found);
    });
}

}  // namespace

std::vector<port_holder> holders_of(const std::string &device) {
    struct stat wanted {};
    std::vector<port_holder> holders;
    constexpr unsigned int MEMORY = 1;  // "/dev/null" and its like are open everywhere, and no ports
    if (stat(device.c_str(), &wanted) != 0 || !S_ISCHR(wanted.st_mode) || major(wanted.st_rdev) == MEMORY) {
        return holders;
    }
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/proc", error)) {
        const auto pid = to_number<pid_t>(entry.path().filename().string());
        if (pid && *pid != getpid() && has_open(entry.path(), wanted)) {
            std::string name;
            std::ifstream file(entry.path() / "comm");
            std::getline(file, name);
            holders.push_back({*pid, name});
        }
    }
    return holders;
}
