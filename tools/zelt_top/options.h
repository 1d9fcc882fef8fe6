// The command line. Prints the usage, or what is wrong with it.
#pragma once

#include <optional>
#include <vector>

#include "tools/zelt_top/check.h"

namespace zelt_top {

struct options {
    bool once = false;
    bool json = false;
    bool csv = false;
    std::optional<std::vector<check_item>> check;
    bool show_subscriber = false;
    bool colour = true;
    double interval_seconds = 1;
};

// Exit codes; a check has those of severity.
inline constexpr int OUTPUT_LOST = 1;
inline constexpr int USAGE = 2;
inline constexpr int NO_DATABASE = 3;

// Nothing: the program ends with this exit code; what there is to say has been said.
std::optional<options> parse_options(int argc, char **argv, int &exit_code);

}  // namespace zelt_top
