// The terminal as a page of styled lines. Never logs.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/zelt_top/layout.h"

namespace zelt_top {

// Takes the terminal, and gives it back as it was.
class screen {
public:
    explicit screen(bool colour);  // throws std::runtime_error when the terminal cannot be taken
    ~screen();
    screen(const screen &) = delete;
    screen &operator=(const screen &) = delete;

    std::size_t width() const;
    std::size_t height() const;
    void draw(const std::vector<line> &lines);
    void ring();
    int key();  // -1: none waiting

    void follow_size();  // the terminal was made larger or smaller
    void suspend();      // gives the terminal back and stops this process until somebody continues it
    void resume();       // somebody else may have used the terminal in the meantime

private:
    void leave();

    void *terminal_;
    bool colour_;
};

}  // namespace zelt_top
