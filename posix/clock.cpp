#include "posix/clock.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

long long seconds_since_boot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

double seconds_since_1970() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string utc_text(double seconds) {
    const double whole = std::floor(seconds);
    const auto time = static_cast<std::time_t>(whole);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 40> date{};
    std::strftime(date.data(), date.size(), "%FT%T", &parts);
    std::array<char, 56> text{};
    std::snprintf(text.data(), text.size(), "%s.%03dZ", date.data(), static_cast<int>((seconds - whole) * 1000));
    return text.data();
}
