// Whether a real serial port has a module behind it that answers AT commands. Silent; waits a few seconds at most.
#pragma once

#include <string>

// Outside the box: whether there is a port of this name that may be used. What is wrong with it and what to do next,
// in whole sentences; empty when all is fine.
std::string why_no_port(const std::string &host_name);

// Inside, where the port is called `device`: sends AT. Before the daemon starts, so that no lock file is needed: the
// box's "/tmp" is new, and nobody else is there.
std::string why_no_module(const std::string &device, const std::string &host_name);
