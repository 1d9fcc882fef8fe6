#include "store/value_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>

namespace {

std::string real_text(double real) {
    std::array<char, 32> buffer = {};  // the longest is 24: -2.2250738585072014e-308
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), real).ptr;
    std::string text(buffer.data(), end);
    if (std::isnan(real)) {
        return "nan";
    }
    const bool looks_like_integer = text.find_first_not_of("-0123456789") == std::string::npos;
    return looks_like_integer ? text + ".0" : text;
}

std::string hex_escape(const char *format, unsigned char byte) {
    std::array<char, 8> buffer = {};
    std::snprintf(buffer.data(), buffer.size(), format, static_cast<unsigned int>(byte));
    return buffer.data();
}

bool is_control(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

// The length in bytes of the character with which the text begins, 0 when these bytes are no UTF-8. The second byte's
// bounds keep out overlong forms, surrogates and what lies beyond U+10FFFF.
std::size_t utf8_length(std::string_view text) {
    struct form {
        unsigned char first_from, first_to, second_from, second_to;
        std::size_t length;
    };
    static constexpr std::array<form, 9> forms = {{{0x00, 0x7f, 0x80, 0xbf, 1},
                                                   {0xc2, 0xdf, 0x80, 0xbf, 2},
                                                   {0xe0, 0xe0, 0xa0, 0xbf, 3},
                                                   {0xe1, 0xec, 0x80, 0xbf, 3},
                                                   {0xed, 0xed, 0x80, 0x9f, 3},
                                                   {0xee, 0xef, 0x80, 0xbf, 3},
                                                   {0xf0, 0xf0, 0x90, 0xbf, 4},
                                                   {0xf1, 0xf3, 0x80, 0xbf, 4},
                                                   {0xf4, 0xf4, 0x80, 0x8f, 4}}};
    const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (const form &f : forms) {
        if (byte(0) < f.first_from || byte(0) > f.first_to) {
            continue;
        }
        if (text.size() < f.length || (f.length > 1 && (byte(1) < f.second_from || byte(1) > f.second_to))) {
            return 0;
        }
        for (std::size_t at = 2; at < f.length; ++at) {
            if ((byte(at) & 0xc0) != 0x80) {
                return 0;
            }
        }
        return f.length;
    }
    return 0;
}

// from_chars knows neither a leading '+' nor blanks, and tells a number beyond the range from one that fits.
template <typename Number>
std::optional<sysdb_value> parse_number(const std::string &text) {
    Number number = {};
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? std::optional<sysdb_value>(number) : std::nullopt;
}

}  // namespace

std::string_view type_name(const sysdb_value &value) {
    static constexpr std::array<std::string_view, 3> names = {"int", "real", "string"};
    static_assert(names.size() == std::variant_size_v<sysdb_value>);
    return names.at(value.index());
}

std::string value_text(const sysdb_value &value) {
    if (const auto *integer = std::get_if<std::int32_t>(&value)) {
        return std::to_string(*integer);
    }
    if (const auto *real = std::get_if<double>(&value)) {
        return real_text(*real);
    }
    return escaped(std::get<std::string>(value));
}

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\t') {
            result += "\\t";
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\\') {
            result += "\\\\";
        } else if (is_control(byte)) {
            result += hex_escape("\\x%02X", byte);
        } else {
            result += c;
        }
    }
    return result;
}

std::string json_string(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        const char c = text.front();
        if (length == 0) {
            result += "\xef\xbf\xbd";
        } else if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (is_control(static_cast<unsigned char>(c))) {
            result += hex_escape("\\u%04x", static_cast<unsigned char>(c));
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
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

std::optional<sysdb_value> parse_value(std::string_view type, const std::string &text) {
    if (type == "int") {
        return parse_number<std::int32_t>(text);
    }
    if (type == "real") {
        return parse_number<double>(text);
    }
    return type == "string" ? std::optional<sysdb_value>(text) : std::nullopt;
}
