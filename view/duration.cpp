#include "view/duration.h"

#include <algorithm>
#include <cmath>

namespace view {

std::string duration(double seconds) {
    // Beyond a century nobody counts, and the conversion below must stay defined.
    const auto whole = static_cast<long long>(std::clamp(std::floor(seconds), 0.0, 3.2e9));
    const auto words = [](long long big, const char *big_unit, long long small, const char *small_unit) {
        return std::to_string(big) + big_unit + (small != 0 ? " " + std::to_string(small) + small_unit : "");
    };
    if (whole < 60) {
        return std::to_string(whole) + " s";
    }
    if (whole < 3600) {
        return words(whole / 60, " min", whole % 60, " s");
    }
    if (whole < 86400) {
        return words(whole / 3600, " h", whole % 3600 / 60, " min");
    }
    return words(whole / 86400, " d", whole % 86400 / 3600, " h");
}

}  // namespace view
