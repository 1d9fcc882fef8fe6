// The picture as lines of styled text for a given width and height: what the screen and the plain text both show.
// Pure: knows no terminal; never logs.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tools/zelt_top/memory.h"
#include "view/picture.h"

namespace zelt_top {

enum class style { plain, dim, strong, title, warning, good, fair, weak, bad };

struct span {
    std::string text;
    style look = style::plain;
};

struct line {
    line() = default;
    explicit line(std::string text, style look = style::plain) { add(std::move(text), look); }

    std::vector<span> spans;

    line &add(std::string text, style look = style::plain);
    line &add_to_column(std::size_t column);  // blanks up to there
    std::size_t width() const;
    std::string plain_text() const;  // without styles and without blanks at the end
};

struct page {
    std::size_t width = 80;
    std::size_t height = 0;  // 0: as many lines as it takes
    bool utf8 = false;
    bool keys = false;     // the title names them
    bool history = false;  // there is more than one refresh to show
    bool paused = false;   // by the person, not the daemon
    bool antenna = false;  // the page for somebody who turns one
};

// No line is wider than the page, and there are no more lines than fit. A page too small for everything shows the
// signal and the state.
std::vector<line> lay_out(const view::picture &known, const memory &past, const page &on);

// What the values, bars and keys mean.
std::vector<line> lay_out_help(const page &on);

// What pages have in common: title and state, the look of a value, that of old ones (without colour and without
// weight), the limits of the page, and what stands where they cut. Where the state would take a line from the `below`
// ones, it is told in one line.
std::vector<line> lay_out_head(const view::picture &known, std::size_t below, const page &on);
style look_of(const view::signal_value &one);
void dim(std::vector<line> &lines);
void cut_to(std::vector<line> &lines, const page &on);
line more_in(const char *window, const page &on);

}  // namespace zelt_top
