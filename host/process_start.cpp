// A constructor function and not a call from main: the daemon's main knows no host. Nobody names the function, so
// host/CMakeLists.txt makes the linker take it.
#include "host/process_start.h"

#include <csignal>

namespace {

// Ignored and blocked signals are inherited. With SIGCHLD ignored the kernel forgets the status of every child, and one
// that is blocked may be the one that is to end us. Whatever else is ignored stays so, as after nohup.
void forget_the_parents_signals() {
    std::signal(SIGCHLD, SIG_DFL);
    sigset_t none = {};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

void catch_broken_pipes() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

// Before objects with a constructor of their own.
extern "C" [[gnu::constructor(102)]] void zelt_forget_the_parent() {
    catch_broken_pipes();
    forget_the_parents_signals();
}
