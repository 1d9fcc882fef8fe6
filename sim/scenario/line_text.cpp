#include "sim/scenario/line_text.h"

#include <charconv>

namespace {

int hex_digit(char c) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    const auto position = DIGITS.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + ('a' - 'A')) : c);
    return position == std::string_view::npos ? -1 : static_cast<int>(position);
}

// Appends the byte behind the "\" at line[i], and moves i onto its last character.
bool append_escape(std::string &bytes, std::string_view line, std::size_t &i) {
    constexpr std::string_view LETTERS = "rnt0\\";
    constexpr std::string_view MEANT{"\r\n\t\0\\", 5};
    const char letter = line[++i];
    if (const auto position = LETTERS.find(letter); position != std::string_view::npos) {
        bytes += MEANT[position];
        return true;
    }
    if (letter != 'x' || i + 2 >= line.size() || hex_digit(line[i + 1]) < 0 || hex_digit(line[i + 2]) < 0) {
        return false;
    }
    bytes += static_cast<char>(hex_digit(line[i + 1]) * 16 + hex_digit(line[i + 2]));
    i += 2;
    return true;
}

bool append_line(std::string &bytes, std::string_view line, std::string_view line_end) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            bytes += line[i];
        } else if (i + 1 == line.size()) {
            return true;
        } else if (!append_escape(bytes, line, i)) {
            return false;
        }
    }
    bytes += line_end;
    return true;
}

// Takes a decimal number off the front.
std::optional<double> take_number(std::string_view &text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool take(std::string_view &text, std::string_view expected) {
    const bool there = text.starts_with(expected);
    text.remove_prefix(there ? expected.size() : 0);
    return there;
}

struct number_range {
    double least;
    double most;
};

// Takes "{A..B}" off the front.
std::optional<number_range> take_range(std::string_view &pattern) {
    std::string_view rest = pattern;
    const auto dots = rest.find("..");
    if (!take(rest, "{") || dots == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view low = pattern.substr(1, dots - 1);
    const auto least = take_number(low);
    rest = pattern.substr(dots + 2);
    const auto most = take_number(rest);
    if (!least || !low.empty() || !most || !take(rest, "}")) {
        return std::nullopt;
    }
    pattern = rest;
    return number_range{*least, *most};
}

}  // namespace

bool matches(std::string_view pattern, std::string_view text) {
    while (!pattern.empty()) {
        if (const auto range = take_range(pattern)) {
            const auto number = take_number(text);
            if (!number || *number < range->least || *number > range->most) {
                return false;
            }
        } else if (!take(text, pattern.substr(0, 1))) {
            return false;
        } else {
            pattern.remove_prefix(1);
        }
    }
    return text.empty();
}

std::string replace_all(std::string text, std::string_view what, std::string_view by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::optional<std::string> bytes_of_lines(const std::vector<std::string> &lines, std::string_view line_end) {
    std::string bytes;
    for (const std::string &line : lines) {
        if (!append_line(bytes, line, line_end)) {
            return std::nullopt;
        }
    }
    return bytes;
}

std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char &c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return lower;
}

std::string join(const std::vector<std::string> &parts, std::string_view separator) {
    std::string all;
    for (const std::string &part : parts) {
        all += (&part == &parts.front() ? "" : std::string(separator)) + part;
    }
    return all;
}
