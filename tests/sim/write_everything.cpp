// Runs in the box in place of the daemon: tries to write everything below "/proc", "/sys" and "/dev" but the folders of
// processes, and prints what it could. On a host without walls it does no harm: a kernel setting gets back the value
// that it has, and of everything else nothing but the opening is tried.
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

bool is_process(const fs::path &path) {
    const std::string name = path.filename();
    return path.parent_path() == "/proc" && name.find_first_not_of("0123456789") == std::string::npos;
}

void try_folder(const fs::path &folder) {
    const fs::path file = folder / "box_test";
    if (descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)).is_open()) {
        unlink(file.c_str());
        std::printf("filled %s\n", folder.c_str());
    }
}

void try_file(const fs::path &path) {
    const descriptor file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
    if (!file.is_open()) {
        return;
    }
    const bool is_setting = path.string().starts_with("/proc/sys/");
    const std::string value = is_setting ? content_of(path) : "";
    const bool written = !value.empty() && write(file.get(), value.data(), value.size()) >= 0;
    std::printf("%s %s\n", written ? "wrote" : "opened", path.c_str());
}

void try_all_below(const fs::path &folder) {
    std::error_code ignored;
    try_folder(folder);
    for (const auto &entry : fs::directory_iterator(folder, ignored)) {
        if (entry.is_symlink(ignored) || is_process(entry.path())) {
            continue;
        }
        entry.is_directory(ignored) ? try_all_below(entry.path()) : try_file(entry.path());
    }
}

}  // namespace

int main() {
    for (const char *root : {"/proc", "/sys", "/dev"}) {
        try_all_below(root);
    }
    std::puts("tried everything");
}
