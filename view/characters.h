// Texts from outside, character by character: nothing in them may steer a terminal or garble a page.
// Knows no key and no terminal; never logs.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace view {

// Valid UTF-8 without anything that a terminal could obey: a control character, an invisible one that turns or joins
// text, and each byte that is no UTF-8 become "?"; blanks at both ends go.
std::string harmless(std::string_view text);

// Without the blanks at both ends.
std::string trimmed(std::string_view text);

struct character_range {
    std::uint32_t first;
    std::uint32_t last;
};

bool lies_in(std::span<const character_range> ranges, std::uint32_t code);

}  // namespace view
