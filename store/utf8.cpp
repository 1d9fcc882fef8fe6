#include "store/utf8.h"

#include <algorithm>
#include <array>

namespace {

// The second byte's bounds keep out overlong forms, surrogates and what lies beyond U+10FFFF.
struct form {
    unsigned char first_from, first_to, second_from, second_to;
    std::size_t bytes;
};
constexpr std::array<form, 8> FORMS = {{{0xc2, 0xdf, 0x80, 0xbf, 2},
                                        {0xe0, 0xe0, 0xa0, 0xbf, 3},
                                        {0xe1, 0xec, 0x80, 0xbf, 3},
                                        {0xed, 0xed, 0x80, 0x9f, 3},
                                        {0xee, 0xef, 0x80, 0xbf, 3},
                                        {0xf0, 0xf0, 0x90, 0xbf, 4},
                                        {0xf1, 0xf3, 0x80, 0xbf, 4},
                                        {0xf4, 0xf4, 0x80, 0x8f, 4}}};

unsigned char byte_at(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool has_form(std::string_view text, const form &f) {
    if (text.size() < f.bytes || byte_at(text, 0) < f.first_from || byte_at(text, 0) > f.first_to ||
        byte_at(text, 1) < f.second_from || byte_at(text, 1) > f.second_to) {
        return false;
    }
    for (std::size_t at = 2; at < f.bytes; ++at) {
        if ((byte_at(text, at) & 0xc0U) != 0x80) {
            return false;
        }
    }
    return true;
}

struct range {
    std::uint32_t first;
    std::uint32_t last;
};
constexpr std::array<range, 7> INVISIBLE{{
    {0xad, 0xad},      // soft hyphen
    {0x200b, 0x200f},  // zero width, direction marks
    {0x2028, 0x202e},  // line separators, direction overrides
    {0x2060, 0x206f},  // joiners, direction isolates
    {0xfe00, 0xfe0f},  // variation selectors
    {0xfeff, 0xfeff},
    {0xe0000, 0x10ffff},  // tags and private planes
}};

}  // namespace

utf8_character first_character(std::string_view text) {
    const unsigned char first = byte_at(text, 0);
    for (const form &f : FORMS) {
        if (has_form(text, f)) {
            std::uint32_t code = first & (0x7fU >> f.bytes);
            for (std::size_t at = 1; at < f.bytes; ++at) {
                code = code << 6U | (byte_at(text, at) & 0x3fU);
            }
            return {code, f.bytes, true};
        }
    }
    return {first, 1, first < 0x80};
}

bool is_control(const utf8_character &character) {
    return character.code < 0x20 || (character.code >= 0x7f && character.code <= 0x9f);
}

bool is_unsafe(const utf8_character &character) {
    return is_control(character) || (character.is_valid && std::ranges::any_of(INVISIBLE, [&](const range &one) {
                                         return one.first <= character.code && character.code <= one.last;
                                     }));
}
