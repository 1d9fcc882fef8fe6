#include "platform/device_utils.h"

#include <ctime>

// CLOCK_BOOTTIME and not CLOCK_MONOTONIC: it goes on while the machine sleeps, and so does a lost connection.
std::uint32_t fwtime_s(int /*reserved*/) {
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::uint32_t>(now.tv_sec);
}
