#include "daemon/options.h"

#include <cstdio>
#include <cstring>

#include <getopt.h>

#include "base/target_arithmetic.h"

namespace {

// Base 0: decimal, 0x hexadecimal and leading-zero octal. Text that is no number counts as 0.
unsigned int read_verbosity(const char *argument) {
    return leading_uint32(argument, 0).value_or(0);
}

}  // namespace

std::optional<daemon_options> parse_options(int argc, char **argv) {
    static constexpr option LONG_OPTIONS[] = {
        {"help", no_argument, nullptr, 'h'},
        {"verbose", required_argument, nullptr, 'v'},
        {"device", required_argument, nullptr, 'd'},
        {nullptr, 0, nullptr, 0},
    };
    daemon_options options;
    for (int letter = 0; (letter = getopt_long(argc, argv, "hv:d:", LONG_OPTIONS, nullptr)) != -1;) {
        if (letter == 'd') {
            options.model = get_module_model_from_config_string(optarg);
            continue;
        }
        if (letter == 'v') {
            verbosity = read_verbosity(optarg);
            if (verbosity <= HIGH) {
                continue;
            }
        }
        print_usage(argv[0]);
        return std::nullopt;
    }
    return options;
}

void print_usage(const char *started_as) {
    const char *slash = std::strrchr(started_as, '/');
    std::printf("Usage: %s [Options]\n"
                "Options:\n"
                " -d, --device=<MODULE_STR>\tOne of EC21, EC25, BG96 (default depends on HW manifest)\n"
                " -v, --verbose=LEVEL\t\tPrint debug information (default NONE = %u, LOW = %u, HIGH = %u)\n"
                " -h, --help\t\t\tThis help\n",
                slash != nullptr ? slash + 1 : started_as, NONE, LOW, HIGH);
}
