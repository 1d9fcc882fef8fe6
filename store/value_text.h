// Values of the system database as text, and text as values. Never logs, never blocks.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "store/environment.h"

// "int", "real" or "string".
std::string_view type_name(const sysdb_value &value);

// One line's worth, without a line feed. A real is the shortest text that reads back equal, with a point or an
// exponent: 12.0, -999.0, 1e+30, inf, -inf, nan.
std::string value_text(const sysdb_value &value);

// The one form in which a key, a value and whatever else comes from outside is printed: tab, line feed, carriage return
// and backslash as \t \n \r \\, each byte of another control character as \x1B. Control characters are also those from
// U+0080 to U+009F (\xC2\x9B) and a byte from 80 to 9F that belongs to no UTF-8 character (\x9B). So are the invisible
// characters that turn or join the others (is_unsafe of store/utf8.h). Everything else stays as it is: no text breaks
// its line, speaks to the terminal or looks like another.
std::string escaped(std::string_view text);

// The same for whole sentences: their line feeds are their own, and so are their backslashes, or they belong to
// escapes.
std::string shown(std::string_view text);

// Nothing when the type is unknown, or the text is not completely a number of that type's range.
std::optional<sysdb_value> parse_value(std::string_view type, const std::string &text);
