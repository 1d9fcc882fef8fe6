// What a terminal of the vt100 and xterm families shows of a page that a program has drawn.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <vterm.h>

class vt_model {
public:
    vt_model(std::size_t columns, std::size_t rows);

    void feed(const std::string &bytes) { vterm_input_write(terminal_.get(), bytes.data(), bytes.size()); }
    void resize(std::size_t columns, std::size_t rows);

    std::string row(std::size_t index) const;  // without blanks at its end
    std::string page() const;                  // the rows, each with a line feed
    bool cursor_visible() const { return seen_.cursor_visible; }
    bool other_page() const { return seen_.other_page; }  // the one that programs use, beside the shell's
    bool coloured() const;                                // something on the page has a colour
    bool torn() const { return seen_.scrolled; }          // something was written below the page

private:
    struct observations {
        bool cursor_visible = true;
        bool other_page = false;
        bool scrolled = false;
    };
    static int note_property(VTermProp property, VTermValue *value, void *seen);
    static int note_scroll(VTermRect to, VTermRect from, void *seen);

    std::unique_ptr<VTerm, decltype(&vterm_free)> terminal_;
    VTermScreen *screen_;
    VTermScreenCallbacks callbacks_{};
    observations seen_;
};
