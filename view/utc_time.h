// A moment for programs. Pure; never logs.
#pragma once

#include <string>

namespace view {

// ISO 8601 with milliseconds, of seconds since 1970: "2026-01-31T12:00:00.000Z".
std::string utc_text(double seconds);

}  // namespace view
