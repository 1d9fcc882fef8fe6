// A program that the box runs on the terminal of whoever started it: the live view, or a shell. Silent. Only the end
// waits, and not long.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <sys/types.h>

#include "posix/descriptor.h"

class terminal_program {
public:
    // leads_terminal: the terminal's signals go to it and its children alone, as a shell with job control wants it.
    // Takes the standard streams over as they are now; the caller may put others in their place before start().
    terminal_program(std::vector<std::string> command, bool leads_terminal);
    ~terminal_program() { end(); }
    terminal_program(const terminal_program &) = delete;
    terminal_program &operator=(const terminal_program &) = delete;

    // Throws std::system_error when the program cannot be started.
    void start();

    int end_descriptor() const { return end_.get(); }  // readable when it has ended

    // Whether somebody stopped it, as the stop key does, or a shell's `suspend`.
    bool has_stopped() const;

    // Waits until it has left its page.
    void stop_for_a_while() const;
    void go_on() const;

    // Makes it end. A program that does not within two seconds is killed.
    void end();

    // Behind end(): the signal by which it had ended before it was told to; 0 when it had not.
    int killed_by() const { return killed_by_; }

private:
    std::vector<std::string> command_;
    bool leads_terminal_;
    std::array<descriptor, 3> streams_;
    pid_t pid_ = -1;
    int killed_by_ = 0;
    descriptor end_;
};
