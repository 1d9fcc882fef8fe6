// Whether the host has a serial port of a name, and it may be used. Silent; never waits.
#pragma once

#include <string>

// What is wrong with it and what to do next, in whole sentences; empty when all is fine.
std::string why_no_port(const std::string &host_name);
