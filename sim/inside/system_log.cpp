#include "sim/inside/system_log.h"

#include <array>
#include <charconv>
#include <cstring>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include "posix/failure.h"
#include "sim/scenario/line_text.h"
#include "sim/scenario/log_priority.h"
#include "sim/stand_ins/stand_in.h"
#include "store/value_text.h"

namespace {

// "Nov 21 08:39:11 "
bool begins_with_time(std::string_view text) {
    constexpr std::string_view FORM = "Aaa 00 00:00:00 ";
    return text.size() >= FORM.size() && text[3] == ' ' && text[6] == ' ' && text[9] == ':' && text[12] == ':' &&
           text[15] == ' ';
}

}  // namespace

log_line parse_log_line(std::string_view datagram) {
    if (datagram.starts_with(CALL_MARK)) {
        return {CALL_PRIORITY, escaped(datagram.substr(CALL_MARK.size()))};
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
    return {priority_name(priority), escaped(datagram)};
}

system_log::system_log(const char *path) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const auto *named = reinterpret_cast<const sockaddr *>(&address);
    throw_unless(socket_.is_open() && bind(socket_.get(), named, sizeof address) == 0,
                 std::string("system log ") + path);
}

std::optional<log_line> system_log::next() {
    std::array<char, 8192> datagram{};  // the C library never sends more
    const ssize_t size = recv(socket_.get(), datagram.data(), datagram.size(), 0);
    if (size < 0) {
        return std::nullopt;
    }
    return parse_log_line({datagram.data(), static_cast<std::size_t>(size)});
}
