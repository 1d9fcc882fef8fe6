#include "sim/inside/terminal_program.h"

#include <csignal>
#include <ctime>
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
    // The box ignores what a terminal sends; this program shall not.
    pid_ = start_program(command_, {.streams = {streams_[0].get(), streams_[1].get(), streams_[2].get()},
                                    .group = leads_terminal_ ? process_group::foreground : process_group::ours,
                                    .inherits_descriptors = true});
    end_ = end_of_process(pid_);
}

bool terminal_program::has_stopped() const {
    siginfo_t found{};
    return pid_ > 0 && waitid(P_PID, static_cast<id_t>(pid_), &found, WSTOPPED | WNOHANG | WNOWAIT) == 0 &&
           found.si_pid == pid_;
}

void terminal_program::stop_for_a_while() const {
    if (pid_ <= 0) {
        return;
    }
    kill(pid_, SIGTSTP);
    const timespec moment{.tv_sec = 0, .tv_nsec = 10'000'000};
    for (int waited = 0; waited < PATIENCE_MILLISECONDS / 2 && !has_stopped(); waited += 10) {
        pollfd watched{end_.get(), POLLIN, 0};
        ppoll(&watched, 1, &moment, nullptr);
    }
    kill(pid_, SIGSTOP);  // a shell stops by nothing milder
}

void terminal_program::go_on() const {
    if (pid_ <= 0) {
        return;
    }
    if (leads_terminal_) {
        std::signal(SIGTTOU, SIG_IGN);  // may be in the background, and takes the terminal for it all the same
        tcsetpgrp(STDIN_FILENO, pid_);
    }
    kill(pid_, SIGCONT);
}

void terminal_program::end() {
    if (pid_ <= 0) {
        return;
    }
    pollfd watched{end_.get(), POLLIN, 0};
    const bool had_ended = poll(&watched, 1, 0) > 0;
    // As if the terminal went away: a shell ends by nothing milder. A stopped program must go on to notice.
    kill(pid_, SIGHUP);
    kill(pid_, SIGCONT);
    if (poll(&watched, 1, PATIENCE_MILLISECONDS) <= 0) {
        kill(pid_, SIGKILL);
    }
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    killed_by_ = had_ended && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}
