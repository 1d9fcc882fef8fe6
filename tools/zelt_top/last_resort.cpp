#include "tools/zelt_top/last_resort.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>

#include <termios.h>
#include <unistd.h>

#include "tools/zelt_top/options.h"

namespace zelt_top {

namespace {

// Written before taken is set, read by the handler after it.
struct {
    volatile std::sig_atomic_t taken = 0;
    termios before{};
    std::array<char, 128> leave{};
    std::size_t leave_length = 0;
} terminal;

constexpr std::string_view DAMAGED = "zelt-top: the database is damaged: the end of its file is missing. Stop its "
                                     "users and remove the folder (SYSDB_DIR, "
                                     "or /run/sysdb), it is written anew.\n";

void handle(int signal) {
    if (terminal.taken != 0) {
        static_cast<void>(!write(STDOUT_FILENO, terminal.leave.data(), terminal.leave_length));
        tcsetattr(STDOUT_FILENO, TCSANOW, &terminal.before);
    }
    if (signal == SIGBUS) {
        static_cast<void>(!write(STDERR_FILENO, DAMAGED.data(), DAMAGED.size()));
        _exit(NO_DATABASE);
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
