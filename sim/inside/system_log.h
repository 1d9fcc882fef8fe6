// The router's system log: a datagram socket that keeps every line with its priority.
#pragma once

#include <optional>
#include <string>
#include <string_view>

inline constexpr const char *CALL_PRIORITY = "run";
inline constexpr const char *QUERY_PRIORITY = "asked";  // no log line either: a command that the module was given

struct log_line {
    std::string priority;  // "local0.alert"; CALL_PRIORITY for the call of a command
    std::string text;      // without time and the daemon's own identity, control characters made visible
};

// "<PRI>Mon DD hh:mm:ss identity: text", as the C library sends it, or the same without the time, as a signal handler
// does. A line without a priority counts as user.notice.
log_line parse_log_line(std::string_view datagram);

bool is_priority_name(std::string_view name);

class system_log {
public:
    // Throws std::system_error when the socket cannot be made at path.
    explicit system_log(const char *path);
    system_log(const system_log &) = delete;
    system_log &operator=(const system_log &) = delete;
    ~system_log();

    int descriptor() const { return fd_; }

    // The next line that waits; nothing when none does.
    std::optional<log_line> next();

private:
    int fd_;
};
