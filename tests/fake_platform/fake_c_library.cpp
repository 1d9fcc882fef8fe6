// The C library calls that the daemon makes, led here by the linker. Calls of other code (the test framework's) go on
// to the real library where the difference matters.
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "tests/fake_platform/fake_platform.h"

using fake::enter;
using fake::enter_unseen;
using fake::misuse;
using fake::platform;

namespace {

constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";

struct c_library_state {
    int time_file = -1;  // opened, and not a stream yet
    bool time_file_is_written = false;
    std::map<int, std::string> peers;  // of connected sockets
};

c_library_state &c_library() {
    static c_library_state state;
    return state;
}

const char *priority_name(int priority) {
    static constexpr std::array<const char *, 8> NAMES{"emerg",   "alert",  "crit", "err",
                                                       "warning", "notice", "info", "debug"};
    return NAMES.at(static_cast<std::size_t>(LOG_PRI(priority)));
}

// Neither a link is followed nor a FIFO waited for, and no command that the daemon runs inherits the descriptor. Not
// truncated: that comes when it is known to be a file.
void check_time_file_flags(int flags) {
    constexpr int EITHER_WAY = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    if (flags != (O_RDONLY | EITHER_WAY) && flags != (O_WRONLY | O_CREAT | EITHER_WAY)) {
        misuse("open of the time file with flags " + std::to_string(flags));
    }
}

// What the daemon has written to a file that it opened itself goes back to the fake's files when it closes the stream.
ssize_t append_to_file(void *path, const char *text, std::size_t length) {
    platform().files[static_cast<const char *>(path)].append(text, length);
    return static_cast<ssize_t>(length);
}

}  // namespace

// The names are the linker's: --wrap=sleep leads to __wrap_sleep and leaves the real one as __real_sleep.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char *path, int flags, ...);
std::FILE *__real_fdopen(int fd, const char *mode);
unsigned int __real_sleep(unsigned int seconds);

void __wrap_openlog(const char *identity, int options, int facility) {
    enter("openlog", std::string(identity) + " " + std::to_string(options) + " " + std::to_string(facility));
}

void __wrap_syslog(int priority, const char *format, ...) {
    std::array<char, 8192> text;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    platform().journal.push_back(std::string("log ") + priority_name(priority) + ": " + text.data());
    if (LOG_PRI(priority) != priority) {
        misuse("syslog with a facility of its own");
    }
    enter_unseen("syslog");
}

int __wrap_access(const char *path, int mode) {
    if (mode != F_OK) {
        misuse(std::string("access of ") + path + " with mode " + std::to_string(mode));
    }
    enter_unseen("access");
    return platform().files.contains(path) ? 0 : -1;
}

unsigned int __wrap_sleep(unsigned int seconds) {
    if (gettid() != getpid()) {  // a thread of a fuzzer's own runtime; the daemon has but one
        return __real_sleep(seconds);
    }
    platform().now += seconds;
    enter("sleep", std::to_string(seconds));
    return 0;
}

int __wrap_usleep(useconds_t microseconds) {
    enter("usleep", std::to_string(microseconds));
    return 0;
}

int __wrap_system(const char *command) {
    return enter("system", command) ? -1 : 0;
}

using signal_handler = void (*)(int);

signal_handler __wrap_signal(int number, signal_handler handler) {
    enter("signal", std::to_string(number));
    platform().signal_handlers[number] = handler;
    return nullptr;
}

int __wrap_connect(int fd, const sockaddr *address, socklen_t) {
    int type = 0;
    socklen_t size = sizeof type;
    getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size);
    if (enter_unseen("connect")) {
        return -1;
    }
    if (type != platform().log_socket_type) {
        errno = EPROTOTYPE;
        return -1;
    }
    c_library().peers[fd] = reinterpret_cast<const sockaddr_un *>(address)->sun_path;
    return 0;
}

ssize_t __wrap_send(int fd, const void *message, std::size_t length, int flags) {
    if (flags != MSG_NOSIGNAL) {
        misuse("send with flags " + std::to_string(flags));
    }
    const std::string text(static_cast<const char *>(message), length);
    return enter("send", c_library().peers[fd] + " " + text) ? -1 : static_cast<ssize_t>(length);
}

// Only the daemon's own time file, whose descriptor is a file in memory until fdopen() makes a stream of it.
int __wrap_open(const char *path, int flags, ...) {
    if (std::strcmp(path, TIME_FILE) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);
        return __real_open(path, flags, mode);
    }
    check_time_file_flags(flags & ~O_LARGEFILE);
    const bool writes = (flags & O_ACCMODE) == O_WRONLY;
    if (enter_unseen(writes ? "open_write" : "open_read") || (!writes && !platform().files.contains(path))) {
        return -1;
    }
    if (writes) {
        platform().journal.push_back(std::string("open ") + path);
    }
    const std::string &content = platform().files[path];
    c_library() = {memfd_create("time_file", MFD_CLOEXEC), writes, std::move(c_library().peers)};
    [[maybe_unused]] const ssize_t size = write(c_library().time_file, content.data(), content.size());
    return c_library().time_file;
}

int __wrap_open64(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __wrap_open(path, flags, mode);
}

std::FILE *__wrap_fdopen(int fd, const char *mode) {
    if (fd != c_library().time_file) {
        return __real_fdopen(fd, mode);
    }
    if (mode != std::string_view(c_library().time_file_is_written ? "w" : "r")) {
        misuse(std::string("fdopen with mode ") + mode);
    }
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_size == 0) {
        platform().files[TIME_FILE].clear();
    }
    close(std::exchange(c_library().time_file, -1));
    if (c_library().time_file_is_written) {
        return fopencookie(const_cast<char *>(TIME_FILE), mode, {nullptr, append_to_file, nullptr, nullptr});
    }
    std::string &content = platform().files[TIME_FILE];
    return fmemopen(content.empty() ? const_cast<char *>(" ") : content.data(), content.empty() ? 1 : content.size(),
                    mode);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
