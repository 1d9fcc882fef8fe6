// The C library calls that the daemon makes, led here by the linker. Calls of other code (the test framework's) go on
// to the real library where the difference matters.
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "tests/fake_platform/fake_platform.h"

using fake::enter;
using fake::enter_unseen;
using fake::platform;

namespace {

constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";

struct c_library_state {
    int time_file = -1;                // opened, and not a stream yet
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
    std::array<char, 8192> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    platform().journal.push_back(std::string("log ") + priority_name(priority) + ": " + text.data());
    enter_unseen("syslog");
}

int __wrap_access(const char *path, int) {
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

ssize_t __wrap_send(int fd, const void *message, std::size_t length, int) {
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
    const bool writes = (flags & O_ACCMODE) == O_WRONLY;
    if (enter_unseen(writes ? "open_write" : "open_read") || (!writes && !platform().files.contains(path))) {
        return -1;
    }
    if (writes) {
        platform().journal.push_back(std::string("open ") + path);
        platform().files[path].clear();
    }
    return c_library().time_file = memfd_create("time_file", MFD_CLOEXEC);
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
    close(std::exchange(c_library().time_file, -1));
    if (*mode == 'w') {
        return fopencookie(const_cast<char *>(TIME_FILE), mode, {nullptr, append_to_file, nullptr, nullptr});
    }
    std::string &content = platform().files[TIME_FILE];
    return fmemopen(content.empty() ? const_cast<char *>(" ") : content.data(), content.empty() ? 1 : content.size(),
                    mode);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
