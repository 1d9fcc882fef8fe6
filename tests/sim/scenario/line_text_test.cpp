#include "sim/scenario/line_text.h"

#include <gtest/gtest.h>

#include "store/value_text.h"

TEST(bytes_of_lines, ends_each_line_and_leaves_the_end_out_behind_a_single_backslash) {
    EXPECT_EQ(bytes_of_lines({"one", "", "two\\"}, "\r\n"), "one\r\n\r\ntwo");
    EXPECT_EQ(bytes_of_lines({"one\\\\"}, "\n"), "one\\\n");
}

TEST(bytes_of_lines, knows_each_escape) {
    EXPECT_EQ(bytes_of_lines({R"(\r\n\t\0\x41\xfF\\)"}, ""), std::string("\r\n\t\0A\xff\\", 7));
}

TEST(bytes_of_lines, refuses_what_is_no_escape) {
    for (const char *line : {"\\q", "\\x", "\\x4", "\\xg0", "\\x0g", "\\ "}) {
        EXPECT_EQ(bytes_of_lines({line}, ""), std::nullopt) << line;
    }
}

TEST(bytes_of_lines, gives_back_what_is_shown) {
    std::string every_byte;
    for (int code = 0; code < 256; ++code) {
        every_byte += static_cast<char>(code);
    }
    EXPECT_EQ(bytes_of_lines({escaped(every_byte)}, ""), every_byte);
}

struct match_row {
    const char *why;
    const char *pattern;
    const char *text;
    bool expected;
};

TEST(matches, takes_any_number_of_a_range) {
    constexpr match_row ROWS[] = {
        {"the same text", "ab", "ab", true},
        {"text is longer", "ab", "abc", false},
        {"text is shorter", "ab", "a", false},
        {"both empty", "", "", true},
        {"lower limit", "({1.50..2.00} s)", "(1.50 s)", true},
        {"upper limit", "({1.50..2.00} s)", "(2.00 s)", true},
        {"below", "({1.50..2.00} s)", "(1.49 s)", false},
        {"above", "({1.50..2.00} s)", "(2.01 s)", false},
        {"no number", "({1.50..2.00} s)", "(x s)", false},
        {"nothing", "{1.50..2.00}", "", false},
        {"text behind the number", "{1.50..2.00}", "1.7x", false},
        {"whole numbers", "{1..3}", "2", true},
        {"two ranges", "{1..2} {3..4}", "2 3", true},
        {"second one above", "{1..2} {3..4}", "2 5", false},
        {"braces of another kind", "{\"pid\":7}", "{\"pid\":7}", true},
        {"half a range", "{1..", "{1..", true},
        {"a range stands for a number, not for itself", "{1..2}", "{1..2}", false},
    };
    for (const match_row &row : ROWS) {
        EXPECT_EQ(matches(row.pattern, row.text), row.expected) << row.why;
    }
}

TEST(replace_all, replaces_each_and_looks_into_none_of_them_again) {
    EXPECT_EQ(replace_all("$PID and $PID", "$PID", "12"), "12 and 12");
    EXPECT_EQ(replace_all("a", "a", "aa"), "aa");
    EXPECT_EQ(replace_all("b", "a", "aa"), "b");
}
