#include "base/target_arithmetic.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace {

using int32_limits = std::numeric_limits<std::int32_t>;

constexpr const char *BLANKS = " \t\n\v\f\r";  // of the C library, without a locale

// strtoll clamps at 64 bits, far outside 32 bits, so what it yields is still on the right side of both limits.
std::int32_t hex_int32(const char *text, const char *conversion) {
    char *end = nullptr;
    const long long value = std::strtoll(text, &end, 16);
    if (end == text) {
        throw std::invalid_argument(conversion);
    }
    if (value < int32_limits::min() || value > int32_limits::max()) {
        throw std::out_of_range(conversion);
    }
    return static_cast<std::int32_t>(value);
}

}  // namespace

std::int32_t leading_int32(const char *text) {
    return clamp_int32(std::strtoll(text, nullptr, 10));
}

std::optional<std::uint32_t> leading_uint32(const char *text, int base) {
    const char *digits = text + std::strspn(text, BLANKS);
    const bool negated = *digits == '-';
    if (negated || *digits == '+') {
        ++digits;
    }
    // Behind the sign, and beginning with a digit: strtoull would take blanks and a second sign there.
    if (std::isdigit(static_cast<unsigned char>(*digits)) == 0) {
        return std::nullopt;
    }
    // Without the sign an overflow of 64 bits is a number too large for 32, like any other.
    const unsigned long long magnitude = std::strtoull(digits, nullptr, base);
    constexpr std::uint32_t MAX = std::numeric_limits<std::uint32_t>::max();
    if (magnitude > MAX) {
        return MAX;
    }
    const auto number = static_cast<std::uint32_t>(magnitude);
    return negated ? wrapped_difference(0, number) : number;
}

std::int32_t stol_hex(const char *text) {
    return hex_int32(text, "stol");
}

std::int32_t stoi_hex(const char *text) {
    return hex_int32(text, "stoi");
}

std::int32_t clamp_int32(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, int32_limits::min(), int32_limits::max()));
}
