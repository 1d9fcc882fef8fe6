#include "sim/text.h"

#include <gtest/gtest.h>

TEST(printable, shows_what_would_break_a_line) {
    EXPECT_EQ(printable(std::string_view("a\r\n\t\\\0\x7f\xc3\xa4", 9)), "a\\r\\n\\t\\\\\\x00\\x7f\xc3\xa4");
}

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

TEST(bytes_of_lines, gives_back_what_printable_showed) {
    std::string every_byte;
    for (int code = 0; code < 256; ++code) {
        every_byte += static_cast<char>(code);
    }
    EXPECT_EQ(bytes_of_lines({printable(every_byte)}, ""), every_byte);
}
