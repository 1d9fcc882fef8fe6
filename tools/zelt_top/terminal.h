// What the terminal at the standard output is capable of. Changes nothing there; never logs.
#pragma once

#include <string>

namespace zelt_top {

// Why the terminal cannot show a page, for people; empty when it can.
std::string why_no_screen();

// The terminal can show block characters: the locale says UTF-8, and it is none of those that never learnt it.
bool terminal_shows_utf8();

}  // namespace zelt_top
