// Texts for people: made harmless, measured in terminal columns, cut, and durations in words.
// Knows no key and no terminal; never logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelt_top {

// Valid UTF-8 without anything that a terminal could obey: a control character, an invisible one that turns or joins
// text, and a byte that is no UTF-8 each become "?"; blanks at both ends go.
std::string printable(std::string_view text);

// Every character outside ASCII becomes "?": what a terminal without UTF-8 can show. The text must be printable().
std::string ascii_only(std::string_view text);

// Terminal columns of a printable text: a CJK character takes two, an accent that joins its letter none.
std::size_t columns(std::string_view text);

// The longest beginning of a printable text that fits; a character is never torn.
std::string fit(std::string_view text, std::size_t width);

// Fills with blanks to the width, at the right or at the left end; cuts what is longer.
std::string pad_right(std::string_view text, std::size_t width);
std::string pad_left(std::string_view text, std::size_t width);

// Lines no wider than the width (at least 1), broken at blanks; a longer word is broken where the line ends.
std::vector<std::string> wrap(std::string_view text, std::size_t width);

// "7 s", "12 min 5 s", "3 h 12 min", "2 d 5 h".
std::string duration(double seconds);

}  // namespace zelt_top
