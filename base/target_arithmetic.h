// Text to number as the 32-bit target does it, on every machine: its `long` has 32 bits. Silent, never blocks.
#pragma once

#include <cstdint>
#include <optional>

// strtol(text, nullptr, 10) of the target: the leading number, 0 without one, clamped to 32 bits signed.
std::int32_t leading_int32(const char *text);

// The leading unsigned number, as the target's strtoul reads it in base 10 (like scanf's "%u") or 0: a minus sign
// negates within 32 bits, a magnitude beyond them clamps with either sign. Nothing without a digit.
std::optional<std::uint32_t> leading_uint32(const char *text, int base = 10);

// std::stol and std::stoi(text, nullptr, 16) of the target. Throw std::invalid_argument without a digit and
// std::out_of_range beyond 32 bits signed; the message is "stol" or "stoi", for both.
std::int32_t stol_hex(const char *text);
std::int32_t stoi_hex(const char *text);

// Modulo 2^32, as the target's unsigned numbers are subtracted.
constexpr std::uint32_t wrapped_difference(std::uint32_t from, std::uint32_t what) {
    return static_cast<std::uint32_t>((std::uint64_t{1} << 32U) + from - what);
}

// Clamps a wide intermediate result, so that a hostile input cannot overflow.
std::int32_t clamp_int32(std::int64_t value);
