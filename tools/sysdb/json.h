// Keys and values as JSON, in the words of `sysdb --help`. Never logs, never blocks.
//
// jsoncpp writes neither a real in its shortest form nor a text with bytes that are no UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "store/environment.h"

// Bytes that are no UTF-8 become U+FFFD, one each; inf and nan, for which JSON has no word, null. A control character
// is \u001b, whichever of JSON's escapes it may have besides.
std::string json_value(const sysdb_value &value);
std::string json_string(std::string_view text);
