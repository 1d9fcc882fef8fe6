#include "daemon/signals.h"

#include <cerrno>
#include <csignal>
#include <string_view>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/run_flag.h"
#include "platform/module_access.h"

namespace {

// syslog() takes a lock and allocates: it would deadlock when the signal interrupts either. The line is sent ready-made
// instead: facility local0 (16 * 8) plus priority alert (1), then the log's identity.
constexpr std::string_view STOP_LINE{"<129>cell: Zelt Stats received SIGTERM\0", 39};

// In a stream the NUL ends the line; a datagram goes without it. 0, or an errno value.
int send_stop_line(int socket_type) {
    const int log = socket(AF_UNIX, socket_type | SOCK_CLOEXEC, 0);
    if (log < 0) {
        return errno;
    }
    // A system log that does not read must not keep the daemon from stopping.
    const timeval send_timeout{.tv_sec = 1, .tv_usec = 0};
    setsockopt(log, SOL_SOCKET, SO_SNDTIMEO, &send_timeout, sizeof send_timeout);
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    const std::size_t size = STOP_LINE.size() - (socket_type == SOCK_DGRAM ? 1 : 0);
    const bool sent = connect(log, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                      send(log, STOP_LINE.data(), size, MSG_NOSIGNAL) >= 0;
    const int error = sent ? 0 : errno;
    close(log);
    return error;
}

void send_stop_line() {
    if (send_stop_line(SOCK_DGRAM) == EPROTOTYPE) {  // the log listens on a stream socket
        send_stop_line(SOCK_STREAM);
    }
}

}  // namespace

void on_signal(int /*signal_number*/) {
    const int interrupted_errno = errno;
    send_stop_line();
    keep_running = false;
    stop_libzelt_funcs();
    errno = interrupted_errno;
}

void install_signal_handler() {
    for (const int signal_number : {SIGTERM, SIGQUIT, SIGINT}) {
        std::signal(signal_number, on_signal);
    }
}
