// The sysdb program, started as a shell starts it.
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "tests/host/sysdb_fixture.h"
#include "tests/support/other_process.h"

// Runs until it ends or is killed. Its standard output is a pipe to us, or the descriptor that is given.
class running_tool {
public:
    explicit running_tool(const std::vector<std::string> &arguments, const std::string &error_file = "/dev/null",
                          int output = -1)
        : tool_([&] {
              dup2(output >= 0 ? output : output_.write_end.get(), STDOUT_FILENO);
              dup2(open(error_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644), STDERR_FILENO);
              std::vector<std::string> command = arguments;
              command.insert(command.begin(), SYSDB_PROGRAM);
              return become(command);
          }) {
        output_.write_end.close();
    }

    void signal(int number) const { tool_.signal(number); }
    int wait() { return tool_.wait(); }

    // What it prints until the text ends with `end`, or it closes its output, or 10 s passed: it hangs.
    std::string read_until(const std::string &end) {
        std::string text;
        char c = 0;
        pollfd readable = {output_.read_end.get(), POLLIN, 0};
        while ((end.empty() || !text.ends_with(end)) && poll(&readable, 1, 10000) == 1 &&
               ::read(output_.read_end.get(), &c, 1) == 1) {
            text += c;
        }
        return text;
    }

    // Nothing may be there to be read for as long as several looks take.
    bool is_silent() const {
        pollfd readable = {output_.read_end.get(), POLLIN, 0};
        return poll(&readable, 1, 250) == 0;
    }

    // How often it has gone to sleep by itself: with each wake-up once more.
    std::string sleeps() const {
        const std::string status = content_of("/proc/" + std::to_string(tool_.pid()) + "/status");
        const std::size_t at = status.find("\nvoluntary_ctxt_switches:");
        return status.substr(at + 1, status.find('\n', at + 1) - at - 1);
    }

    void close_output() { output_.read_end.close(); }

private:
    pipe_ends output_;
    other_process tool_;
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
