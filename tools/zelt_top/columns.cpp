#include "tools/zelt_top/columns.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "store/utf8.h"
#include "view/characters.h"

namespace zelt_top {

namespace {

using view::character_range;
using view::lies_in;

// The blocks that terminals draw two columns wide; the C library's own table needs a locale.
constexpr std::array<character_range, 8> WIDE{{
    {0x1100, 0x115f},
    {0x2e80, 0x303e},
    {0x3041, 0xa4cf},
    {0xac00, 0xd7a3},
    {0xf900, 0xfaff},
    {0xfe30, 0xfe6f},
    {0xff00, 0xff60},
    {0x1f300, 0x3fffd},
}};

constexpr std::array<character_range, 4> COMBINING{{
    {0x0300, 0x036f},
    {0x1ab0, 0x1aff},
    {0x1dc0, 0x1dff},
    {0x20d0, 0x20ff},
}};

std::size_t columns_of(std::uint32_t code) {
    return lies_in(COMBINING, code) ? 0 : lies_in(WIDE, code) ? 2 : 1;
}

}  // namespace

std::string ascii_only(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        result += next.code < 0x80 && next.is_valid ? text.front() : '?';
        text.remove_prefix(next.bytes);
    }
    return result;
}

std::size_t columns(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        width += columns_of(next.code);
        text.remove_prefix(next.bytes);
    }
    return width;
}

std::string fit(std::string_view text, std::size_t width) {
    std::string result;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
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
            line.assign(1, '?');
            text.remove_prefix(first_character(text).bytes);
        } else {
            // A line that ends exactly before a blank needs no shortening.
            const std::size_t blank = text[line.size()] == ' ' ? line.size() : line.rfind(' ');
            if (blank != std::string::npos && blank != 0) {
                line.resize(blank);
            }
            text.remove_prefix(line.size());
        }
        lines.push_back(view::trimmed(line));
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    }
    if (!text.empty()) {
        lines.emplace_back(text);
    }
    return lines;
}

std::vector<std::string> wrap_fields(std::string_view text, std::string_view separator, std::size_t width) {
    std::vector<std::string> lines;
    std::string line;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        const std::string field(text.substr(0, end + separator.size()));
        text.remove_prefix(field.size());
        if (columns(view::trimmed(line + field)) > width) {
            std::ranges::move(wrap(view::trimmed(line), width), std::back_inserter(lines));
            line.clear();
        }
        line += field;
    }
    std::ranges::move(wrap(view::trimmed(line), width), std::back_inserter(lines));
    return lines;
}

}  // namespace zelt_top
