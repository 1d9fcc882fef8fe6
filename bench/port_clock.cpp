// Loaded into the daemon before its C library: for each exchange, how long the port was held beyond the module's own
// time, and how long the serving cell's values took from the answer's last byte to the commit that shows them. Said on
// standard error when the program ends, a line each, in microseconds.
//
// The module's own time is from the first byte written to the port to the last one read.
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

using clock_type = std::chrono::steady_clock;
using microseconds = std::chrono::duration<double, std::micro>;

constexpr std::string_view LOCK_FILE = "/tmp/zelt.cli";
constexpr std::string_view PORT = "/dev/ttyQSB3";

struct exchange_clock {
    clock_type::time_point locked;
    clock_type::time_point first_written;
    clock_type::time_point last_read;
    int port = -1;
    bool is_serving_cell = false;
    bool waits_for_commit = false;
};

exchange_clock now_running;
std::vector<double> held;
std::vector<double> visible;

template <typename Function>
Function next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void unlocked(const char *path) {
    if (path != LOCK_FILE || now_running.port < 0) {
        return;
    }
    const microseconds all = clock_type::now() - now_running.locked;
    const microseconds module = now_running.last_read - now_running.first_written;
    held.push_back((all - module).count());
    now_running.port = -1;
}

mode_t mode_in(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, unsigned int)) : 0;
}

void committed() {
    if (now_running.waits_for_commit) {
        visible.push_back(microseconds(clock_type::now() - now_running.last_read).count());
        now_running.waits_for_commit = false;
    }
}

__attribute__((destructor)) void tell() {
    for (const double time : held) {
        std::fprintf(stderr, "port_clock held %.1f\n", time);
    }
    for (const double time : visible) {
        std::fprintf(stderr, "port_clock visible %.1f\n", time);
    }
}

}  // namespace

extern "C" int open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_in(flags, arguments);
    va_end(arguments);
    static const auto real = next<int (*)(const char *, int, ...)>("open");
    if (path == LOCK_FILE && (flags & O_CREAT) != 0) {
        now_running = {.locked = clock_type::now(), .first_written = {}, .last_read = {}};
    }
    const int fd = real(path, flags, mode);
    now_running.port = path == PORT ? fd : now_running.port;
    return fd;
}

extern "C" ssize_t write(int fd, const void *bytes, size_t size) {
    static const auto real = next<ssize_t (*)(int, const void *, size_t)>("write");
    if (fd >= 0 && fd == now_running.port && now_running.first_written == clock_type::time_point()) {
        now_running.is_serving_cell = memmem(bytes, size, "servingcell", std::strlen("servingcell")) != nullptr;
        now_running.first_written = clock_type::now();
    }
    return real(fd, bytes, size);
}

extern "C" ssize_t read(int fd, void *bytes, size_t size) {
    static const auto real = next<ssize_t (*)(int, void *, size_t)>("read");
    const ssize_t result = real(fd, bytes, size);
    if (fd >= 0 && fd == now_running.port && result > 0) {
        now_running.last_read = clock_type::now();
        now_running.waits_for_commit = now_running.is_serving_cell;
    }
    return result;
}

// LMDB shows a commit by the small write of its meta page, behind all others.
extern "C" ssize_t pwrite(int fd, const void *bytes, size_t size, off_t offset) {
    static const auto real = next<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite");
    const ssize_t result = real(fd, bytes, size, offset);
    constexpr size_t SMALLEST_PAGE = 4096;
    if (size < SMALLEST_PAGE) {
        committed();
    }
    return result;
}

extern "C" ssize_t pwrite64(int fd, const void *bytes, size_t size, off64_t offset) {
    return pwrite(fd, bytes, size, offset);
}

extern "C" int unlink(const char *path) noexcept {
    static const auto real = next<int (*)(const char *)>("unlink");
    const int result = real(path);
    unlocked(path);
    return result;
}
