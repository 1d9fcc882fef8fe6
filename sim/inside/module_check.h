// Whether a real serial port has a module behind it that answers AT commands. Silent; waits 4 seconds at most.
#pragma once

#include <string>

// The port is called `device` in the box, and `host_name` by people. Sends AT; before the daemon starts, so that no
// lock file is needed: the box's "/tmp" is new, and nobody else is there. What is wrong with it and what to do next, in
// whole sentences; empty when all is fine.
std::string why_no_module(const std::string &device, const std::string &host_name);
