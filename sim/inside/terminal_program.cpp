#include "sim/inside/terminal_program.h"

#include <csignal>
#include <ctime>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim/child.h"

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
    std::vector<char *> argv;
    for (const std::string &word : command_) {
        argv.push_back(const_cast<char *>(word.c_str()));  // NOLINT: posix_spawn does not write there
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    for (int fd = 0; fd < static_cast<int>(streams_.size()); ++fd) {
        posix_spawn_file_actions_adddup2(&files, streams_.at(static_cast<std::size_t>(fd)).get(), fd);
    }
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    // The box ignores what a terminal sends; this program shall not.
    sigset_t every{};
    sigfillset(&every);
    posix_spawnattr_setsigdefault(&attributes, &every);
    if (leads_terminal_) {
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawn_file_actions_addtcsetpgrp_np(&files, STDIN_FILENO);
    }
    const int group = leads_terminal_ ? POSIX_SPAWN_SETPGROUP : 0;
    posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | group));
    const int error = posix_spawnp(&pid_, argv[0], &files, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        pid_ = -1;
        throw std::system_error(error, std::generic_category(), command_[0]);
    }
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
