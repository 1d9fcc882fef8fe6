#include "tools/zelt_top/terminal.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "view/characters.h"

// After everything else: its macros have the names of half the dictionary.
#define NCURSES_NOMACROS
#include <curses.h>
#include <term.h>

namespace zelt_top {

namespace {

std::string terminal_name() {
    const char *name = std::getenv("TERM");
    return name != nullptr ? name : "";
}

}  // namespace

std::string why_no_screen() {
    if (isatty(STDOUT_FILENO) == 0 || isatty(STDIN_FILENO) == 0) {
        return isatty(STDOUT_FILENO) == 0 ? "the output is no terminal" : "the input is no terminal";
    }
    const std::string name = terminal_name();
    if (name.empty()) {
        return "TERM does not say what terminal this is";
    }
    int result = 0;
    if (setupterm(name.c_str(), STDOUT_FILENO, &result) == ERR) {
        return "TERM=" + view::harmless(name) + " is unknown here";
    }
    const bool can_place = tigetstr("cup") != nullptr;
    del_curterm(cur_term);
    return can_place ? "" : "TERM=" + view::harmless(name) + " cannot place its cursor";
}

std::size_t terminal_columns() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool terminal_shows_utf8() {
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        return false;
    }
    // The first ones are ASCII by birth; the console of the kernel has no font with eighths of blocks.
    const std::string name = terminal_name();
    constexpr std::array<std::string_view, 5> WITHOUT{"vt", "ansi", "dumb", "linux", "pcansi"};
    for (const std::string_view prefix : WITHOUT) {
        if (name.starts_with(prefix)) {
            return false;
        }
    }
    return true;
}

}  // namespace zelt_top
