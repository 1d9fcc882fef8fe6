// Running other programs: the spawning, the waiting and the deadline. Knows nothing of what the programs do.
// Never logs.
//
// Every child starts with default signal dispositions, no blocked signal, /dev/null as standard input, and no
// descriptor above standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Runs a program, found through PATH, without a shell and returns its standard output; its standard error is ours.
// Nothing when there is no such program, when it fails, or when it has not ended by the deadline, has written more
// than size_limit bytes, or stop_libzelt_funcs() was called: in these three cases its whole process group is killed.
//
// Ends when the program itself does: what it leaves running in the background neither holds us up nor is killed.
//
// When we are killed, the kernel kills the program. Not what it has started in its turn, and not the program itself
// when it gains privileges as it starts (set-user-ID): these live on, and lose the pipe that they write to.
std::optional<std::string> collect_output(const std::vector<std::string> &program_and_arguments,
                                          std::chrono::milliseconds deadline, std::size_t size_limit);
