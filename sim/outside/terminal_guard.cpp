#include "sim/outside/terminal_guard.h"

#include <csignal>
#include <string_view>

#include <unistd.h>

namespace {

// Leaves the second screen, shows the cursor, no colours. Only for a program that was killed on its page: one that left
// in order has put the terminal's settings back itself.
constexpr std::string_view LEAVE_PAGE = "\033[?1049l\033[?25h\033[0m\r\n";

bool are_alike(const termios &a, const termios &b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag;
}

}  // namespace

terminal_guard::terminal_guard() {
    termios now{};
    if (tcgetattr(STDIN_FILENO, &now) == 0) {
        before_ = now;
        foreground_ = tcgetpgrp(STDIN_FILENO);
    }
}

terminal_guard::~terminal_guard() {
    if (!before_) {
        return;
    }
    // Whoever is not in the foreground is stopped when it touches the terminal.
    sigset_t stop{};
    sigset_t old{};
    sigemptyset(&stop);
    sigaddset(&stop, SIGTTOU);
    sigprocmask(SIG_BLOCK, &stop, &old);
    if (foreground_ == getpgrp() && tcgetpgrp(STDIN_FILENO) != foreground_) {
        tcsetpgrp(STDIN_FILENO, foreground_);
    }
    termios now{};
    if (tcgetattr(STDIN_FILENO, &now) == 0 && !are_alike(now, *before_)) {
        static_cast<void>(!write(STDOUT_FILENO, LEAVE_PAGE.data(), LEAVE_PAGE.size()));
        tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
    }
    sigprocmask(SIG_SETMASK, &old, nullptr);
}
