#include "base/target_arithmetic.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace {

using int32_limits = std::numeric_limits<std::int32_t>;

// strtoll clamps at 64 bits, far outside 32 bits, so what it yields is still on the right side of both limits.
std::int32_t hex_int32(const std::string &text, const char *conversion) {
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 16);
    if (end == text.c_str()) {
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

std::optional<std::uint32_t> leading_uint32(const char *text) {
    char *end = nullptr;
    const unsigned long long wide = std::strtoull(text, &end, 10);
    if (end == text) {
        return std::nullopt;
    }
    constexpr unsigned long long MAX = std::numeric_limits<std::uint32_t>::max();
    const bool fits = wide <= MAX || 0 - wide <= MAX;  // the latter: a minus sign before a number that fits
    return fits ? static_cast<std::uint32_t>(wide) : static_cast<std::uint32_t>(MAX);
}

std::int32_t stol_hex(const std::string &text) {
    return hex_int32(text, "stol");
}

std::int32_t stoi_hex(const std::string &text) {
    return hex_int32(text, "stoi");
}

std::int32_t clamp_int32(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, int32_limits::min(), int32_limits::max()));
}
