// The C library calls that the daemon makes, led here by the linker. Calls of other code (the test framework's) go on
// to the real library where the difference matters.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "tests/fake_platform/fake_platform.h"

using fake::enter;
using fake::enter_unseen;
using fake::platform;

namespace {

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

std::FILE *__real_fopen(const char *path, const char *mode);
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

ssize_t __wrap_sendto(int, const void *message, std::size_t length, int, const sockaddr *address, socklen_t) {
    const std::string path = reinterpret_cast<const sockaddr_un *>(address)->sun_path;
    const bool fails = enter("sendto", path + " " + std::string(static_cast<const char *>(message), length));
    return fails ? -1 : static_cast<ssize_t>(length);
}

// Only the daemon's own time file; a mode that begins with 'r' reads, 'w' replaces.
std::FILE *__wrap_fopen(const char *path, const char *mode) {
    static constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";
    if (std::strcmp(path, TIME_FILE) != 0) {
        return __real_fopen(path, mode);
    }
    const bool writes = *mode == 'w';
    if (enter_unseen(writes ? "fopen_write" : "fopen_read") || (!writes && !platform().files.contains(path))) {
        return nullptr;
    }
    if (writes) {
        platform().journal.push_back(std::string("fopen ") + path);
        platform().files[path].clear();
        return fopencookie(const_cast<char *>(TIME_FILE), "w", {nullptr, append_to_file, nullptr, nullptr});
    }
    std::string &content = platform().files[path];
    return fmemopen(content.empty() ? const_cast<char *>(" ") : content.data(), content.empty() ? 1 : content.size(),
                    "r");
}

std::FILE *__wrap_fopen64(const char *path, const char *mode) {
    return __wrap_fopen(path, mode);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
