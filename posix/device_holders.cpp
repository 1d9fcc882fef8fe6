#include "posix/device_holders.h"

#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// A device has one number under all its names. Not so pseudo-terminals: each container counts its own from 0.
struct device {
    unsigned int major_number;
    unsigned int minor_number;
    dev_t file_system;
    bool operator==(const device &) const = default;

    bool is_pseudo_terminal() const {
        constexpr unsigned int FIRST = 136;
        constexpr unsigned int LAST = 143;
        return major_number >= FIRST && major_number <= LAST;
    }
    // The end from which programs play devices: one device for all, told apart only by what the kernel says of it.
    bool is_other_end() const { return major_number == 5 && minor_number == 2; }
    // "/dev/null" and its like are open everywhere, and no ports.
    bool is_memory() const { return major_number == 1; }
};

// Without asking the server of a network file system, which may be gone.
std::optional<device> device_behind(int folder, const char *name) {
    struct statx status {};
    if (statx(folder, name, AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_TYPE, &status) != 0 ||
        !S_ISCHR(status.stx_mode)) {
        return std::nullopt;
    }
    device found{status.stx_rdev_major, status.stx_rdev_minor, 0};
    if (found.is_pseudo_terminal()) {
        found.file_system = makedev(status.stx_dev_major, status.stx_dev_minor);
    }
    return found;
}

struct closes_folder {
    void operator()(DIR *folder) const { closedir(folder); }
};
using open_folder = std::unique_ptr<DIR, closes_folder>;

// "tty-index:	3" stands in what the kernel says of the other end of pseudo-terminal 3.
bool is_other_end_of(const device &wanted, const std::string &process, const char *number) {
    std::ifstream file("/proc/" + process + "/fdinfo/" + number);
    for (std::string word; file >> word;) {
        unsigned int index = 0;
        if (word == "tty-index:" && file >> index) {
            return index == wanted.minor_number;
        }
    }
    return false;
}

bool holds(const std::string &process, const device &wanted) {
    const open_folder descriptors(opendir(("/proc/" + process + "/fd").c_str()));
    bool has_it = false;
    while (const dirent *entry = descriptors ? readdir(descriptors.get()) : nullptr) {
        const std::optional<device> found = device_behind(dirfd(descriptors.get()), entry->d_name);
        if (found && found->is_other_end() && wanted.is_pseudo_terminal() &&
            is_other_end_of(wanted, process, entry->d_name)) {
            return false;
        }
        has_it = has_it || found == wanted;
    }
    return has_it;
}

std::string name_of(const std::string &process) {
    std::string name;
    std::ifstream file("/proc/" + process + "/comm");
    std::getline(file, name);
    return name;
}

}  // namespace

std::vector<device_holder> holders_of_device(const std::string &device_name) {
    std::vector<device_holder> holders;
    const std::optional<device> wanted = device_behind(AT_FDCWD, device_name.c_str());
    if (!wanted || wanted->is_memory()) {
        return holders;
    }
    const open_folder processes(opendir("/proc"));
    while (const dirent *entry = processes ? readdir(processes.get()) : nullptr) {
        const std::string process = entry->d_name;
        const auto pid = static_cast<pid_t>(std::strtol(process.c_str(), nullptr, 10));  // 0 for what is no process
        if (pid > 0 && pid != getpid() && holds(process, *wanted)) {
            holders.push_back({pid, name_of(process)});
        }
    }
    return holders;
}

bool is_same_device(const std::string &one, const std::string &other) {
    const std::optional<device> found = device_behind(AT_FDCWD, one.c_str());
    return found && found == device_behind(AT_FDCWD, other.c_str());
}

std::string in_words(const std::vector<device_holder> &holders) {
    std::string words;
    for (const device_holder &holder : holders) {
        words += (words.empty() ? "" : "; ") + holder.name;
        words += holder.pid > 0 ? ", process " + std::to_string(holder.pid) : "";
    }
    return words;
}
