#include "sim/outside/daemons.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include <unistd.h>

#include "posix/device_holders.h"
#include "sim/handover.h"
#include "sim/scenario/line_text.h"

namespace {

namespace fs = std::filesystem;

bool is_daemon(const fs::path &process) {
    std::string name;
    std::ifstream file(process / "comm");
    return std::getline(file, name) && name == "zelt-stats";
}

// The daemon's name for its port, as a name of ours. Links lead where they lead for the daemon, which may be in a box.
// Another user's daemon does not show us where it lives: on the machine itself, most likely.
std::string port_of(const fs::path &process) {
    const fs::path root = process / "root";
    if (access((root / "dev").c_str(), X_OK) != 0) {
        return MODULE_PORT;
    }
    fs::path port = MODULE_PORT;
    std::error_code is_no_link;
    for (int links = 0; links < 8; ++links) {
        const fs::path target = fs::read_symlink(root / port.relative_path(), is_no_link);
        if (is_no_link) {
            break;
        }
        port = port.parent_path() / target;
    }
    return root / port.relative_path();
}

}  // namespace

std::vector<pid_t> daemons_at(const std::string &port) {
    std::vector<pid_t> found;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/proc", error)) {
        const auto pid = to_number<pid_t>(entry.path().filename().string());
        if (pid && is_daemon(entry.path()) && is_same_device(port_of(entry.path()), port)) {
            found.push_back(*pid);
        }
    }
    return found;
}
