// The command line.
#pragma once

#include <optional>

#include "platform/module_access.h"

// Level given with -v. Validated and stored only: every log line goes out at its own fixed priority.
enum verbosity_level : unsigned int {
    NONE = 0,
    LOW = 1,
    HIGH = 2,
};
inline unsigned int verbosity = NONE;

struct daemon_options {
    module_model model = MODULE_UNKNOWN;  // of -d; unknown without it, or for a name that the library does not know
};

// Nothing when the usage text was printed and the process is to exit with status 0.
std::optional<daemon_options> parse_options(int argc, char **argv);

// Prints the usage text to standard output, with the base name of the name under which the daemon was started.
void print_usage(const char *started_as);
