#include "sim/scenario/log_priority.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<const char *, 8> LEVELS{"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};
constexpr std::array<const char *, 24> FACILITIES{"kern",   "user",   "mail",    "daemon", "auth",     "syslog",
                                                  "lpr",    "news",   "uucp",    "cron",   "authpriv", "ftp",
                                                  "ntp",    "audit",  "console", "cron2",  "local0",   "local1",
                                                  "local2", "local3", "local4",  "local5", "local6",   "local7"};

}  // namespace

std::string priority_name(unsigned int priority) {
    const std::size_t facility = priority / LEVELS.size();
    return std::string(facility < FACILITIES.size() ? FACILITIES[facility] : "unknown") + "." +
           LEVELS[priority % LEVELS.size()];
}

std::string level_names() {
    std::string all;
    for (const char *level : LEVELS) {
        all += (all.empty() ? "" : ", ") + std::string(level);
    }
    return all;
}

bool is_priority_name(std::string_view name) {
    const auto dot = name.find('.');
    return dot != name.npos && std::ranges::find(FACILITIES, name.substr(0, dot)) != FACILITIES.end() &&
           std::ranges::find(LEVELS, name.substr(dot + 1)) != LEVELS.end();
}
