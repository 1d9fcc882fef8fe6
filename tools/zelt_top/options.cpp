#include "tools/zelt_top/options.h"

#include <cstdio>
#include <cstdlib>

#include <getopt.h>

#include "store/value_text.h"

namespace zelt_top {

namespace {

constexpr const char *HELP =
    "Usage: zelt-top [OPTION]...\n"
    "Shows the radio and the link of the router, as its daemon publishes them in the database.\n"
    "\n"
    "  --once              show it once as plain text, and end\n"
    "  --json              one JSON object a line and refresh; with --once a single one\n"
    "  --csv               a line of comma-separated values a refresh, under a line with their names\n"
    "  --check LIMITS      look once, answer as a plug-in of a monitoring system does: see below\n"
    "  --private           with IMSI, directory number and ICCID, which are left out otherwise\n"
    "  --interval SECONDS  time between two refreshes, 0.1 to 3600 (default 1)\n"
    "  --no-color          no colours, as with NO_COLOR set in the environment\n"
    "  --help              this help\n"
    "  --version           which version this is\n"
    "\n"
    "LIMITS such as rsrp=-100:-110,age=30,link=up:\n"
    "  SIGNAL=WARNING:CRITICAL  below these; also WARNING: or CRITICAL alone\n"
    "  age=WARNING:CRITICAL     above so many seconds since the last update\n"
    "  link=up, roaming=no      anything else is critical\n"
    "SIGNAL is rsrp, rsrq, sinr, rssi, sqi, rscp, ecio or rxlev, of the LTE anchor where\n"
    "there is one; nr_rsrp, nr_rsrq, nr_sinr or nr_sqi of the NR leg.\n"
    "\n"
    "Keys: q quit, p or space hold the picture, a antenna (large values, a bell for a better one), h or ? help.\n"
    "SYSDB_DIR names the folder of the database (default /run/sysdb).\n"
    "Without a terminal that can place the cursor it prints plain text, then a line for each change.\n"
    "Exit: 0 done, 1 the output was lost, 2 wrong usage, 3 no database (with --once; otherwise it waits for one).\n"
    "With --check: 0 OK, 1 WARNING, 2 CRITICAL (also: not registered), 3 UNKNOWN.\n";

// Below a tenth of a second the daemon has nothing new; above an hour nobody looks.
constexpr double SHORTEST_SECONDS = 0.1;
constexpr double LONGEST_SECONDS = 3600;

bool parse_interval(const char *text, double &seconds) {
    char *end = nullptr;
    seconds = std::strtod(text, &end);
    return end != text && *end == '\0' && seconds >= SHORTEST_SECONDS && seconds <= LONGEST_SECONDS;
}

int print(const char *text) {
    return std::fputs(text, stdout) < 0 || std::fflush(stdout) != 0 ? OUTPUT_LOST : 0;
}

std::optional<options> refuse(int &exit_code) {
    std::fputs("zelt-top: try --help\n", stderr);
    exit_code = USAGE;
    return std::nullopt;
}

}  // namespace

std::optional<options> parse_options(int argc, char **argv, int &exit_code) {
    // clang-format off
    static constexpr option LONG_OPTIONS[] = {
        {"once", no_argument, nullptr, 'o'},
        {"json", no_argument, nullptr, 'j'},
        {"csv", no_argument, nullptr, 'c'},
        {"check", required_argument, nullptr, 'k'},
        {"private", no_argument, nullptr, 'p'},
        {"no-color", no_argument, nullptr, 'n'},
        {"interval", required_argument, nullptr, 'i'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    // clang-format on
    options chosen;
    for (int letter = 0; (letter = getopt_long(argc, argv, "h", LONG_OPTIONS, nullptr)) != -1;) {
        switch (letter) {
        case 'o':
            chosen.once = true;
            break;
        case 'j':
            chosen.json = true;
            break;
        case 'c':
            chosen.csv = true;
            break;
        case 'k':
            if (std::string problem; !(chosen.check = parse_check(optarg, problem))) {
                std::fprintf(stderr, "zelt-top: --check: %s\n", shown(problem).c_str());
                return refuse(exit_code);
            }
            break;
        case 'p':
            chosen.show_subscriber = true;
            break;
        case 'n':
            chosen.colour = false;
            break;
        case 'i':
            if (!parse_interval(optarg, chosen.interval_seconds)) {
                std::fprintf(stderr, "zelt-top: --interval takes seconds from 0.1 to 3600, not \"%s\"\n",
                             shown(optarg).c_str());
                return refuse(exit_code);
            }
            break;
        case 'h':
            exit_code = print(HELP);
            return std::nullopt;
        case 'v':
            exit_code = print("zelt-top " ZELT_VERSION "\n");
            return std::nullopt;
        default:
            return refuse(exit_code);
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "zelt-top: \"%s\" is no option\n", shown(argv[optind]).c_str());
        return refuse(exit_code);
    }
    if (chosen.json + chosen.csv + chosen.check.has_value() > 1) {
        std::fputs("zelt-top: only one of --json, --csv and --check\n", stderr);
        return refuse(exit_code);
    }
    return chosen;
}

}  // namespace zelt_top
