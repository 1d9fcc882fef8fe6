#include "sim/inside/system_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "sim/scenario/line_text.h"
#include "sim/stand_ins/stand_in.h"

namespace {

constexpr std::array<const char *, 8> LEVELS{"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};
constexpr std::array<const char *, 24> FACILITIES{"kern",   "user",   "mail",    "daemon", "auth",     "syslog",
                                                  "lpr",    "news",   "uucp",    "cron",   "authpriv", "ftp",
                                                  "ntp",    "audit",  "console", "cron2",  "local0",   "local1",
                                                  "local2", "local3", "local4",  "local5", "local6",   "local7"};

std::string priority_name(unsigned int priority) {
    const std::size_t facility = priority / LEVELS.size();
    return std::string(facility < FACILITIES.size() ? FACILITIES[facility] : "unknown") + "." +
           LEVELS[priority % LEVELS.size()];
}

// "Nov 21 08:39:11 "
bool begins_with_time(std::string_view text) {
    constexpr std::string_view FORM = "Aaa 00 00:00:00 ";
    return text.size() >= FORM.size() && text[3] == ' ' && text[6] == ' ' && text[9] == ':' && text[12] == ':' &&
           text[15] == ' ';
}

}  // namespace

log_line parse_log_line(std::string_view datagram) {
    if (datagram.starts_with(CALL_MARK)) {
        return {CALL_PRIORITY, printable(datagram.substr(CALL_MARK.size()))};
    }
    unsigned int priority = LOG_USER | LOG_NOTICE;
    if (datagram.starts_with('<')) {
        const char *const end = datagram.data() + datagram.size();
        const auto [after, error] = std::from_chars(datagram.data() + 1, end, priority);
        if (error == std::errc() && after != end && *after == '>') {
            datagram.remove_prefix(static_cast<std::size_t>(after + 1 - datagram.data()));
        }
    }
    if (begins_with_time(datagram)) {
        datagram.remove_prefix(std::strlen("Nov 21 08:39:11 "));
    }
    constexpr std::string_view IDENTITY = "cell: ";
    if (datagram.starts_with(IDENTITY)) {
        datagram.remove_prefix(IDENTITY.size());
    }
    while (datagram.ends_with('\n') || datagram.ends_with('\0')) {
        datagram.remove_suffix(1);
    }
    return {priority_name(priority), printable(datagram)};
}

bool is_priority_name(std::string_view name) {
    const auto dot = name.find('.');
    return dot != name.npos && std::ranges::find(FACILITIES, name.substr(0, dot)) != FACILITIES.end() &&
           std::ranges::find(LEVELS, name.substr(dot + 1)) != LEVELS.end();
}

system_log::system_log(const char *path) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface is made so
    if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const int error = errno;
        close(fd_);
        throw std::system_error(error, std::generic_category(), std::string("system log ") + path);
    }
}

system_log::~system_log() {
    close(fd_);
}

std::optional<log_line> system_log::next() {
    std::array<char, 8192> datagram{};  // the C library never sends more
    const ssize_t size = recv(fd_, datagram.data(), datagram.size(), 0);
    if (size < 0) {
        return std::nullopt;
    }
    return parse_log_line({datagram.data(), static_cast<std::size_t>(size)});
}
