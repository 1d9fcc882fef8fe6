// Bytes as characters. Never logs, never blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

struct utf8_character {
    std::uint32_t code;  // of a byte that is no UTF-8: the byte
    std::size_t bytes;
    bool is_valid;
};

// Of a text that is not empty. Overlong forms, surrogates and what lies beyond U+10FFFF are no UTF-8: each of their
// bytes is one that stands alone.
utf8_character first_character(std::string_view text);

// C0, DEL and C1: what a terminal may obey. C1 also as a byte that stands alone, since a terminal that is not set to
// UTF-8 obeys that.
bool is_control(const utf8_character &character);

// Controls, and what cannot be seen but changes how other characters are read: marks and overrides of direction, line
// separators, zero width, tags. Nothing that comes from outside is printed with one of these: a text is to look like
// what it is.
bool is_unsafe(const utf8_character &character);
