#include "view/text.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zelt_top;

TEST(Text, WhatATerminalCouldObeyBecomesAQuestionMark) {
    struct row {
        const char *why;
        std::string text;
        std::string expected;
    };
    const row rows[] = {
        {"plain text stays", "Example Net", "Example Net"},
        {"letters beyond ASCII stay", "Türk 中国移动", "Türk 中国移动"},
        {"escape sequence", "a\x1b[2Jb", "a?[2Jb"},
        {"line ends", "a\r\nb", "a??b"},
        {"NUL", std::string("a\0b", 3), "a?b"},
        {"delete", "a\x7f", "a?"},
        {"C1 control: a terminal may take it for an escape",
         "a\xc2\x9b"
         "2J",
         "a?2J"},
        {"Latin-1 is no UTF-8", "T\xfcrk", "T?rk"},
        {"character cut short", "a\xe4\xb8", "a??"},
        {"overlong spelling of a slash", "\xc0\xaf", "??"},
        {"overlong spelling in three bytes", "\xe0\x80\xaf", "?"},
        {"surrogate", "\xed\xa0\x80", "?"},
        {"beyond the last character", "\xf4\x90\x80\x80", "?"},
        {"direction override turns the rest of the line", std::string("a\xe2\x80") + "\xae" + "b", "a?b"},
        {"zero width space",
         "a\xe2\x80\x8b"
         "b",
         "a?b"},
        {"blanks at the ends go", "  460 ", "460"},
        {"blanks only", "   ", ""},
        {"nothing", "", ""},
    };
    for (const row &one : rows) {
        EXPECT_EQ(printable(one.text), one.expected) << one.why;
    }
}

TEST(Text, WithoutUtf8EachForeignCharacterIsOneMark) {
    EXPECT_EQ(ascii_only("Türk 中国"), "T?rk ??");
}

TEST(Text, ColumnsAreThoseOfTheTerminal) {
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

TEST(Text, CutsBetweenCharactersAndPadsToTheColumn) {
    EXPECT_EQ(fit("abcdef", 3), "abc");
    EXPECT_EQ(fit("中国", 3), "中");
    EXPECT_EQ(fit("abc", 0), "");
    EXPECT_EQ(pad_right("中国", 3), "中 ");
    EXPECT_EQ(pad_right("ab", 4), "ab  ");
    EXPECT_EQ(pad_left("ab", 4), "  ab");
    EXPECT_EQ(pad_left("abcde", 4), "abcd");
}

TEST(Text, WrapsAtBlanksAndTearsOnlyWhatIsTooLong) {
    using testing::ElementsAre;
    EXPECT_THAT(wrap("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(wrap("one two three", 6), ElementsAre("one", "two", "three"));
    EXPECT_THAT(wrap("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrap("ab", 0), ElementsAre("a", "b"));
    EXPECT_THAT(wrap("中", 1), ElementsAre("?"));
    EXPECT_THAT(wrap("", 5), ElementsAre());
}

TEST(Text, DurationsAreInTheUnitThatMatters) {
    struct row {
        const char *why;
        double seconds;
        const char *expected;
    };
    const row rows[] = {
        {"nothing", 0, "0 s"},
        {"a clock that stepped back", -5, "0 s"},
        {"parts of a second are left out", 7.9, "7 s"},
        {"last second", 59, "59 s"},
        {"first minute", 60, "1 min"},
        {"minutes", 725, "12 min 5 s"},
        {"first hour", 3600, "1 h"},
        {"hours", 3725, "1 h 2 min"},
        {"first day", 86400, "1 d"},
        {"days", 190800, "2 d 5 h"},
        {"beyond every calendar", std::numeric_limits<double>::infinity(), "37037 d"},
    };
    for (const row &one : rows) {
        EXPECT_EQ(duration(one.seconds), one.expected) << one.why;
    }
}

}  // namespace
