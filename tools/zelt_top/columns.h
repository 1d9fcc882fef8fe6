// Harmless texts in terminal columns: measured, cut, filled and broken into lines.
// Knows no key and no terminal; never logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelt_top {

// Every character outside ASCII becomes "?": what a terminal without UTF-8 can show.
std::string ascii_only(std::string_view text);

// Terminal columns of a text: a CJK character takes two, an accent that joins its letter none.
std::size_t columns(std::string_view text);

// The longest beginning of a text that fits; a character is never torn.
std::string fit(std::string_view text, std::size_t width);

// Fills with blanks to the width, at the right or at the left end; cuts what is longer.
std::string pad_right(std::string_view text, std::size_t width);
std::string pad_left(std::string_view text, std::size_t width);

// Lines no wider than the width (at least 1), broken at blanks; a longer word is broken where the line ends.
std::vector<std::string> wrap(std::string_view text, std::size_t width);

// The same, broken behind a separator such as ", "; within a field only where that alone is too long.
std::vector<std::string> wrap_fields(std::string_view text, std::string_view separator, std::size_t width);

}  // namespace zelt_top
