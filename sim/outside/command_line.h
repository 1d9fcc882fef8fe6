// What the command line asks for. Reads words with getopt_long, whose state is the process's; silent.
#pragma once

#include <string>
#include <vector>

#include "sim/handover.h"

// Each takes the words behind its subcommand. Throws request_error.
play_request read_run_request(const std::vector<std::string> &arguments);
play_request read_shell_request(const std::vector<std::string> &arguments);
play_request read_module_request(const std::vector<std::string> &arguments);
