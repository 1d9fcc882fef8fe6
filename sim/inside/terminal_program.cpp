#include "sim/inside/terminal_program.h"

#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "posix/process.h"

namespace {

constexpr int PATIENCE_MILLISECONDS = 2000;  // a program that reacts at all does so at once

}  // namespace

terminal_program::terminal_program(std::vector<std::string> command, bool leads_terminal)
    : command_(std::move(command)), leads_terminal_(leads_terminal) {
    for (int fd = 0; fd < static_cast<int>(streams_.size()); ++fd) {
        streams_.at(static_cast<std::size_t>(fd)) = descriptor(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    }
}

void terminal_program::start() {
    // The box ignores what a terminal sends; this program shall not. But for the stop key: whoever gives the terminal
    // back to the user's shell may be stopped before this program has left its page, and it could not any more.
    pid_ = start_program(command_, {.streams = {streams_[0].get(), streams_[1].get(), streams_[2].get()},
                                    .group = leads_terminal_ ? process_group::foreground : process_group::ours,
                                    .inherits_descriptors = true,
                                    .stays_ignored = leads_terminal_ ? 0 : SIGTSTP});
    end_ = end_of_process(pid_);
}

void terminal_program::end() {
    if (pid_ <= 0) {
        return;
    }
    // As if the terminal went away: a shell ends by nothing milder. A stopped program must go on to notice.
    kill(pid_, SIGHUP);
    kill(pid_, SIGCONT);
    pollfd watched{end_.get(), POLLIN, 0};
    if (poll(&watched, 1, PATIENCE_MILLISECONDS) <= 0) {
        kill(pid_, SIGKILL);
    }
    waitpid(std::exchange(pid_, -1), nullptr, 0);
}
