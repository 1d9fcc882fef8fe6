#include "view/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>

namespace zelt_top {

namespace {

struct character {
    std::uint32_t code;
    std::size_t bytes;
    bool valid;
};

struct range {
    std::uint32_t first;
    std::uint32_t last;
};

bool in_one_of(std::span<const range> ranges, std::uint32_t code) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const range &one) { return one.first <= code && code <= one.last; });
}

// Controls, and characters without a width of their own that change how others are drawn.
constexpr std::array<range, 10> HARMFUL{{
    {0x00, 0x1f},
    {0x7f, 0x9f},
    {0xad, 0xad},      // soft hyphen
    {0x200b, 0x200f},  // zero width, direction marks
    {0x2028, 0x202e},  // line separators, direction overrides
    {0x2060, 0x206f},
    {0xd800, 0xdfff},  // surrogates are no characters
    {0xfe00, 0xfe0f},  // variation selectors
    {0xfeff, 0xfeff},
    {0xe0000, 0x10ffff},  // tags and private planes
}};

// The blocks that terminals draw two columns wide; the C library's own table needs a locale.
constexpr std::array<range, 8> WIDE{{
    {0x1100, 0x115f},
    {0x2e80, 0x303e},
    {0x3041, 0xa4cf},
    {0xac00, 0xd7a3},
    {0xf900, 0xfaff},
    {0xfe30, 0xfe6f},
    {0xff00, 0xff60},
    {0x1f300, 0x3fffd},
}};

constexpr std::array<range, 4> COMBINING{{
    {0x0300, 0x036f},
    {0x1ab0, 0x1aff},
    {0x1dc0, 0x1dff},
    {0x20d0, 0x20ff},
}};

character first_character(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t bytes = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < bytes) {
        return {0, 1, false};
    }
    std::uint32_t code = lead & (0x7fU >> bytes);
    for (const char next : text.substr(1, bytes - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xc0U) != 0x80) {
            return {0, 1, false};
        }
        code = code << 6U | (byte & 0x3fU);
    }
    // Longer than needed: the same character spelt so that a filter may miss it.
    constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    return {code, bytes, code >= smallest.at(bytes) && code <= 0x10ffff};
}

std::size_t columns_of(std::uint32_t code) {
    return in_one_of(COMBINING, code) ? 0 : in_one_of(WIDE, code) ? 2 : 1;
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? ""
                                           : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const character next = first_character(text);
        if (next.valid && !in_one_of(HARMFUL, next.code)) {
            result += text.substr(0, next.bytes);
        } else {
            result += '?';
        }
        text.remove_prefix(next.bytes);
    }
    return trimmed(result);
}

std::string ascii_only(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const character next = first_character(text);
        result += next.code < 0x80 && next.valid ? text.front() : '?';
        text.remove_prefix(next.bytes);
    }
    return result;
}

std::size_t columns(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const character next = first_character(text);
        width += columns_of(next.code);
        text.remove_prefix(next.bytes);
    }
    return width;
}

std::string fit(std::string_view text, std::size_t width) {
    std::string result;
    while (!text.empty()) {
        const character next = first_character(text);
        const std::size_t wide = columns_of(next.code);
        if (wide > width) {
            break;
        }
        width -= wide;
        result += text.substr(0, next.bytes);
        text.remove_prefix(next.bytes);
    }
    return result;
}

std::string pad_right(std::string_view text, std::size_t width) {
    std::string result = fit(text, width);
    return result.append(width - columns(result), ' ');
}

std::string pad_left(std::string_view text, std::size_t width) {
    const std::string result = fit(text, width);
    return std::string(width - columns(result), ' ') + result;
}

std::vector<std::string> wrap(std::string_view text, std::size_t width) {
    width = std::max<std::size_t>(width, 1);
    std::vector<std::string> lines;
    while (columns(text) > width) {
        std::string line = fit(text, width);
        if (line.empty()) {  // a wide character in a single column
            line = "?";
            text.remove_prefix(first_character(text).bytes);
        } else {
            // A line that ends exactly before a blank needs no shortening.
            const std::size_t blank = text[line.size()] == ' ' ? line.size() : line.rfind(' ');
            if (blank != std::string::npos && blank != 0) {
                line = line.substr(0, blank);
            }
            text.remove_prefix(line.size());
        }
        lines.push_back(trimmed(line));
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    }
    if (!text.empty()) {
        lines.emplace_back(text);
    }
    return lines;
}

std::string duration(double seconds) {
    // Beyond a century nobody counts, and the conversion below must stay defined.
    const auto whole = static_cast<long long>(std::clamp(std::floor(seconds), 0.0, 3.2e9));
    const auto words = [](long long big, const char *big_unit, long long small, const char *small_unit) {
        return std::to_string(big) + big_unit + (small != 0 ? " " + std::to_string(small) + small_unit : "");
    };
    if (whole < 60) {
        return std::to_string(whole) + " s";
    }
    if (whole < 3600) {
        return words(whole / 60, " min", whole % 60, " s");
    }
    if (whole < 86400) {
        return words(whole / 3600, " h", whole % 3600 / 60, " min");
    }
    return words(whole / 86400, " d", whole % 86400 / 3600, " h");
}

}  // namespace zelt_top
