#include "sim/text.h"

#include <array>
#include <cstdio>

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

}  // namespace

std::string printable(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\r') {
            text += "\\r";
        } else if (c == '\n') {
            text += "\\n";
        } else if (c == '\t') {
            text += "\\t";
        } else if (c == '\\') {
            text += "\\\\";
        } else if (code < 0x20 || code == 0x7f) {
            std::array<char, 5> hex{};
            std::snprintf(hex.data(), hex.size(), "\\x%02x", code);
            text += hex.data();
        } else {
            text += c;
        }
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
