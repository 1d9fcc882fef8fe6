#include "store/utf8.h"

#include <gtest/gtest.h>

namespace {

struct row {
    const char *why;
    std::string_view text;
    std::uint32_t code;
    std::size_t bytes;
    bool is_valid;
    bool is_control;
};

TEST(utf8, tells_characters_from_bytes_that_stand_alone) {
    const row rows[] = {
        {"NUL", std::string_view("\0", 1), 0, 1, true, true},
        {"last of C0", "\x1f", 0x1f, 1, true, true},
        {"blank", " ", 0x20, 1, true, false},
        {"last of ASCII that prints", "~", 0x7e, 1, true, false},
        {"DEL", "\x7f", 0x7f, 1, true, true},
        {"first of C1", "\xc2\x80", 0x80, 2, true, true},
        {"last of C1", "\xc2\x9f", 0x9f, 2, true, true},
        {"one past C1", "\xc2\xa0", 0xa0, 2, true, false},
        {"last of two bytes", "\xdf\xbf", 0x7ff, 2, true, false},
        {"first of three bytes", "\xe0\xa0\x80", 0x800, 3, true, false},
        {"last before the surrogates", "\xed\x9f\xbf", 0xd7ff, 3, true, false},
        {"first of four bytes", "\xf0\x90\x80\x80", 0x10000, 4, true, false},
        {"last of all", "\xf4\x8f\xbf\xbf", 0x10ffff, 4, true, false},
        {"only the first character counts", "a\xff", 'a', 1, true, false},
        {"byte of C1 alone", "\x9b[2J", 0x9b, 1, false, true},
        {"byte above C1 alone", "\xa0", 0xa0, 1, false, false},
        {"Latin-1", "\xfcn", 0xfc, 1, false, false},
        {"cut after the first byte", "\xc2", 0xc2, 1, false, false},
        {"cut after the second byte", "\xe2\x82", 0xe2, 1, false, false},
        {"third byte is another character", "\xe2\x82x", 0xe2, 1, false, false},
        {"C1 in two bytes too few is overlong", "\xc1\x9b", 0xc1, 1, false, false},
        {"overlong in three bytes", "\xe0\x9f\xbf", 0xe0, 1, false, false},
        {"overlong in four bytes", "\xf0\x8f\xbf\xbf", 0xf0, 1, false, false},
        {"surrogate", "\xed\xa0\x80", 0xed, 1, false, false},
        {"one past the last", "\xf4\x90\x80\x80", 0xf4, 1, false, false},
        {"no lead at all", "\xff", 0xff, 1, false, false},
    };
    for (const row &c : rows) {
        const utf8_character found = first_character(c.text);
        EXPECT_EQ(found.code, c.code) << c.why;
        EXPECT_EQ(found.bytes, c.bytes) << c.why;
        EXPECT_EQ(found.is_valid, c.is_valid) << c.why;
        EXPECT_EQ(is_control(found), c.is_control) << c.why;
    }
}

}  // namespace
