// What the command line asks for. Reads words with getopt_long, whose state is the process's; silent.
#pragma once

#include <string>
#include <vector>

#include "sim/handover.h"

// A box that runs already: by its process number, or 0 for the only one.
struct attach_request {
    int box = 0;
    std::vector<std::string> command;  // empty: a shell
};

// Each takes the words behind its subcommand. Throws request_error.
play_request read_run_request(const std::vector<std::string> &arguments);
play_request read_shell_request(const std::vector<std::string> &arguments);
play_request read_module_request(const std::vector<std::string> &arguments);
std::vector<std::string> read_ports(const std::vector<std::string> &arguments);
attach_request read_attach_request(const std::vector<std::string> &arguments);
