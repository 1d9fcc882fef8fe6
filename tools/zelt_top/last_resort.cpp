#include "tools/zelt_top/last_resort.h"

#include <algorithm>
#include <array>
#include <csignal>

#include <termios.h>
#include <unistd.h>

namespace zelt_top {

namespace {

// Written before taken is set, read by the handler after it.
struct {
    volatile std::sig_atomic_t taken = 0;
    termios before{};
    std::array<char, 128> leave{};
    std::size_t leave_length = 0;
} terminal;

void handle(int signal) {
    if (terminal.taken != 0) {
        static_cast<void>(!write(STDOUT_FILENO, terminal.leave.data(), terminal.leave_length));
        tcsetattr(STDOUT_FILENO, TCSANOW, &terminal.before);
    }
    std::signal(signal, SIG_DFL);
    raise(signal);
}

}  // namespace

void expect_the_worst() {
    for (const int signal : {SIGBUS, SIGSEGV, SIGABRT, SIGFPE, SIGILL}) {
        std::signal(signal, handle);
    }
}

void remember_terminal(const termios &before, const std::string &leave) {
    terminal.before = before;
    terminal.leave_length = std::min(leave.size(), terminal.leave.size());
    std::copy_n(leave.begin(), terminal.leave_length, terminal.leave.begin());
    terminal.taken = 1;
}

void forget_terminal() {
    terminal.taken = 0;
}

}  // namespace zelt_top
