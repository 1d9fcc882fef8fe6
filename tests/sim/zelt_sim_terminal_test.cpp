// What a person does with the box in a terminal: the live view, the shell, a module of one's own, and accelerated time.
// A real pseudo-terminal and the shipped programs. Needs bubblewrap.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "tests/host/scripted_module.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

// 0 for what does not begin with a number.
pid_t to_pid(const char *text) {
    return static_cast<pid_t>(std::strtol(text, nullptr, 10));
}

// The process and all below it, with their command lines.
std::map<pid_t, std::string> family(pid_t eldest) {
    std::map<pid_t, pid_t> parents;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const pid_t pid = to_pid(entry.path().filename().c_str());
        if (pid <= 0) {
            continue;
        }
        const std::string stat = content_of(entry.path() / "stat");
        const auto name_end = stat.rfind(") ");  // the state follows, then the parent
        if (name_end != std::string::npos && stat[name_end + 2] != 'Z') {
            parents[pid] = to_pid(stat.c_str() + name_end + 4);
        }
    }
    std::map<pid_t, std::string> found;
    for (const auto &[pid, parent] : parents) {
        for (pid_t above = pid; above > 1; above = parents.contains(above) ? parents[above] : 0) {
            if (above == eldest) {
                found[pid] = content_of("/proc/" + std::to_string(pid) + "/cmdline");
            }
        }
    }
    return found;
}

bool is_alive(pid_t pid) {
    const std::string stat = content_of("/proc/" + std::to_string(pid) + "/stat");
    return !stat.empty() && stat[stat.rfind(") ") + 2] != 'Z';
}

// A program in a terminal of 80x24.
class terminal {
public:
    explicit terminal(const std::string &line)
        : program_(terminal_.run([&line] {
              setenv("TERM", "xterm-256color", 1);
              setenv("LC_ALL", "C.UTF-8", 1);
              return become({"/bin/sh", "-c", "exec " + line});
          })) {}

    bool shows(const std::string &text) {
        return becomes_true([&] { return output().find(text, seen_) != std::string::npos; });
    }
    void forget() { seen_ = output().size(); }
    void type(const std::string &keys) const { terminal_.type(keys); }
    void resize(unsigned short columns, unsigned short rows) const { terminal_.resize(columns, rows); }

    // The process whose program is this one; negative when there is none.
    pid_t member(const std::string &program) {
        pid_t found = -1;
        becomes_true([&] {
            for (const auto &[pid, words] : family(program_.pid())) {
                found = words.substr(0, words.find('\0')).ends_with("/" + program) ? pid : found;
            }
            return found > 0;
        });
        return found;
    }

    pid_t pid() const { return program_.pid(); }
    const std::string &output() { return output_ += terminal_.read(); }

    // Its status as the shell says it, or -1 when it goes on.
    int end() {
        if (!becomes_true([&] { return output(), program_.has_ended(); })) {
            return -1;
        }
        output();
        return program_.wait();
    }

    bool is_as_before() const { return terminal_.is_as_before(); }
    // Behind what shows the second page stands what leaves it.
    bool page_is_left() {
        const auto entered = output().rfind("\033[?1049h");
        return entered == std::string::npos || output_.find("\033[?1049l", entered) != std::string::npos;
    }

private:
    pseudo_terminal terminal_;
    other_process program_;
    std::string output_;
    std::size_t seen_ = 0;
};

constexpr const char *LTE = R"(module EC25
answer at+creg?
| +CREG: 0,1
| OK
answer at+qeng="servingcell"
| +QENG: "servingcell","NOCONN","LTE","FDD",001,01,1A2D001,120,1300,3,5,5,7B0C,-82,-8,-52,21,46
|
| OK
at 1000s
end
)";

class in_a_terminal : public testing::Test {
protected:
    std::string view() { return ZELT_SIM " run " + folder_.write("lte.scenario", LTE) + " --view"; }

    const temporary_folder folder_;
};

void expect_all_gone(const std::map<pid_t, std::string> &processes) {
    for (const auto &[pid, words] : processes) {
        const pid_t one = pid;
        EXPECT_TRUE(becomes_true([one] { return !is_alive(one); })) << words;
    }
}

// --- The view ---

TEST_F(in_a_terminal, the_view_shows_the_cell_and_q_ends_everything) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm")) << screen.output();
    EXPECT_THAT(screen.output(), HasSubstr("Registered at home"));
    const auto processes = family(screen.pid());
    EXPECT_GE(processes.size(), 4U) << "zelt-sim twice, the daemon and the view";
    screen.type("q");
    EXPECT_EQ(screen.end(), 0) << screen.output();
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, the_view_follows_the_size_of_its_window) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    screen.forget();
    screen.resize(120, 40);
    EXPECT_TRUE(screen.shows("RSRQ")) << "the page is drawn anew";
    screen.type("q");
    EXPECT_EQ(screen.end(), 0);
}

TEST_F(in_a_terminal, an_interrupt_key_ends_the_view_and_the_box) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    const auto processes = family(screen.pid());
    screen.type("\003");
    EXPECT_EQ(screen.end(), 0) << screen.output();
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, the_stop_key_does_not_leave_the_view_hanging) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    screen.type("\032");
    screen.forget();
    screen.type("h");
    EXPECT_TRUE(screen.shows("RSRP")) << "the help page";
    screen.type("q");
    EXPECT_EQ(screen.end(), 0) << screen.output();
}

TEST_F(in_a_terminal, a_killed_view_ends_the_box_and_the_terminal_is_given_back) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    const auto processes = family(screen.pid());
    ASSERT_EQ(kill(screen.member("zelt-top"), SIGKILL), 0);
    EXPECT_EQ(screen.end(), 0) << screen.output();
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, a_killed_daemon_ends_the_view_and_is_told_behind_it) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    const auto processes = family(screen.pid());
    ASSERT_EQ(kill(screen.member("zelt-stats"), SIGKILL), 0);
    EXPECT_EQ(screen.end(), 1);
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
    EXPECT_THAT(screen.output().substr(screen.output().rfind("\033[?1049l")), HasSubstr("ended by signal KILL"));
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, a_killed_inner_half_leaves_no_process_and_the_terminal_is_given_back) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    const auto processes = family(screen.pid());
    pid_t inner = -1;
    for (const auto &[pid, words] : processes) {
        inner = words.find("zelt-sim") < words.find('\0') && pid != screen.pid() ? pid : inner;
    }
    ASSERT_EQ(kill(inner, SIGKILL), 0);
    EXPECT_NE(screen.end(), 0);
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, a_killed_zelt_sim_leaves_no_process) {
    terminal screen(view());
    ASSERT_TRUE(screen.shows("-82 dBm"));
    const auto processes = family(screen.pid());
    kill(screen.pid(), SIGKILL);
    EXPECT_EQ(screen.end(), 128 + SIGKILL);
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, the_view_ends_with_the_given_seconds) {
    terminal screen(view() + " --seconds 2");
    EXPECT_EQ(screen.end(), 0);
    EXPECT_TRUE(screen.is_as_before());
    EXPECT_TRUE(screen.page_is_left());
}

TEST_F(in_a_terminal, a_view_without_a_terminal_is_refused) {
    const shell_outcome result = run_in_shell(view() + " < /dev/null");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr("--view needs a terminal"));
}

// --- The shell ---

TEST_F(in_a_terminal, leaving_the_shell_ends_the_box) {
    terminal screen(ZELT_SIM " shell " + folder_.write("lte.scenario", LTE));
    ASSERT_TRUE(screen.shows("box:/#")) << screen.output();
    const auto processes = family(screen.pid());
    screen.type("until sysdb get CELL CELL_RSRP | grep -x -e -82; do sleep 0.1; done 2> /dev/null\n");
    EXPECT_TRUE(screen.shows("-82\r\n")) << screen.output();
    screen.type("exit\n");
    EXPECT_EQ(screen.end(), 0) << screen.output();
    EXPECT_TRUE(screen.is_as_before());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, an_interrupt_key_ends_a_command_of_the_shell_and_nothing_else) {
    terminal screen(ZELT_SIM " shell " + folder_.write("lte.scenario", LTE));
    ASSERT_TRUE(screen.shows("box:/#"));
    // From a program that has the terminal's foreground already.
    screen.type("sh -c 'echo be\"\"gun; exec sleep 1000'\n");
    ASSERT_TRUE(screen.shows("begun"));
    screen.type("\003");
    screen.type("echo st''ill here\n");
    EXPECT_TRUE(screen.shows("still here")) << screen.output();
    screen.type("exit\n");
    EXPECT_EQ(screen.end(), 0) << screen.output();
}

TEST_F(in_a_terminal, a_killed_shell_ends_the_box) {
    terminal screen(ZELT_SIM " shell " + folder_.write("lte.scenario", LTE));
    ASSERT_TRUE(screen.shows("box:/#"));
    const auto processes = family(screen.pid());
    ASSERT_EQ(kill(screen.member("bash"), SIGKILL), 0);
    EXPECT_EQ(screen.end(), 0);
    EXPECT_TRUE(screen.is_as_before());
    expect_all_gone(processes);
}

TEST_F(in_a_terminal, the_shell_takes_commands_from_a_pipe) {
    const std::string commands =
        "until sysdb get CELL CELL_RSRP | grep -x -e -82; do sleep 0.1; done 2> /dev/null; ls /dev/ttyQSB3";
    const shell_outcome result =
        run_in_shell("echo '" + commands + "' | " ZELT_SIM " shell " + folder_.write("lte.scenario", LTE));
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("-82\n/dev/ttyQSB3\n"));
}

// --- Accelerated time ---

TEST_F(in_a_terminal, pauses_of_the_daemon_are_shorter_with_speed) {
    // Twenty cycles take 76 s at least; the scenario must end before the limit.
    const std::string scenario = "module EC25\nafter cycle 20\nexpect-absent NONE\nend\n";
    const shell_outcome result =
        run_in_shell(ZELT_SIM " run " + folder_.write("fast.scenario", scenario) + " --speed 20 --seconds 60");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("all 1 expectations hold"));
}

TEST_F(in_a_terminal, times_of_the_scenario_are_shorter_with_speed) {
    const std::string daemon = folder_.write_program("daemon.sh", "trap 'exit 0' TERM\nwhile :; do sleep 0.05; done");
    const std::string scenario = folder_.write("fast.scenario", "at 1000s\nexpect-absent NONE\nend\n");
    const shell_outcome result = run_in_shell(ZELT_SIM " run " + scenario + " --speed 100 --seconds 60 -- " + daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("all 1 expectations hold"));
}

TEST_F(in_a_terminal, programs_that_the_daemon_starts_keep_their_time) {
    const std::string daemon =
        folder_.write_program("daemon.sh", "trap 'exit 0' TERM\nenv | grep -c PRELOAD\nwhile :; do sleep 0.05; done");
    const std::string scenario = folder_.write("fast.scenario", "at 50s\nend\n");
    const shell_outcome result = run_in_shell(ZELT_SIM " run " + scenario + " --speed 100 -- " + daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, testing::ContainsRegex("output +0\n"));
}

// --- A module of one's own ---

// What looks like a real port: a pseudo-terminal, and somebody who answers behind it.
scripted_module::script by_table(std::map<std::string, std::string> answers) {
    return [answers = std::move(answers)](scripted_module &module) {
        for (std::string command = module.hear(); !command.empty(); command = module.hear()) {
            const auto found = answers.find(command);
            module.say("\r\n" + (found != answers.end() ? found->second : "ERROR") + "\r\n");
        }
    };
}

// Hears everything and says nothing.
void stay_silent(scripted_module &module) {
    while (!module.hear().empty()) {
    }
}

std::string module_line(const std::string &port) {
    return ZELT_SIM " module " + port + " --model EC25 --seconds 3 < /dev/null";
}

TEST_F(in_a_terminal, a_real_port_is_the_modules_port_in_the_box) {
    const scripted_module port(
        by_table({{"at", "OK"},
                  {"at+qeng=\"servingcell\"", "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",001,01,1A2D001,120,"
                                              "1300,3,5,5,7B0C,-82,-8,-52,21,46\r\n\r\nOK"}}));
    const shell_outcome result = run_in_shell(module_line(port.device()));
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("CELL_RSRP = -82"));
}

TEST_F(in_a_terminal, a_real_port_that_hangs_up_is_reported) {
    const scripted_module port([](scripted_module &module) {
        for (int answers = 0; answers < 4; ++answers) {  // the check before the start, and some of the first cycle
            module.say(module.hear() == "at" ? "\r\nOK\r\n" : "\r\nERROR\r\n");
        }
        module.hear();
        module.vanish();
    });
    const shell_outcome result =
        run_in_shell(ZELT_SIM " module " + port.device() + " --model EC25 --seconds 2 < /dev/null");
    EXPECT_THAT(result.output, HasSubstr("module The module's port has not opened for "));
}

TEST_F(in_a_terminal, a_silent_port_is_reported_as_no_at_port) {
    const scripted_module port(stay_silent);
    const shell_outcome result = run_in_shell(module_line(port.device()));
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr(port.device() + " is no AT port"));
    EXPECT_THAT(result.output, HasSubstr("try the next one"));
    EXPECT_THAT(result.output, Not(HasSubstr("cycle")));
}

TEST_F(in_a_terminal, what_is_no_port_is_reported) {
    const std::pair<std::string, const char *> rows[] = {
        {"/dev/no_such_port", "/dev/no_such_port: No such file or directory. Is the module plugged in?"},
        {"/dev/null", "/dev/null is no serial port"},
        {folder_.write("plain", ""), "plain is no serial port"},
    };
    for (const auto &[port, expected] : rows) {
        const shell_outcome result = run_in_shell(module_line(port));
        EXPECT_EQ(result.status, 2) << port;
        EXPECT_THAT(result.output, HasSubstr(expected));
    }
}

}  // namespace
