// Gives the terminal back as it was, whatever the programs on it did and however they ended. Silent; for the process
// outside the box, which outlives them.
#pragma once

#include <optional>

#include <sys/types.h>
#include <termios.h>

class terminal_guard {
public:
    terminal_guard();  // without a terminal it does nothing
    ~terminal_guard();
    terminal_guard(const terminal_guard &) = delete;
    terminal_guard &operator=(const terminal_guard &) = delete;

private:
    std::optional<termios> before_;
    pid_t foreground_ = -1;
};
