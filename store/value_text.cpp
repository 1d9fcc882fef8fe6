#include "store/value_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "store/utf8.h"

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

std::string hex_escape(char byte) {
    std::array<char, 5> buffer = {};
    std::snprintf(buffer.data(), buffer.size(), "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    return buffer.data();
}

std::string escape(char byte) {
    switch (byte) {
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\\':
        return "\\\\";
    default:
        return hex_escape(byte);
    }
}

std::string with_escapes(std::string_view text, std::string_view besides, std::string_view not_these) {
    std::string result;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        for (const char byte : text.substr(0, next.bytes)) {
            const bool as_it_is = !is_unsafe(next) || not_these.find(byte) != std::string_view::npos;
            result += as_it_is && besides.find(byte) == std::string_view::npos ? std::string(1, byte) : escape(byte);
        }
        text.remove_prefix(next.bytes);
    }
    return result;
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
    return with_escapes(text, "\\", "");
}

std::string shown(std::string_view text) {
    return with_escapes(text, "", "\n");
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
