// Which daemons use a port of this machine. Reads "/proc"; silent, never touches the port.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

// Of the machine itself and of all boxes. A daemon has its port open for the moments of an exchange only: who has it
// open does not tell.
std::vector<pid_t> daemons_at(const std::string &port);
