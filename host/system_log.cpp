// The system log of the C library, openlog() and syslog(), without its one fault: it waits for ever for a log that does
// not read, and the daemon with it, in its cycle and at a stop. The linker takes these in place of the C library's.
//
// The form on the wire is the C library's. Of openlog() the identity and the facility count. Nothing here throws, and a
// line that cannot be delivered is lost.
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <exception>
#include <string_view>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include "host/say_once.h"
#include "posix/descriptor.h"

namespace {

using clock_type = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Common logs cut longer lines too.
constexpr std::size_t LONGEST_LINE = 8192;

struct {
    const char *identity = "";  // the caller's, as of openlog()
    int facility = LOG_USER;
    descriptor connection;
    bool is_stream = false;
} the_log;

// How long a log that does not read is waited for: at most a second at once, and a tenth of the time in the long run.
// A log under load reads on after milliseconds.
class patience {
public:
    // False when the log has still no room, or nothing is left to wait.
    bool wait_for_room(int log) {
        const clock_type::time_point begin = clock_type::now();
        left_ = std::min(left_ + std::chrono::duration_cast<milliseconds>(begin - last_wait_) / 10, MOST);
        last_wait_ = begin;
        if (left_.count() <= 0) {
            return false;
        }
        pollfd room = {log, POLLOUT, 0};
        const int ready = poll(&room, 1, static_cast<int>(left_.count()));
        last_wait_ = clock_type::now();
        left_ -= std::chrono::duration_cast<milliseconds>(last_wait_ - begin);
        return ready > 0 || (ready < 0 && errno == EINTR);
    }

private:
    static constexpr milliseconds MOST{1000};
    milliseconds left_ = MOST;
    clock_type::time_point last_wait_ = clock_type::now();
} patience_with_the_log;

// 0, or an errno value.
int connect_to_log(int type) {
    descriptor fresh(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    if (!fresh.is_open() || connect(fresh.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return errno;
    }
    the_log.connection = std::move(fresh);
    the_log.is_stream = type == SOCK_STREAM;
    return 0;
}

bool is_connected() {
    if (the_log.connection.is_open()) {
        return true;
    }
    const int error = connect_to_log(SOCK_DGRAM);
    return error == 0 || (error == EPROTOTYPE && connect_to_log(SOCK_STREAM) == 0);
}

enum class delivery { done, not_read, log_is_gone };

// A stream may take a part. What is left is not to be taken for a line of its own, so the stream then ends.
delivery deliver(std::string_view line) {
    bool is_part = false;
    while (!line.empty()) {
        const ssize_t sent = send(the_log.connection.get(), line.data(), line.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            line.remove_prefix(static_cast<std::size_t>(sent));
            is_part = true;
        } else if (errno == EAGAIN) {
            if (!patience_with_the_log.wait_for_room(the_log.connection.get())) {
                if (is_part) {
                    the_log.connection.close();
                }
                return delivery::not_read;
            }
        } else if (errno != EINTR) {
            the_log.connection.close();
            return delivery::log_is_gone;
        }
    }
    return delivery::done;
}

// A log that was started anew is found by the second try.
void send_line(std::string_view line) {
    for (int attempt = 0; attempt < 2 && is_connected(); ++attempt) {
        const delivery result = deliver(line.substr(0, line.size() - (the_log.is_stream ? 0 : 1)));
        if (result == delivery::not_read) {
            say_once("zelt: the system log does not read: lines are lost");
        }
        if (result != delivery::log_is_gone) {
            return;
        }
    }
}

// "<129>Nov 21 08:39:11 cell: text" and a NUL, which ends it in a stream; a datagram goes without.
void log_line(int priority, const char *format, va_list arguments, int error) try {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    std::array<char, 32> time = {};
    std::strftime(time.data(), time.size(), "%h %e %T", &local);
    std::array<char, LONGEST_LINE> line = {};
    const int with_facility = priority | ((priority & LOG_FACMASK) == 0 ? the_log.facility : 0);
    const auto head = static_cast<std::size_t>(
        std::snprintf(line.data(), line.size() / 2, "<%d>%s %s: ", with_facility, time.data(), the_log.identity));
    errno = error;  // for "%m"
    const int wanted = std::vsnprintf(line.data() + head, line.size() - head, format, arguments);
    const std::size_t text = std::min(static_cast<std::size_t>(std::max(wanted, 0)), line.size() - head - 1);
    send_line({line.data(), head + text + 1});
} catch (const std::exception &) {  // no memory for the message that lines are lost
}

}  // namespace

extern "C" {

void openlog(const char *identity, int /*options*/, int facility) {
    the_log.identity = identity;
    the_log.facility = facility;
}

void syslog(int priority, const char *format, ...) {
    const int error = errno;
    va_list arguments;
    va_start(arguments, format);
    log_line(priority, format, arguments, error);
    va_end(arguments);
}

// What syslog() is compiled to with _FORTIFY_SOURCE. NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
void __syslog_chk(int priority, int /*flag*/, const char *format, ...) {
    const int error = errno;
    va_list arguments;
    va_start(arguments, format);
    log_line(priority, format, arguments, error);
    va_end(arguments);
}

}  // extern "C"
