// How the module's port fares, as the platform records it in the named database "PLATFORM". Pure; never logs.
#pragma once

#include <optional>
#include <string>

#include "view/snapshot.h"

namespace view {

inline constexpr const char *PLATFORM_DATABASE = "PLATFORM";

struct port_report {
    enum class state { unknown, answers, no_answer, hung_up, cannot_be_opened, in_use };
    state is = state::unknown;             // unknown: this platform records nothing
    std::string reason;                    // why it cannot be opened, or who uses it; harmless
    std::optional<double> seconds_silent;  // since the last complete answer; without one, in this state
    std::optional<int> answered_at = {};   // the last complete answer, in seconds since boot
    bool knows() const { return is != state::unknown; }
    bool troubled() const { return knows() && is != state::answers; }
};

// seconds_since_boot: now, by the clock that goes on while the machine sleeps.
port_report read_port(const snapshot &platform, double seconds_since_boot);

// A cycle takes 4 s and a few exchanges with the module; three of them are no news any more but a fault.
inline constexpr double STALE_SECONDS = 15;

// What is wrong with the port, and what to do about it. Empty while nothing is, and for a module that is silent for
// moments only: it may not know one of the commands.
std::string trouble_of(const port_report &port);

}  // namespace view
