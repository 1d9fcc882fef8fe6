#include "tools/sysdb/json.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "store/utf8.h"
#include "store/value_text.h"

namespace {

std::string escape_of_unit(std::uint32_t unit) {
    std::array<char, 7> buffer = {};
    std::snprintf(buffer.data(), buffer.size(), "\\u%04x", static_cast<unsigned int>(unit & 0xffffU));
    return buffer.data();
}

// JSON knows units of 16 bits; a character beyond them takes two.
std::string unicode_escape(std::uint32_t code) {
    constexpr std::uint32_t BEYOND = 0x10000;
    if (code < BEYOND) {
        return escape_of_unit(code);
    }
    return escape_of_unit(0xd800U + ((code - BEYOND) >> 10U)) + escape_of_unit(0xdc00U + ((code - BEYOND) & 0x3ffU));
}

}  // namespace

std::string json_string(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        if (!next.is_valid) {
            result += "\xef\xbf\xbd";
        } else if (next.code == '"' || next.code == '\\') {
            result += {'\\', text.front()};
        } else {
            result += is_unsafe(next) ? unicode_escape(next.code) : std::string(text.substr(0, next.bytes));
        }
        text.remove_prefix(next.bytes);
    }
    return result + '"';
}

std::string json_value(const sysdb_value &value) {
    if (const auto *text = std::get_if<std::string>(&value)) {
        return json_string(*text);
    }
    const auto *real = std::get_if<double>(&value);
    return real != nullptr && !std::isfinite(*real) ? "null" : value_text(value);
}
