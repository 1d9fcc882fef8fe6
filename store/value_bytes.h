// A value as it lies in the database: one byte for its type and the payload, little endian.
//   'i' + 4 bytes, two's complement      'r' + 8 bytes, IEEE double      's' + the bytes of the text, without a NUL
// Never logs, never blocks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

using sysdb_value = std::variant<std::int32_t, double, std::string>;

// In the order of the keys' bytes, which is LMDB's order too.
using sysdb_values = std::map<std::string, sysdb_value, std::less<>>;

std::string encode(const sysdb_value &value);

// Nothing when the type is unknown, or the length is one that the type cannot have.
std::optional<sysdb_value> decode(std::string_view bytes);
