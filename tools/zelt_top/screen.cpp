#include "tools/zelt_top/screen.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "tools/zelt_top/last_resort.h"

// Its macros have the names of half the dictionary.
#define NCURSES_NOMACROS
#include <curses.h>

namespace zelt_top {

namespace {

attr_t attributes_of(style look, bool colour) {
    // Colour is never the only sign: each bar has its word.
    const auto tinted = [colour](int pair) { return colour ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL; };
    switch (look) {
    case style::plain:
        return A_NORMAL;
    case style::dim:
        return A_DIM;
    case style::strong:
        return A_BOLD;
    case style::title:
        return A_REVERSE;
    case style::warning:
        return A_BOLD | tinted(COLOR_YELLOW);
    case style::good:
        return tinted(COLOR_GREEN);
    case style::fair:
        return tinted(COLOR_CYAN);
    case style::weak:
        return tinted(COLOR_YELLOW);
    case style::bad:
        return A_BOLD | tinted(COLOR_RED);
    }
    return A_NORMAL;
}

// What leaves the page for the shell's, without the pauses that old terminals are given ("$<2>").
std::string leaving_text() {
    std::string text;
    for (const char *name : {"sgr0", "rmcup", "cnorm"}) {
        const char *capability = tigetstr(name);
        const std::string_view all = capability != nullptr ? capability : "";
        text += all.substr(0, all.find("$<"));
    }
    return text;
}

bool prepare_colours(bool wanted) {
    if (!wanted || !has_colors() || start_color() == ERR || use_default_colors() == ERR) {
        return false;
    }
    for (const short colour : std::initializer_list<short>{COLOR_GREEN, COLOR_CYAN, COLOR_YELLOW, COLOR_RED}) {
        init_pair(colour, colour, -1);  // on whatever background the person likes
    }
    return true;
}

}  // namespace

screen::screen(bool colour) : terminal_(nullptr), colour_(false) {
    termios before{};
    const bool known = tcgetattr(STDOUT_FILENO, &before) == 0;
    terminal_ = newterm(nullptr, stdout, stdin);
    if (!known || terminal_ == nullptr) {
        throw std::runtime_error("cannot take the terminal");
    }
    remember_terminal(before, leaving_text());
    colour_ = prepare_colours(colour);
    cbreak();
    noecho();
    nodelay(stdscr, TRUE);
    keypad(stdscr, TRUE);
    set_escdelay(25);  // ms; the library would wait a second for the rest of a function key after a lone Escape
    curs_set(0);
}

screen::~screen() {
    forget_terminal();
    leave();
    delscreen(static_cast<SCREEN *>(terminal_));
}

std::size_t screen::width() const {
    return static_cast<std::size_t>(std::max(getmaxx(stdscr), 1));
}

std::size_t screen::height() const {
    return static_cast<std::size_t>(std::max(getmaxy(stdscr), 1));
}

void screen::draw(const std::vector<line> &lines) {
    werase(stdscr);
    int row = 0;
    for (const line &one : lines) {
        wmove(stdscr, row++, 0);
        for (const span &part : one.spans) {
            wattrset(stdscr, static_cast<int>(attributes_of(part.look, colour_)));
            waddstr(stdscr, part.text.c_str());
        }
    }
    wattrset(stdscr, A_NORMAL);
    wrefresh(stdscr);
}

void screen::ring() {
    beep();
}

int screen::key() {
    const int key = wgetch(stdscr);
    return key == ERR ? -1 : key;
}

void screen::follow_size() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 && size.ws_col != 0) {
        resizeterm(size.ws_row, size.ws_col);
        clearok(curscr, TRUE);  // terminals differ in what they keep of the old page
    }
}

// On a terminal without a page of its own for programs the shell goes on in the last line.
void screen::leave() {
    wmove(stdscr, getmaxy(stdscr) - 1, 0);
    wclrtoeol(stdscr);
    wrefresh(stdscr);
    endwin();
}

void screen::suspend() {
    leave();
    raise(SIGSTOP);
}

void screen::resume() {
    endwin();
    follow_size();
    clearok(curscr, TRUE);
}

}  // namespace zelt_top
