#include "view/utc_time.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace view {

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

}  // namespace view
