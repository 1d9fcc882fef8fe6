// Every command of the pages, as it is written there, in a machine of its own: a checkout in which the release preset
// is built, a serial port with a module behind it, and "/dev", "/run", "/tmp" and a network that nobody else sees.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/docs/pages.h"
#include "tests/host/scripted_module.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/terminal.h"

namespace {

enum class beside {
    nothing,
    a_box,                 // of ./run, in which the drive goes on
    a_module_box,          // of ./run --module
    a_named_port,          // "/dev/ttyQSB3", and the daemon may run; when it has published, a line says so
    a_daemon,              // started as README says, without a box; what it logs to "log.csv" is shown
    a_daemon_that_pauses,  // again and again
    a_scenario,            // "my.scenario" in the folder is the example of docs/scenarios.md, "prog" ends when told
};

struct row {
    const char *command;
    beside runs = beside::nothing;
    const char *shows = "";  // a regular expression for some of its output
    const char *keys = "";   // typed on a terminal when it shows this; empty: it runs without a terminal, to its end
    int status = 0;
};

constexpr const char *INTERRUPT = "\003";
constexpr const char *CELL_VALUES = "CELL_REGISTERED[ \t]*int[ \t]*1\n";

// clang-format off
const row ROWS[] = {
    {"./run", beside::nothing, "Registered", "q"},
    {"./run --seconds 20", beside::nothing, "cycle  3"},
    {"./test", beside::nothing, "Total Tests: [1-9]"},
    {"./test -R golden", beside::nothing, "Total Tests: [1-9]"},
    {"cmake --preset release && cmake --build --preset release"},
    {"cmake --preset debug && cmake --build --preset debug"},
    {"./run --module /dev/ttyUSB2 --model EC25", beside::nothing, "-95 dBm", "q"},
    {"build/release/zelt-sim probe", beside::nothing, "\n    go on with: ./run --module /dev/ttyUSB2 --model EC25\n"},
    {"sudo ln -s /dev/ttyUSB2 /dev/ttyQSB3"},
    {"sudo touch /tmp/zstats.running"},
    {"sudo build/release/zelt-stats -d EC25", beside::a_named_port, 
     "^/bin/sh: 1: /usr/bin/cmd_netgen: not found\r?\n/bin/sh: 1: /usr/bin/cmd_ddns: not found\r?\nit has published\r?\n$",
     INTERRUPT},
    {"sudo build/release/zelt-top", beside::a_daemon, "-95 dBm", "q"},
    {"build/release/zelt-sim attach -- sysdb list CELL", beside::a_box, CELL_VALUES},
    {"build/release/zelt-sim attach -- sysdb list CELL", beside::a_module_box, CELL_VALUES},
    {"build/release/zelt-sim attach -- zelt-top --json --once", beside::a_box, "\"rating\":"},
    {"build/release/zelt-sim attach -- zelt-top --json --once", beside::a_module_box, "\"value\":-95"},
    {"build/release/zelt-sim attach", beside::a_box, "box:/#", "sysdb get CELL CELL_REGISTERED\rexit\r"},
    {"sudo build/release/sysdb list CELL", beside::a_daemon, CELL_VALUES},
    {"sudo build/release/sysdb list CELL --json", beside::a_daemon, "\"CELL_RSRP\".*-95"},
    {"sudo build/release/sysdb get CELL CELL_RSRP", beside::a_daemon, "^-95\n$"},
    {"sudo build/release/sysdb watch CELL", beside::a_daemon_that_pauses, "CELL_", INTERRUPT},
    {"sudo build/release/zelt-top --json --once", beside::a_daemon, "\"value\":-95"},
    {"sudo build/release/zelt-top --check rsrp=-110,age=30,link=up", beside::a_daemon,
     "^ZELT CRITICAL - .*RSRP -95 dBm, age [0-9]+ s, link down \\|", "", 2},
    {"sysdb list PLATFORM", beside::a_daemon, "PORT_STATE[ \t]*string[ \t]*answers\n"},
    {"build/release/tests/decode_test --gtest_filter='*32_bits*'", beside::nothing, "\n\\[  PASSED  \\] [1-9]"},
    {"build/release/zelt-sim run tests/golden/lte_state_misspelt.scenario", beside::nothing, "expectations hold"},
    {"scripts/mutate --list", beside::nothing, "decode/lte.cpp"},
    {"grep -E '^(Rss|Private_Dirty)' /proc/$PID/smaps_rollup", beside::nothing, "^Rss: "},
    {"ldd build/release/zelt-stats | awk '$3 ~ /^\\//{print $3}' | xargs stat -L -c '%s %n'", beside::nothing, "^[0-9]+ /.*libc"},
    {"zelt-top --csv --interval 60 >>log.csv", beside::a_daemon, "time,state,", INTERRUPT},
    {"zelt-top --check rsrp=-100:-110,age=30,link=up", beside::a_daemon,
     "^ZELT CRITICAL - LTE band 3 \\(1800 MHz, FDD\\), RSRP -95 dBm, age [0-9]+ s, link down \\| "
     "rsrp=-95;-100:;-110: age=[0-9]+s;;30\n", "", 2},
    {"zelt-sim list", beside::nothing, "^drive  "},
    {"zelt-sim run drive", beside::nothing, "cycle  2", INTERRUPT},
    {"zelt-sim run my.scenario --verbose", beside::a_scenario, "AT > .*all 2 expectations hold"},
    {"zelt-sim run my.scenario --view", beside::a_scenario, "zelt-top|LTE|Technology", "q"},
    {"zelt-sim run my.scenario --speed 8", beside::a_scenario, "all 2 expectations hold"},
    {"zelt-sim shell my.scenario", beside::a_scenario, "box:/#", "exit\r"},
    {"zelt-sim module /dev/ttyUSB2 --model EC25", beside::nothing, "CELL_RSRP = -95", INTERRUPT},
    {"zelt-sim module /dev/ttyUSB2 --model EC25 --verbose", beside::nothing, "SERVINGCELL:.QENG: ", INTERRUPT},
    {"zelt-sim probe", beside::nothing, "/dev/ttyUSB2  answers AT: EC25"},
    {"zelt-sim attach -- sysdb list CELL", beside::a_box, CELL_VALUES},
    {"zelt-sim check *.scenario", beside::a_scenario, ""},
    {"zelt-sim run my.scenario -- ./prog", beside::a_scenario, "prog runs", INTERRUPT},
};

// Those that no test types: whether there is such a program is looked at.
const std::map<std::string, const char *> NOT_RUN{
    {"journalctl -t cell -f", "the machine of the test has no system log"},
    {".ci/run", "this test is one of those that it runs"},
    {"scripts/format", "rewrites the sources; its check is a stage of .ci/run"},
    {"scripts/lint", "minutes; a stage of .ci/run"},
    {"scripts/arm-sysroot", "downloads packages; a stage of .ci/run"},
    {"scripts/fuzz-seeds", "the name of a program in a sentence; tests/house runs it"},
    {"scripts/mutate", "the name of a program in a sentence"},
    {"scripts/package", "makes a Debian of its own"},
    {"scripts/package-check", "the same"},
    {"scripts/package armhf", "the same"},
    {"scripts/package --again", "the same"},
    {"sudo apt install ./build/package/amd64/zelt-stats_*.deb ./build/package/amd64/zelt-sim_*.deb",
     "tests/package does it in a Debian that is thrown away"},
    {"cmake --install", "the name of a command in a sentence"},
    {"man zelt-stats", "nothing is installed where the test runs"},
    {"cmake --install build/release --component daemon", "tests/deploy does it below a prefix of its own"},
    {"cmake -S . -B build/device -DZELT_PLATFORM=device -DZELT_TESTS=OFF \"-DZELT_DEVICE_LIBRARIES=$LIBRARIES\"",
     "tests/device does it, with libraries that there are"},
    {"cmake --build build/device", "the same"},
    {"scripts/mutate --since main", "compiles a copy of the tree"},
    {"scripts/mutate --only decode/lte", "compiles a copy of the tree"},
    {"scripts/memcheck", "minutes"},
    {"scripts/memcheck 300", "minutes"},
    {"scripts/fuzz", "minutes"},
    {"scripts/fuzz --runs 10000000", "hours"},
    {"scripts/coverage", "minutes"},
    {"scripts/endurance", "hours"},
    {"scripts/endurance stops", "hours"},
    {"scripts/endurance kills", "minutes"},
    {"scripts/endurance soak", "hours"},
    {"scripts/cppcheck", "minutes; needs a package that no test needs"},
    {"ZELT_DAMAGES=20000 build/release/tests/store_test --gtest_filter='damaged_database.nothing*'",
     "minutes; the same test with fewer damages is one of the store's"},
    {"zelt-sim attach", "the name of a command in a sentence"},
    {"zelt-sim module", "the name of a command in a sentence"},
    {"sysdb list", "the name of a command in a sentence"},
};
// clang-format on

struct documented_command {
    std::string page;  // "README.md"
    std::string text;
};

std::vector<documented_command> documented_commands() {
    std::vector<documented_command> all;
    std::vector<std::string> pages{"README.md", "CONTRIBUTING.md", "tests/golden/README.md"};
    for (const auto &entry : std::filesystem::directory_iterator(ZELT_SOURCES "/docs")) {
        if (entry.path().extension() == ".md") {
            pages.push_back("docs/" + entry.path().filename().string());
        }
    }
    for (const std::string &page : pages) {
        const std::string text = content_of(ZELT_SOURCES "/" + page);
        EXPECT_NE(text, "") << page;
        for (const std::string &command : commands_in(text)) {
            all.push_back({page, command});
        }
    }
    return all;
}

bool selects_tests(const std::string &command) {
    return command.starts_with("ctest ") && !NOT_RUN.contains(command);
}

std::string block_of(const std::string &page, const std::string &fence) {
    const std::string text = content_of(ZELT_SOURCES "/" + page);
    const std::size_t begin = text.find(fence) + fence.size();
    return text.substr(begin, text.find("```", begin) - begin);
}

// A registered EC25 in an LTE cell.
const std::map<std::string, std::string> MODULE{
    {"at", "OK"},
    {"at+cgmm", "EC25\r\n\r\nOK"},
    {"at+cpin?", "+CPIN: READY\r\n\r\nOK"},
    {"at+creg?", "+CREG: 0,1\r\n\r\nOK"},
    {"at+cmee?", "+CMEE: 0\r\n\r\nOK"},
    {"at+qeng=\"servingcell\"", "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",262,01,1A2D000,123,1300,3,5,5,3039,"
                                "-95,-11,-65,12,46\r\n\r\nOK"},
};

// Built already, and root already. ctest only counts what it would run: it is what runs this.
constexpr const char *CMAKE =
    "grep -q \"\\\"name\\\": \\\"$(echo \"$*\" | sed 's/.*--preset \\([^ ]*\\).*/\\1/')\\\"\" "
    "CMakePresets.json || { echo \"no such preset: $*\"; exit 1; }";
constexpr const char *CTEST = "[ \"$1\" != --preset ] || { cmake \"$@\" || exit; shift 2; }\n"
                              "mkdir -p /tmp/count && echo 'subdirs(/tmp/checkout/build/release)' "
                              ">/tmp/count/CTestTestfile.cmake\n"
                              "exec " ZELT_CTEST " --test-dir /tmp/count -N --no-tests=error \"$@\"";

constexpr const char *WAIT = "n=0; while [ $n -lt 600 ] && ! { %s; } >/dev/null 2>&1; do sleep 0.1; n=$((n+1)); done\n";

std::string wait_for(const std::string &command) {
    std::string line = WAIT;
    return line.replace(line.find("%s"), 2, command);
}

std::string preparation(beside what) {
    const std::string has_signal = " | grep 'RSRP: -1*[0-9][0-9] dBm'";  // of a first cycle that is over
    const std::string named_port = "sudo ln -s /dev/ttyUSB2 /dev/ttyQSB3\nsudo touch /tmp/zstats.running\n";
    const std::string daemon_publishes = wait_for("sysdb get CELL CELL_RSSIMON" + has_signal);
    const std::string box_reads = wait_for("zelt-sim attach -- sysdb get CELL CELL_RSSIMON" + has_signal);
    switch (what) {
    case beside::nothing:
        return "";
    case beside::a_box:
        return "./run --plain >/tmp/box 2>&1 </dev/null &\n" + box_reads;
    case beside::a_module_box:
        return "./run --plain --module /dev/ttyUSB2 --model EC25 >/tmp/box 2>&1 </dev/null &\n" + box_reads;
    case beside::a_named_port:
        return named_port + "{ " + daemon_publishes + "echo it has published; } &\n";
    case beside::a_daemon:
        return named_port + "sudo build/release/zelt-stats -d EC25 2>/dev/null &\n" + daemon_publishes + "{ " +
               wait_for("test -s log.csv") + "[ ! -s log.csv ] || cat log.csv; } &\n";
    case beside::a_daemon_that_pauses:
        return preparation(beside::a_daemon) +
               "{ while sleep 4; do rm /tmp/zstats.running; sleep 4; touch /tmp/zstats.running; done; } &\n";
    case beside::a_scenario:
        return "cat >my.scenario <<'END'\n" + block_of("docs/scenarios.md", "```text\n") +
               "END\nprintf '#!/bin/sh\\ntrap \"exit 0\" TERM\\necho prog runs\\nwhile :; do sleep 0.1; done\\n' "
               ">prog\n"
               "chmod +x prog\n";
    }
    return "";
}

class documented : public testing::TestWithParam<row> {
protected:
    // The line that starts this command of a shell, and of all that it needs, in a machine of its own.
    std::string in_a_machine(const std::string &command, beside runs, bool on_terminal) {
        for (const auto &[name, text] :
             std::map<std::string, std::string>{{"sudo", "exec \"$@\""}, {"cmake", CMAKE}, {"ctest", CTEST}}) {
            folder_.write_program("bin-" + name, text);
        }
        folder_.write("command", command);
        // The terminal in the machine is that of a session of its own, as a person's is.
        folder_.write("steps",
                      "cd /tmp/checkout\nexport PATH=/tmp/bin:/tmp/checkout/build/release:$PATH SHELL=/bin/bash\n"
                      "export PID=$$\n" +
                          preparation(runs) +
                          (on_terminal ? "script -qec \"$(cat /tmp/command)\" /dev/null; exit $?\n"
                                       : "sh /tmp/command; exit $?\n"));
        // Process numbers of its own by unshare: below a /proc that bubblewrap has made, it can make no other one.
        std::string line = "unshare --user --map-root-user --pid --fork --kill-child --mount-proc bwrap --unshare-net "
                           "--ro-bind / / --bind /proc /proc --dev /dev --tmpfs /tmp --tmpfs /run";
        const auto show = [&line](const std::string &from, const std::string &to) {
            line += " --ro-bind " + from + " " + to;
        };
        for (const auto &entry : std::filesystem::directory_iterator(ZELT_SOURCES)) {
            if (entry.path().filename() != "build") {
                show(entry.path(), "/tmp/checkout/" + entry.path().filename().string());
            }
        }
        show(ZELT_BUILD, "/tmp/checkout/build/release");
        show(ZELT_BUILD, ZELT_BUILD);                    // what ctest has written names it, and it may lie below /tmp
        show(ZELT_SOURCES "/sim", ZELT_SOURCES "/sim");  // so does the link to the scenarios
        for (const char *name : {"sudo", "cmake", "ctest"}) {
            show(folder_.path(std::string("bin-") + name), std::string("/tmp/bin/") + name);
        }
        show(folder_.path("command"), "/tmp/command");
        show(folder_.path("steps"), "/tmp/steps");
        return line + " --dev-bind " + module_.device() + " /dev/ttyUSB2 sh /tmp/steps";
    }

    void SetUp() override { module_.let_go(); }

    const temporary_folder folder_;
    scripted_module module_{by_table(MODULE)};
};

std::string name_of(const testing::TestParamInfo<row> &info) {
    std::string name = info.param.command;
    std::ranges::replace_if(
        name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    const auto same = [&](const row &one) { return std::string(one.command) == info.param.command; };
    const bool only = std::ranges::count_if(ROWS, same) == 1;
    return std::to_string(info.index) + "_" + name +
           (only ? "" : "_" + std::to_string(static_cast<int>(info.param.runs)));
}

void PrintTo(const row &one, std::ostream *to) {
    *to << one.command;
}

TEST_P(documented, command_does_as_the_page_says) {
    const row &one = GetParam();
    const bool on_terminal = *one.keys != '\0';
    const std::string line = in_a_machine(one.command, one.runs, on_terminal);
    if (!on_terminal) {
        const shell_outcome result = run_in_shell(line + " </dev/null");
        EXPECT_EQ(result.status, one.status) << result.output;
        EXPECT_THAT(result.output, testing::ContainsRegex(one.shows));
        return;
    }
    terminal screen(line);
    const auto has_shown = testing::Matches(testing::ContainsRegex(one.shows));
    EXPECT_TRUE(becomes_true([&] { return has_shown(screen.output()); })) << screen.output();
    screen.type(one.keys);
    EXPECT_EQ(screen.end(), one.status) << screen.output();
}

INSTANTIATE_TEST_SUITE_P(page, documented, testing::ValuesIn(ROWS), name_of);

TEST(documented_commands, each_has_its_row_or_a_reason_not_to_be_run) {
    std::set<std::string> known;
    for (const row &one : ROWS) {
        known.insert(one.command);
    }
    for (const auto &[command, reason] : NOT_RUN) {
        EXPECT_TRUE(known.insert(command).second) << command << " is run";
    }
    std::set<std::string> written;
    for (const documented_command &one : documented_commands()) {
        written.insert(one.text);
        EXPECT_TRUE(selects_tests(one.text) || known.contains(one.text))
            << one.page << " tells its readers to type\n    " << one.text
            << "\nwhich no row of tests/docs/commands_test.cpp runs: add one, or the reason why none can.";
    }
    for (const std::string &command : known) {
        EXPECT_TRUE(written.contains(command)) << "no page has: " << command;
    }
}

TEST(documented_commands, those_that_are_not_run_name_a_program) {
    for (const auto &[command, reason] : NOT_RUN) {
        const std::string program = command.substr(0, command.find(' '));
        EXPECT_TRUE(!program.starts_with("scripts/") || access((ZELT_SOURCES "/" + program).c_str(), X_OK) == 0)
            << command;
    }
}

using documented_selection = documented;

TEST_F(documented_selection, names_tests_that_there_are) {
    std::string script;
    for (const documented_command &one : documented_commands()) {
        if (selects_tests(one.text)) {
            script += one.text + " >/tmp/out 2>&1 || { cat /tmp/out; echo \"in " + one.page + "\"; }\n";
        }
    }
    ASSERT_NE(script, "");
    const shell_outcome result = run_in_shell(in_a_machine(script, beside::nothing, false));
    EXPECT_EQ(result.output, "");
}

}  // namespace
