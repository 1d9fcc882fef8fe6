// The router's system log: a datagram socket that keeps every line with its priority.
#pragma once

#include <optional>
#include <string_view>

#include "posix/descriptor.h"
#include "sim/scenario/router.h"

// "<PRI>Mon DD hh:mm:ss identity: text", as the C library sends it, or the same without the time, as a signal handler
// does. A line without a priority counts as user.notice.
log_line parse_log_line(std::string_view datagram);

class system_log {
public:
    // Throws std::system_error when the socket cannot be made at path.
    explicit system_log(const char *path);

    int descriptor() const { return socket_.get(); }

    // The next line that waits; nothing when none does.
    std::optional<log_line> next();

private:
    ::descriptor socket_;
};
