#include "view/characters.h"

#include <gtest/gtest.h>

namespace {

using namespace view;

TEST(characters, what_a_terminal_could_obey_becomes_a_question_mark) {
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
        {"overlong spelling in three bytes", "\xe0\x80\xaf", "???"},
        {"surrogate", "\xed\xa0\x80", "???"},
        {"beyond the last character", "\xf4\x90\x80\x80", "????"},
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
        EXPECT_EQ(harmless(one.text), one.expected) << one.why;
    }
}

}  // namespace
