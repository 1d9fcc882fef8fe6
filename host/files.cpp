// The file operations of the device. Never log; block only as long as the file system does.
//
// The daemon works as root in directories where others may write (/tmp). Therefore no operation follows a symbolic
// link in the last place of a path, and none waits for the other end of a FIFO.
#include "platform/device_utils.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/other_instance.h"
#include "host/say_once.h"
#include "posix/descriptor.h"

namespace {

// Readable by all: other programs of the router read every file that is written here.
constexpr mode_t FILE_MODE = 0644;

constexpr int OPEN_FLAGS = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Not open, with EEXIST, when something stands there already. The parent's umask does not count; a file that is not
// new, somebody else's or the kernel's, keeps the mode that it has.
descriptor create_file(const char *path) {
    descriptor file(open(path, OPEN_FLAGS | O_EXCL, FILE_MODE));
    if (file.is_open()) {
        [[maybe_unused]] const int result = fchmod(file.get(), FILE_MODE);  // some file systems have no modes
    }
    return file;
}

bool write_all(int fd, const char *text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

// The pid file that create_pidfile() left to another instance; empty without one.
std::string &refused_path() {
    static std::string path;
    return path;
}

}  // namespace

int create_pidfile(const char *path) {
    const std::string own = std::to_string(getpid());
    const std::string other = other_instance(path);
    if (other.empty()) {
        return write_str_to_file(path, own.c_str());
    }
    refused_path() = path;
    say_once(
        "zelt: " + running_program("self") + " runs already as process " + other + " (" + path +
        "): the two clear each other's values and take turns at the module; end one of them, best this one, process " +
        own);
    return -1;
}

int create_empty_file(const char *path) {
    return create_file(path).is_open() || errno == EEXIST ? 0 : -1;
}

// A daemon that gives up deletes its pid file: not the one of another daemon.
int delete_file(const char *path) {
    if (path == refused_path() && !other_instance(path).empty()) {
        return -1;
    }
    return unlink(path) == 0 || errno == ENOENT ? 0 : -1;
}

bool file_exists(const char *path) {
    return access(path, F_OK) == 0;
}

// In place, not by renaming a finished copy: some of the paths are kernel files below /sys and /proc. On a full disk
// the file stays with what fitted.
int write_str_to_file(const char *path, const char *text) {
    descriptor file = create_file(path);
    if (!file.is_open() && errno == EEXIST) {
        file = descriptor(open(path, OPEN_FLAGS | O_TRUNC, FILE_MODE));
    }
    if (!file.is_open() || !write_all(file.get(), text, std::strlen(text))) {
        return -1;
    }
    return file.close();
}
