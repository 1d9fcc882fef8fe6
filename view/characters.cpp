#include "view/characters.h"

#include <algorithm>
#include <array>

namespace view {

namespace {

// Controls, and characters without a width of their own that change how others are drawn.
constexpr std::array<character_range, 10> HARMFUL{{
    {0x00, 0x1f},
    {0x7f, 0x9f},
    {0xad, 0xad},      // soft hyphen
    {0x200b, 0x200f},  // zero width, direction marks
    {0x2028, 0x202e},  // line separators, direction overrides
    {0x2060, 0x206f},
    {0xd800, 0xdfff},  // surrogates are no characters
    {0xfe00, 0xfe0f},  // variation selectors
    {0xfeff, 0xfeff},
    {0xe0000, 0x10ffff},  // tags and private planes
}};

}  // namespace

bool lies_in(std::span<const character_range> ranges, std::uint32_t code) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const character_range &one) { return one.first <= code && code <= one.last; });
}

character first_character(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t bytes = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < bytes) {
        return {0, 1, false};
    }
    std::uint32_t code = lead & (0x7fU >> bytes);
    for (const char next : text.substr(1, bytes - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xc0U) != 0x80) {
            return {0, 1, false};
        }
        code = code << 6U | (byte & 0x3fU);
    }
    // Longer than needed: the same character spelt so that a filter may miss it.
    constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    return {code, bytes, code >= smallest.at(bytes) && code <= 0x10ffff};
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? ""
                                           : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::string harmless(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const character next = first_character(text);
        if (next.valid && !lies_in(HARMFUL, next.code)) {
            result += text.substr(0, next.bytes);
        } else {
            result += '?';
        }
        text.remove_prefix(next.bytes);
    }
    return trimmed(result);
}

}  // namespace view
