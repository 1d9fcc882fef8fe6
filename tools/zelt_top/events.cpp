#include "tools/zelt_top/events.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "posix/failure.h"

namespace zelt_top {

namespace {

bool is_ignored(int signal) {
    struct sigaction now {};
    return sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

int open_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGTSTP, SIGCONT}) {
        if (!is_ignored(signal)) {  // nohup, for one, means it
            sigaddset(&set, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    const int fd = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    throw_unless(fd >= 0, "signalfd");
    return fd;
}

}  // namespace

events::events(bool with_keys) : signals_(open_signals()), with_keys_(with_keys) {}

event events::take_signals() const {
    bool suspend = false;
    bool resume = false;
    signalfd_siginfo one{};
    while (read(signals_.get(), &one, sizeof one) == static_cast<ssize_t>(sizeof one)) {
        switch (one.ssi_signo) {
        case SIGWINCH:
            break;
        case SIGTSTP:
            suspend = true;
            break;
        case SIGCONT:
            resume = true;
            break;
        default:
            return event::stop;
        }
    }
    return suspend ? event::suspend : resume ? event::resume : event::resize;
}

event events::wait(double seconds) const {
    std::array<pollfd, 2> sources{{{signals_.get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    // Rounded up: waking just before the time would turn the last millisecond into a busy loop.
    const int milliseconds = static_cast<int>(std::ceil(std::max(seconds, 0.0) * 1000));
    const int ready = poll(sources.data(), with_keys_ ? 2 : 1, milliseconds);
    if (ready <= 0) {
        return event::time;
    }
    if (sources[0].revents != 0) {
        return take_signals();
    }
    return (sources[1].revents & POLLIN) != 0 && (sources[1].revents & (POLLHUP | POLLERR)) == 0 ? event::key
                                                                                                 : event::input_lost;
}

}  // namespace zelt_top
