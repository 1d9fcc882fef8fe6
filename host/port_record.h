// What became of the last exchange with the module: told by the port, published by the database. Never logs, never
// blocks.
//
// The database publishes it in the named database "PLATFORM", beside the daemon's values and in the same commit:
//   PORT_STATE        "answers", "no answer", "hung up", "cannot be opened" or "in use"
//   PORT_STATE_SINCE  when it came to that, in seconds since boot
//   PORT_LAST_ANSWER  when an answer was last complete, in seconds since boot; missing when none ever was
//   PORT_REASON       why it cannot be opened, and what to do about it; which other programs use it; otherwise empty
#pragma once

#include <optional>
#include <string>

inline constexpr const char *PLATFORM_DATABASE = "PLATFORM";

enum class port_state { answers, no_answer, hung_up, cannot_be_opened, in_use };

struct port_record {
    port_state state;
    int since;
    std::optional<int> last_answer;
    std::string reason;
    bool operator==(const port_record &) const = default;
};

void record_port(port_state state, const std::string &reason = "");

// Nothing before the first use of the port.
const std::optional<port_record> &recorded_port();

const char *port_state_name(port_state state);
