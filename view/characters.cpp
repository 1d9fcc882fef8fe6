#include "view/characters.h"

#include <algorithm>
#include <array>

#include "store/utf8.h"

namespace view {

namespace {

// Controls, and characters without a width of their own that change how others are drawn.
constexpr std::array<character_range, 9> HARMFUL{{
    {0x00, 0x1f},
    {0x7f, 0x9f},
    {0xad, 0xad},      // soft hyphen
    {0x200b, 0x200f},  // zero width, direction marks
    {0x2028, 0x202e},  // line separators, direction overrides
    {0x2060, 0x206f},
    {0xfe00, 0xfe0f},  // variation selectors
    {0xfeff, 0xfeff},
    {0xe0000, 0x10ffff},  // tags and private planes
}};

}  // namespace

bool lies_in(std::span<const character_range> ranges, std::uint32_t code) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const character_range &one) { return one.first <= code && code <= one.last; });
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? ""
                                           : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::string harmless(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        if (next.is_valid && !lies_in(HARMFUL, next.code)) {
            result += text.substr(0, next.bytes);
        } else {
            result += '?';
        }
        text.remove_prefix(next.bytes);
    }
    return trimmed(result);
}

}  // namespace view
