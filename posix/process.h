// Starting another program, and waiting for its end. Never logs.
//
// Every child begins with the default action for each signal, none blocked and no stop pending, in our working
// directory and with our environment. Between fork and exec nothing is called but what a signal handler may call too,
// with every signal blocked: it works in a program with threads, and no handler of ours runs in the child. Descriptors
// 0 to 2 must be open here; every program with this library begins so.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

#include "posix/descriptor.h"

// A command as exec wants it. Points into the words, which must outlive it.
class argument_vector {
public:
    explicit argument_vector(const std::vector<std::string> &words);
    char *const *data() const { return pointers_.data(); }

private:
    std::vector<char *> pointers_;
};

inline constexpr int NULL_DEVICE = -1;

enum class process_group {
    ours,
    own,         // what a terminal sends to our group does not reach it
    foreground,  // its own, and the one in the foreground of the terminal that it has as standard input
};

struct process_settings {
    // What it gets as 0, 1 and 2: NULL_DEVICE, the same one of ours, or one of ours above 2.
    std::array<int, 3> streams = {NULL_DEVICE, STDOUT_FILENO, STDERR_FILENO};
    process_group group = process_group::ours;

    // When we are killed, or the thread ends that starts it, the kernel kills it. Not what it has started in its turn,
    // and not the program itself when it gains privileges as it starts (set-user-ID).
    bool dies_with_us = false;

    bool inherits_descriptors = false;  // those above 2 that are not to be closed on exec; otherwise none
};

// The file that a command of this name runs: the first program of PATH, but a name with a slash is a file's already.
std::optional<std::string> find_program(const std::string &name);

// What the shell reports when it could not run a command.
inline constexpr int COULD_NOT_BE_RUN = 127;

// Returns at once: the process id, or -1 with errno set. As in a shell the program is looked for in PATH, and a file
// that the kernel does not know is tried as a script; the child ends with COULD_NOT_BE_RUN when it cannot be run.
pid_t start_process(const std::vector<std::string> &command, const process_settings &settings = {});

// Returns when the program runs. Throws std::system_error, with the program's name, when it cannot be run: also when
// the kernel does not know the file, as a program of another machine.
pid_t start_program(const std::vector<std::string> &command, const process_settings &settings = {});

// What waitpid() tells, as the shell says it: the exit status, or 128 + n for signal n.
int shell_status(int wait_status);

// Blocks until the child has ended, and reaps it: its status as the shell says it, or COULD_NOT_BE_RUN when the kernel
// knows no such child (any more).
int wait_for_end(pid_t child);

// Blocks until the program has ended. COULD_NOT_BE_RUN also when no process can be made.
int run_process(const std::vector<std::string> &command, const process_settings &settings = {});

// Readable when the process has ended. Not open on a kernel before 5.3.
descriptor end_of_process(pid_t process);
