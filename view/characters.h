// Texts from outside, character by character: nothing in them may steer a terminal or garble a page.
// Knows no key and no terminal; never logs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace view {

// Valid UTF-8 without anything that a terminal could obey: a control character, an invisible one that turns or joins
// text, and a byte that is no UTF-8 each become "?"; blanks at both ends go.
std::string harmless(std::string_view text);

// Without the blanks at both ends.
std::string trimmed(std::string_view text);

struct character {
    std::uint32_t code;
    std::size_t bytes;
    bool valid;  // otherwise bytes says how many of them count as one mistake
};

// Of a text that is not empty.
character first_character(std::string_view text);

struct character_range {
    std::uint32_t first;
    std::uint32_t last;
};

bool lies_in(std::span<const character_range> ranges, std::uint32_t code);

}  // namespace view
