#include "tools/sysdb/json.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "store/utf8.h"
#include "store/value_text.h"

namespace {

std::string unicode_escape(std::uint32_t code) {
    std::array<char, 7> buffer = {};  // a control character's code has two digits
    std::snprintf(buffer.data(), buffer.size(), "\\u%04x", static_cast<unsigned int>(code & 0xffU));
    return buffer.data();
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
            result += is_control(next) ? unicode_escape(next.code) : std::string(text.substr(0, next.bytes));
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
