// What time it is, in seconds. Never logs.
#pragma once

#include <string>

// Whole ones, by the clock that goes on while the machine sleeps.
long long seconds_since_boot();

// By the time of day, which somebody may set.
double seconds_since_1970();

// ISO 8601 with milliseconds, of seconds since 1970: "2026-01-31T12:00:00.000Z".
std::string utc_text(double seconds);
