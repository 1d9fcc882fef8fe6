#include "view/port.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "view/characters.h"
#include "view/duration.h"

namespace view {

namespace {

// The type of another key's value counts as no value.
template <typename T>
std::optional<T> find(const snapshot &platform, const char *key) {
    const auto found = platform.find(key);
    const T *stored = found == platform.end() ? nullptr : std::get_if<T>(&found->second);
    return stored == nullptr ? std::nullopt : std::optional(*stored);
}

// A time still to come was left by another boot.
std::optional<double> age_of(std::optional<std::int32_t> then, double now) {
    return then && *then <= now ? std::optional(now - *then) : std::nullopt;
}

port_report::state state_of(std::string_view name) {
    using state = port_report::state;
    struct named {
        std::string_view name;
        state is;
    };
    constexpr std::array<named, 5> STATES{{{"answers", state::answers},
                                           {"no answer", state::no_answer},
                                           {"hung up", state::hung_up},
                                           {"cannot be opened", state::cannot_be_opened},
                                           {"in use", state::in_use}}};
    const auto *const found = std::ranges::find(STATES, name, &named::name);
    return found == STATES.end() ? state::unknown : found->is;
}

}  // namespace

port_report read_port(const snapshot &platform, double seconds_since_boot) {
    const auto age = [&](const char *key) { return age_of(find<std::int32_t>(platform, key), seconds_since_boot); };
    port_report port;
    port.is = state_of(find<std::string>(platform, "PORT_STATE").value_or(""));
    port.reason = harmless(find<std::string>(platform, "PORT_REASON").value_or(""));
    port.answered_at = find<std::int32_t>(platform, "PORT_LAST_ANSWER");
    port.seconds_silent = platform.contains("PORT_LAST_ANSWER") ? age("PORT_LAST_ANSWER") : age("PORT_STATE_SINCE");
    return port;
}

std::string trouble_of(const port_report &port) {
    const double silent = port.seconds_silent.value_or(0);
    switch (port.is) {
    case port_report::state::hung_up:
        return "The module's port hung up " + duration(silent) + " ago: the module restarts, or lost plug or power.";
    case port_report::state::cannot_be_opened:
        return "The module's port has not opened for " + duration(silent) + ". " + port.reason + '.';
    case port_report::state::in_use:
        return silent <= STALE_SECONDS ? ""
                                       : "Another program uses the module's port: " + port.reason + ". No news for " +
                                             duration(silent) + ": the daemon waits until it is alone there.";
    case port_report::state::no_answer:
        return silent <= STALE_SECONDS
                   ? ""
                   : "No answer from the module for " + duration(silent) + ": it hangs, or this is not its AT port.";
    case port_report::state::unknown:
    case port_report::state::answers:
        break;
    }
    return {};
}

}  // namespace view
