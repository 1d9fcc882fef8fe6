// The sysdb program, started as a shell starts it.
#pragma once

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/sysdb_fixture.h"

// Runs until it ends or is killed. Its standard output is a pipe to us, or the descriptor that is given.
class running_tool {
public:
    explicit running_tool(const std::vector<std::string> &arguments, const std::string &error_file = "/dev/null",
                          int output = -1) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        output_ = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output >= 0 ? output : ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
        std::vector<std::string> words = arguments;
        words.insert(words.begin(), SYSDB_PROGRAM);
        std::vector<char *> argv;
        argv.reserve(words.size() + 1);
        for (std::string &word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&pid_, SYSDB_PROGRAM, &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
    }
    ~running_tool() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            wait();
        }
        close_output();
    }
    running_tool(const running_tool &) = delete;
    running_tool &operator=(const running_tool &) = delete;

    void signal(int number) const { kill(pid_, number); }

    // The exit code, or 128 + the signal that ended it.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    // What it prints until the text ends with `end`, or it closes its output, or 10 s passed: it hangs.
    std::string read_until(const std::string &end) {
        std::string text;
        char c = 0;
        pollfd readable = {output_, POLLIN, 0};
        while ((end.empty() || !text.ends_with(end)) && poll(&readable, 1, 10000) == 1 && ::read(output_, &c, 1) == 1) {
            text += c;
        }
        return text;
    }

    // Nothing may be there to be read for as long as several looks take.
    bool is_silent() const {
        pollfd readable = {output_, POLLIN, 0};
        return poll(&readable, 1, 250) == 0;
    }

    // How often it has gone to sleep by itself: with each wake-up once more.
    std::string sleeps() const {
        const std::string status = content_of("/proc/" + std::to_string(pid_) + "/status");
        const std::size_t at = status.find("\nvoluntary_ctxt_switches:");
        return status.substr(at + 1, status.find('\n', at + 1) - at - 1);
    }

    void close_output() {
        close(output_);
        output_ = -1;
    }

private:
    pid_t pid_ = -1;
    int output_ = -1;
};

class tool_test : public sysdb_test {
protected:
    // The exit code; what it printed is in out_ and err_.
    int run(const std::vector<std::string> &arguments, int output = -1) {
        running_tool tool(arguments, folder_.path("stderr"), output);
        out_ = tool.read_until("");
        const int code = tool.wait();
        err_ = content_of(folder_.path("stderr"));
        return code;
    }

    std::string out_;
    std::string err_;
};
