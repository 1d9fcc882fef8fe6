#include "view/characters.h"

#include <algorithm>

#include "store/utf8.h"

namespace view {

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
        if (next.is_valid && !is_unsafe(next)) {
            result += text.substr(0, next.bytes);
        } else {
            result += '?';
        }
        text.remove_prefix(next.bytes);
    }
    return trimmed(result);
}

}  // namespace view
