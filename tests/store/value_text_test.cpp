#include "store/value_text.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

struct text_row {
    const char *why;
    std::string_view given;
    std::string_view printed;
};

TEST(escaped, shows_each_byte_that_could_break_a_line_or_steer_a_terminal) {
    const text_row rows[] = {
        {"plain", "T-Mobile, #1 \"x\"", "T-Mobile, #1 \"x\""},
        {"what has a letter", "a\tb\nc\rd\\e", R"(a\tb\nc\rd\\e)"},
        {"C0 and DEL", std::string_view("\0\x1b[2J\x7f", 6), R"(\x00\x1B[2J\x7F)"},
        {"C1 as a byte: CSI of an 8-bit terminal",
         "\x9b"
         "2J\x80\x9f",
         R"(\x9B2J\x80\x9F)"},
        {"C1 as a character: CSI of a UTF-8 terminal",
         "\xc2\x9b"
         "2J\xc2\x80\xc2\x9f",
         R"(\xC2\x9B2J\xC2\x80\xC2\x9F)"},
        {"one past C1, as a byte and as a character", "\xa0\xc2\xa0", "\xa0\xc2\xa0"},
        {"characters whose bytes lie in C1", "\u00c0\u20ac\U0001f4f6", "\u00c0\u20ac\U0001f4f6"},
        {"Latin-1", "M\xfcnchen", "M\xfcnchen"},
        {"a character cut at the end leaves a byte of C1", "a\xe2\x82", "a\xe2\\x82"},
        {"a surrogate is no character", "\xed\xa0\x80", "\xed\xa0\\x80"},
        {"an override turns the rest of the line: an operator's name that reads as another one",
         "a\u202eb\u2066c\u2069",  // NOLINT(misc-misleading-bidirectional)
         R"(a\xE2\x80\xAEb\xE2\x81\xA6c\xE2\x81\xA9)"},
        {"line separators", "\u2028\u2029", R"(\xE2\x80\xA8\xE2\x80\xA9)"},
        {"nothing to be seen", "\u00ad\u200b\ufeff\ufe0f\U000e0041",
         R"(\xC2\xAD\xE2\x80\x8B\xEF\xBB\xBF\xEF\xB8\x8F\xF3\xA0\x81\x81)"},
        {"what stands next to them", "\u200a\u2010\u2027\u202f\u205f\u2070", "\u200a\u2010\u2027\u202f\u205f\u2070"},
        {"empty", "", ""},
    };
    for (const text_row &c : rows) {
        EXPECT_EQ(escaped(c.given), c.printed) << c.why;
    }
}

TEST(shown, leaves_what_a_sentence_has_of_its_own) {
    // NOLINTNEXTLINE(misc-misleading-bidirectional)
    EXPECT_EQ(shown("key a\\x1B:\n\x1b[2J\r\u202e"), "key a\\x1B:\n\\x1B[2J\\r\\xE2\\x80\\xAE");
}

TEST(value_text, has_a_form_for_each_type) {
    struct row {
        const char *why;
        sysdb_value value;
        const char *type;
        const char *text;
    };
    const row rows[] = {
        {"integer", -999, "int", "-999"},
        {"whole real", 12.0, "real", "12.0"},
        {"shortest text that reads back equal", 12.4, "real", "12.4"},
        {"exponent", 1e30, "real", "1e+30"},
        {"infinite", -std::numeric_limits<double>::infinity(), "real", "-inf"},
        {"not a number has no sign", -std::numeric_limits<double>::quiet_NaN(), "real", "nan"},
        {"text", "a\x1b\\", "string", R"(a\x1B\\)"},
        {"empty text", "", "string", ""},
    };
    for (const row &c : rows) {
        EXPECT_EQ(type_name(c.value), c.type) << c.why;
        EXPECT_EQ(value_text(c.value), c.text) << c.why;
    }
}

TEST(parse_value, takes_the_whole_text_or_nothing) {
    EXPECT_EQ(parse_value("int", "-2147483648"), sysdb_value(-2147483647 - 1));
    EXPECT_EQ(parse_value("int", "2147483648"), std::nullopt);
    EXPECT_EQ(parse_value("int", "5 "), std::nullopt);
    EXPECT_EQ(parse_value("real", "-3.5"), sysdb_value(-3.5));
    EXPECT_EQ(parse_value("real", "1.5dB"), std::nullopt);
    EXPECT_EQ(parse_value("string", R"(a\n)"), sysdb_value(R"(a\n)")) << "escapes are for output";
    EXPECT_EQ(parse_value("float", "1"), std::nullopt);
}

}  // namespace
