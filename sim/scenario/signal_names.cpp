#include "sim/scenario/signal_names.h"

#include <algorithm>
#include <array>
#include <csignal>
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
    const auto *const found = std::ranges::find(SIGNALS, number, &std::pair<std::string_view, int>::second);
    return found == SIGNALS.end() ? std::to_string(number) : std::string(found->first);
}
