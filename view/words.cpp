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

std::string words_of_band(band_plan plan, double number, band_form form) {
    std::string text = (plan == band_plan::nr ? "n" : "") + digits(number);
    const band *known = find_band(plan, number);
    if (known == nullptr || form == band_form::bare) {
        return text;
    }
    const std::string shared = form == band_form::full ? std::string(", ") + word(known->shared) : "";
    return text + " (" + std::to_string(known->megahertz) + " MHz" + shared + ")";
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

std::string words(const fact &one, band_form form) {
    if (one.plan != band_plan::none && one.known()) {
        return words_of_band(one.plan, std::get<number>(one.value).value, form);
    }
    const std::string text = std::visit([](const auto &stored) { return words(stored); }, one.value);
    return one.known() ? with_unit(text + in_hexadecimal(one), one.unit) : text;
}

std::string words(const signal_value &one) {
    if (!one.value.known()) {
        return word(one.value.state);
    }
    return with_unit(word(one.limit) + digits(one.value.value), scale_of(one.what).unit) +
           (one.derived ? " (from SQI)" : "");
}

std::string words(const station &one) {
    return std::to_string(one.enodeb) + '/' + std::to_string(one.sector);
}

const char *word(bound limit) {
    constexpr std::array<const char *, 3> WORDS{"", "<= ", ">= "};
    return WORDS.at(static_cast<std::size_t>(limit));
}

const char *rating_word(const signal_value &one) {
    return one.value.known() ? word(rate(one.what, one.value.value)) : word(one.value.state);
}

}  // namespace view
