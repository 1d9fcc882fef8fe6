#include "sim/scenario/signal_names.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <utility>

namespace {

constexpr std::array<std::pair<std::string_view, int>, 6> SIGNALS{{
    {"TERM", SIGTERM},
    {"INT", SIGINT},
    {"QUIT", SIGQUIT},
    {"KILL", SIGKILL},
    {"STOP", SIGSTOP},
    {"CONT", SIGCONT},
}};

}  // namespace

std::optional<int> signal_number(std::string_view name) {
    const auto *const found = std::ranges::find(SIGNALS, name, &std::pair<std::string_view, int>::first);
    return found == SIGNALS.end() ? std::nullopt : std::optional(found->second);
}

std::string signal_name(int number) {
    const char *const known = sigabbrev_np(number);
    return known != nullptr ? known : std::to_string(number);
}

bool is_signal_name(std::string_view name) {
    for (int number = 1; number < NSIG; ++number) {
        const char *const known = sigabbrev_np(number);
        if (known != nullptr && name == known) {
            return true;
        }
    }
    return false;
}
