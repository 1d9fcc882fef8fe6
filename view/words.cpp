#include "view/words.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace view {

namespace {

// A cell is printed on plans in decimal, in tools of operators in hexadecimal.
std::string in_hexadecimal(const fact &one) {
    const number *stored = std::get_if<number>(&one.value);
    if (std::string_view(one.name) != "id" || stored == nullptr || !(stored->value >= 0) ||
        stored->value > 0xffffffffU) {
        return {};
    }
    std::array<char, 16> hexadecimal{};
    std::snprintf(hexadecimal.data(), hexadecimal.size(), " = 0x%X", static_cast<unsigned>(stored->value));
    return hexadecimal.data();
}

std::string with_unit(const std::string &text, const char *unit) {
    return *unit == '\0' ? text : text + ' ' + unit;
}

}  // namespace

std::string digits(double value) {
    if (!(std::abs(value) < 1e10)) {
        return word(presence::out_of_range);
    }
    std::array<char, 32> buffer{};
    const bool whole = std::abs(value - std::round(value)) < 0.05;
    std::snprintf(buffer.data(), buffer.size(), whole ? "%.0f" : "%.1f", whole ? std::round(value) + 0.0 : value);
    return buffer.data();
}

std::string words(const number &stored) {
    return stored.known() ? digits(stored.value) : word(stored.state);
}

std::string words(const phrase &stored) {
    return stored.known() ? stored.value : word(stored.state);
}

std::string words(const fact &one) {
    const std::string text = std::visit([](const auto &stored) { return words(stored); }, one.value);
    return one.known() ? with_unit(text + in_hexadecimal(one), one.unit) : text;
}

std::string words(const signal_value &one) {
    return one.value.known() ? with_unit(digits(one.value.value), scale_of(one.what).unit) : word(one.value.state);
}

const char *rating_word(const signal_value &one) {
    return one.value.known() ? word(rate(one.what, one.value.value)) : word(one.value.state);
}

}  // namespace view
