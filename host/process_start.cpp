// What every program with the host begins with: it does not depend on what its parent left closed, ignored or blocked.
//
// A constructor function and not a call from main: the daemon's main knows no host, and the stop's descriptor is made
// before main. Nobody names the function, so host/CMakeLists.txt makes the linker take it.
#include "host/process_start.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A file opened later must not become a standard stream: messages would land in it.
void fill_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            // The wrong way round on purpose: writing to a closed output stays an error.
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
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

void catch_broken_pipes() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

// 101 is the first place that programs may take: objects with a constructor of their own come after it.
extern "C" [[gnu::constructor(101)]] void zelt_start_process() {
    fill_standard_descriptors();
    catch_broken_pipes();
    forget_the_parents_signals();
}
