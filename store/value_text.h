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

// Tab, line feed, carriage return and backslash as \t \n \r \\, other control bytes as \x1B: no value breaks its line
// or speaks to the terminal.
std::string escaped(std::string_view text);

// A JSON value. Bytes that are no UTF-8 become U+FFFD, one each; inf and nan, for which JSON has no word, null.
std::string json_value(const sysdb_value &value);
std::string json_string(std::string_view text);

// Nothing when the type is unknown, or the text is not completely a number of that type's range.
std::optional<sysdb_value> parse_value(std::string_view type, const std::string &text);
