#include "tools/zelt_top/columns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zelt_top;

TEST(columns, without_utf8_each_foreign_character_is_one_mark) {
    EXPECT_EQ(ascii_only("Türk 中国"), "T?rk ??");
}

TEST(columns, columns_are_those_of_the_terminal) {
    struct row {
        const char *why;
        const char *text;
        std::size_t expected;
    };
    const row rows[] = {
        {"nothing", "", 0},
        {"ASCII", "abc", 3},
        {"two bytes, one column", "ü", 1},
        {"CJK takes two", "中国", 4},
        {"an accent joins", "e\u0301", 1},
        {"a bar's block", "█", 1},
    };
    for (const row &one : rows) {
        EXPECT_EQ(columns(one.text), one.expected) << one.why;
    }
}

TEST(columns, cuts_between_characters_and_pads_to_the_column) {
    EXPECT_EQ(fit("abcdef", 3), "abc");
    EXPECT_EQ(fit("中国", 3), "中");
    EXPECT_EQ(fit("abc", 0), "");
    EXPECT_EQ(pad_right("中国", 3), "中 ");
    EXPECT_EQ(pad_right("ab", 4), "ab  ");
    EXPECT_EQ(pad_left("ab", 4), "  ab");
    EXPECT_EQ(pad_left("abcde", 4), "abcd");
}

TEST(columns, wraps_at_blanks_and_tears_only_what_is_too_long) {
    using testing::ElementsAre;
    EXPECT_THAT(wrap("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(wrap("one two three", 6), ElementsAre("one", "two", "three"));
    EXPECT_THAT(wrap("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrap("ab", 0), ElementsAre("a", "b"));
    EXPECT_THAT(wrap("中", 1), ElementsAre("?"));
    EXPECT_THAT(wrap("", 5), ElementsAre());
}

TEST(columns, wraps_between_fields_and_tears_only_what_is_too_long) {
    using testing::ElementsAre;
    EXPECT_THAT(wrap_fields("a 1, b 2, c 3", ", ", 13), ElementsAre("a 1, b 2, c 3"));
    EXPECT_THAT(wrap_fields("a 1, b 2, c 3", ", ", 12), ElementsAre("a 1, b 2,", "c 3"));
    EXPECT_THAT(wrap_fields("a 1, b 2, c 3", ", ", 8), ElementsAre("a 1,", "b 2, c 3"));
    EXPECT_THAT(wrap_fields("RSRP -95 dBm  SQI 60 %", "  ", 12), ElementsAre("RSRP -95 dBm", "SQI 60 %"));
    EXPECT_THAT(wrap_fields("RSRP -95 dBm  SQI 60 %", "  ", 8), ElementsAre("RSRP -95", "dBm", "SQI 60 %"));
    EXPECT_THAT(wrap_fields("", ", ", 8), ElementsAre());
}

}  // namespace
