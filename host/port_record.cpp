#include "host/port_record.h"

#include <array>
#include <cstddef>

#include "platform/device_utils.h"

namespace {

std::optional<port_record> &record() {
    static std::optional<port_record> last;
    return last;
}

}  // namespace

void record_port(port_state state, const std::string &reason) {
    const int now = static_cast<int>(fwtime_s(0));
    std::optional<port_record> &last = record();
    if (!last || last->state != state) {
        last = port_record{state, now, last ? last->last_answer : std::nullopt, ""};
    }
    last->reason = reason;
    if (state == port_state::answers) {
        last->last_answer = now;
    }
}

const std::optional<port_record> &recorded_port() {
    return record();
}

const char *port_state_name(port_state state) {
    // In the order of the enumeration.
    constexpr std::array<const char *, 5> NAMES{"answers", "no answer", "hung up", "cannot be opened", "in use"};
    return NAMES.at(static_cast<std::size_t>(state));
}
