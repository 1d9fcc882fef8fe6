// Processes beside the test.
#pragma once

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "posix/process.h"

// Runs body(), whose result is its status, and is killed at the latest when this object or the test program ends.
class other_process {
public:
    explicit other_process(const std::function<int()> &body) : pid_(fork()) {
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(body());
        }
    }
    ~other_process() { kill(); }
    other_process(const other_process &) = delete;
    other_process &operator=(const other_process &) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const { ::kill(pid_, number); }
    void kill() {
        if (pid_ > 0) {
            signal(SIGKILL);
            wait();
        }
    }

    // Its status as the shell says it.
    int wait() { return wait_for_end(std::exchange(pid_, -1)); }

    // Looks only: wait() still has the status.
    bool has_ended() const { return is(WEXITED); }
    bool is_stopped() const { return is(WSTOPPED); }

private:
    bool is(int state) const {
        siginfo_t found = {};
        return waitid(P_PID, static_cast<id_t>(pid_), &found, state | WNOHANG | WNOWAIT) == 0 && found.si_pid == pid_;
    }

    pid_t pid_;
};

// For a body: becomes this program, found through PATH.
inline int become(const std::vector<std::string> &command) {
    execvp(command.front().c_str(), argument_vector(command).data());
    return COULD_NOT_BE_RUN;
}

// One process tells, the other waits. Made before the fork.
class notice {
public:
    void give() const { EXPECT_EQ(write(pipe_.write_end.get(), "x", 1), 1); }
    void await() const {  // for 10 s at most: the other one may have failed
        char byte = 0;
        pollfd readable = {pipe_.read_end.get(), POLLIN, 0};
        ASSERT_EQ(poll(&readable, 1, 10000), 1);
        EXPECT_EQ(read(pipe_.read_end.get(), &byte, 1), 1);
    }

private:
    pipe_ends pipe_;
};

struct shell_outcome {
    int status;
    std::string output;
};

// Runs a shell command line to its end; both outputs together.
inline shell_outcome run_in_shell(const std::string &line) {
    pipe_ends pipe;
    other_process shell([&] {
        dup2(pipe.write_end.get(), STDOUT_FILENO);
        dup2(pipe.write_end.get(), STDERR_FILENO);
        return become({"/bin/sh", "-c", line});
    });
    pipe.write_end.close();
    std::string output;
    std::array<char, 4096> piece = {};
    for (ssize_t size = 0; (size = read(pipe.read_end.get(), piece.data(), piece.size())) > 0;) {
        output.append(piece.data(), static_cast<std::size_t>(size));
    }
    return {shell.wait(), output};
}
