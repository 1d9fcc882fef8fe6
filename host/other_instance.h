// Whether this program runs already, by its pid file. Never logs, never blocks.
#pragma once

#include <string>

// The process that the pid file names, when it runs this program and is not this process; else empty. Old pid files are
// normal: the daemon leaves its own behind, and the number may be any program's now.
std::string other_instance(const char *pid_file);

// The name under which the kernel lists a process ("self": this one); empty when it has ended.
std::string running_program(const std::string &process);
