// What the terminal at the standard output is capable of. Changes nothing there; never logs.
#pragma once

#include <cstddef>
#include <string>

namespace zelt_top {

// Why the terminal cannot show a page, for people; empty when it can.
std::string why_no_screen();

// Its columns; 0 when the standard output is no terminal, or one that does not say.
std::size_t terminal_columns();

// The terminal can show block characters: the locale says UTF-8, and it is none of those that never learnt it.
bool terminal_shows_utf8();

}  // namespace zelt_top
