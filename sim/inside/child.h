// One program that the box runs, with its output on a pipe. Silent; only reap() and the destructor (of a killed
// program) wait.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "posix/descriptor.h"

class child {
public:
    child() = default;
    ~child();
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    // Throws std::system_error when the program cannot be started. It gets a process group and default signals.
    void start(const std::vector<std::string> &command);

    pid_t pid() const { return pid_; }  // negative while it does not run
    bool runs() const { return pid_ > 0; }
    int end_descriptor() const { return end_.get(); }        // readable when the program has ended
    int output_descriptor() const { return output_.get(); }  // negative when everything was read
    void send(int signal_number) const;

    // What it printed since the last call; of a program that prints without end a part.
    std::string read_output();

    // After its end: "0", or the name of the signal that ended it.
    std::string reap();

private:
    pid_t pid_ = -1;
    descriptor end_;
    descriptor output_;
};
