// What every program with the host begins with, before its main and its own objects, whatever its parent ignored or
// blocked: the end of a child can be heard, no signal is blocked, and a broken pipe is an error of the write. Never
// logs, never blocks.
//
// A constructor function and not a call from main: the daemon's main knows no host. Nobody names the function, so
// host/CMakeLists.txt makes the linker take it.
#include <csignal>

namespace {

// Writing to a pipe or a socket that nobody reads ends nobody then.
void catch_broken_pipes() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

// Ignored and blocked signals are inherited. With SIGCHLD ignored the kernel forgets the status of every child, and one
// that is blocked may be the one that is to end us. Whatever else is ignored stays so, as after nohup.
void forget_the_parents_signals() {
    std::signal(SIGCHLD, SIG_DFL);
    sigset_t none = {};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

// Before objects with a constructor of their own.
extern "C" [[gnu::constructor(102)]] void zelt_forget_the_parent() {
    catch_broken_pipes();
    forget_the_parents_signals();
}
