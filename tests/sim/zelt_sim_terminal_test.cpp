// What a person does with the box in a terminal: the live view, the shell, a module of one's own, and accelerated time.
// A real pseudo-terminal and the shipped programs. Needs bubblewrap.
#include <atomic>
#include <csignal>
#include <map>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "tests/host/scripted_module.h"
#include "tests/support/becomes_true.h"
#include "tests/support/device_user.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/terminal.h"

namespace {

using testing::HasSubstr;
using testing::Not;

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
    EXPECT_THAT(screen.output(), HasSubstr("the view was ended by signal KILL"));
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

TEST_F(in_a_terminal, a_box_without_a_view_cannot_type_into_it) {
    const std::string daemon =
        folder_.write_program("daemon.sh", "(: < /dev/tty) 2> /dev/null && echo can ty''pe || echo can''not\nexit 0");
    terminal screen(ZELT_SIM " run " + folder_.write("type.scenario", "after exit 0\n") + " -- " + daemon);
    EXPECT_EQ(screen.end(), 0);
    EXPECT_THAT(screen.output(), HasSubstr("cannot"));
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

// --- The stop key, below a shell with job control ---

class job : public in_a_terminal {
protected:
    void start(const std::string &line) {
        ASSERT_TRUE(shell_.shows("$ "));
        shell_.type(line + "\n");
    }
    // One that runs in the background.
    void join_a_box(const std::string &command) {
        start(ZELT_SIM " run " + folder_.write("lte.scenario", LTE) + " --quiet &");
        shell_.member("zelt-stats");
        std::string box;
        for (const auto &[pid, words] : family(shell_.pid())) {
            const std::string inside{ZELT_SIM "\0inside", sizeof ZELT_SIM + 6};
            box = words.starts_with(inside) ? std::to_string(pid) : box;
        }
        shell_.type(ZELT_SIM " attach --box " + box + " " + command + "\n");
    }
    void expect_stopped() {
        EXPECT_TRUE(shell_.shows("Stopped")) << shell_.output();
        EXPECT_TRUE(shell_.page_is_left());
        shell_.forget();
        shell_.type("echo the''re\n");
        EXPECT_TRUE(shell_.shows("there")) << shell_.output();
    }
    void go_on() {
        shell_.forget();
        shell_.type("fg\n");
    }
    void expect_status(const std::string &status) {
        shell_.type("echo st''atus $?\n");
        EXPECT_TRUE(shell_.shows("status " + status)) << shell_.output();
        shell_.type("exit\n");
    }

    // In place of the daemon.
    std::string obedient() const {
        return folder_.write_program("daemon.sh", "trap 'exit 0' TERM\necho be gin\nwhile :; do sleep 0.05; done");
    }

    terminal shell_{"env PS1='$ ' bash --norc -i"};
};

char state_of(pid_t pid) {
    const std::string stat = content_of("/proc/" + std::to_string(pid) + "/stat");
    return stat.empty() ? '-' : stat[stat.rfind(") ") + 2];
}

TEST_F(job, stops_with_the_daemon_and_goes_on) {
    start(ZELT_SIM " run " + folder_.write("lte.scenario", LTE));
    ASSERT_TRUE(shell_.shows("cycle  1")) << shell_.output();
    const pid_t daemon = shell_.member("zelt-stats");
    shell_.type("\032");
    expect_stopped();
    EXPECT_EQ(state_of(daemon), 'T');
    go_on();
    EXPECT_TRUE(shell_.shows("cycle  2")) << shell_.output();
    shell_.type("\003");
    expect_status("0");
}

TEST_F(job, leaves_the_view_and_returns_to_it) {
    start(view());
    ASSERT_TRUE(shell_.shows("-82 dBm")) << shell_.output();
    shell_.type("\032");
    expect_stopped();
    go_on();
    EXPECT_TRUE(shell_.shows("-82 dBm")) << shell_.output();
    shell_.type("q");
    expect_status("0");
}

TEST_F(job, stops_with_its_shell) {
    start(ZELT_SIM " shell " + folder_.write("lte.scenario", LTE));
    ASSERT_TRUE(shell_.shows("box:/#")) << shell_.output();
    shell_.type("suspend\n");
    expect_stopped();
    go_on();
    shell_.type("echo st''ill here\n");
    EXPECT_TRUE(shell_.shows("still here")) << shell_.output();
    shell_.type("exit\n");
    expect_status("0");
}

TEST_F(job, leaves_a_view_that_joined_a_box) {
    join_a_box("-- zelt-top");
    ASSERT_TRUE(shell_.shows("-82 dBm")) << shell_.output();
    shell_.type("\032");
    expect_stopped();
    go_on();
    EXPECT_TRUE(shell_.shows("-82 dBm")) << shell_.output();
    shell_.type("q");
    shell_.type("echo st''atus $?; kill %1; wait\n");
    EXPECT_TRUE(shell_.shows("status 0")) << shell_.output();
    shell_.type("exit\n");
}

TEST_F(job, stops_with_a_shell_that_joined_a_box) {
    join_a_box("");
    ASSERT_TRUE(shell_.shows("box:/#")) << shell_.output();
    shell_.type("suspend\n");
    expect_stopped();
    go_on();
    shell_.type("echo st''ill here\n");
    EXPECT_TRUE(shell_.shows("still here")) << shell_.output();
    shell_.type("exit\n");
    shell_.type("echo st''atus $?; kill %1; wait\n");
    EXPECT_TRUE(shell_.shows("status 0")) << shell_.output();
    shell_.type("exit\n");
}

TEST_F(job, may_be_stopped_at_any_moment_of_its_start) {
    const std::string line = ZELT_SIM " run " + folder_.write("start.scenario", "at 100s\nend\n") + " -- " + obedient();
    ASSERT_TRUE(shell_.shows("$ "));
    for (int wait = 0; wait < 160; wait += 20) {
        const std::size_t begin = shell_.output().size();
        shell_.type(line + "\n");
        shell_.member("zelt-sim");
        std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        shell_.type("\032");
        ASSERT_TRUE(shell_.shows("Stopped")) << wait << " ms: " << shell_.output();
        go_on();
        ASSERT_TRUE(shell_.shows(" run ")) << "the shell has put it into the foreground";
        ASSERT_TRUE(becomes_true([&] { return shell_.output().find("be gin", begin) != std::string::npos; }))
            << wait << " ms: " << shell_.output();
        shell_.type("\003");
        ASSERT_TRUE(shell_.shows("== the end")) << wait << " ms: " << shell_.output();
        shell_.forget();
        shell_.type("echo st''atus $?\n");
        ASSERT_TRUE(shell_.shows("status 0")) << wait << " ms: " << shell_.output();
        shell_.forget();
    }
    shell_.type("exit\n");
}

TEST_F(job, a_time_table_waits_meanwhile) {
    start(ZELT_SIM " run " + folder_.write("wait.scenario", "at 4s\nsay too late\nend\n") + " -- " + obedient());
    ASSERT_TRUE(shell_.shows("be gin"));
    shell_.type("\032");
    expect_stopped();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    shell_.forget();
    shell_.type("fg\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_THAT(shell_.output(), Not(HasSubstr("too late")));
    EXPECT_TRUE(shell_.shows("too late"));
    expect_status("0");
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

// What looks like a real port: a pseudo-terminal, and somebody who answers behind it. This one hears everything and
// says nothing.
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
                  {"at+cimi", "001010123456789\r\n\r\nOK"},
                  {"at+qeng=\"servingcell\"", "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",001,01,1A2D001,120,"
                                              "1300,3,5,5,7B0C,-82,-8,-52,21,46\r\n\r\nOK"}}));
    const shell_outcome result = run_in_shell(module_line(port.device()));
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("CELL_RSRP = -82"));
    EXPECT_THAT(result.output, HasSubstr("CELL_RSSIMON = EC25, "));
    EXPECT_THAT(result.output, HasSubstr("CELL_IMSI = (not shown)"));
    EXPECT_THAT(result.output, Not(HasSubstr("001010123456789")));
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

// --- Which port ---

const std::map<std::string, std::string> REGISTERED_EC25{
    {"at", "OK"},
    {"ati", "Maker\r\nEC25\r\nRevision: EC25EFAR06A01M4G\r\n\r\nOK"},
    {"at+cgmm", "EC25\r\n\r\nOK"},
    {"at+cpin?", "+CPIN: READY\r\n\r\nOK"},
    {"at+creg?", "+CREG: 0,2\r\n\r\nOK"},
    {"at+cereg?", "+CEREG: 0,5\r\n\r\nOK"},
};

TEST_F(in_a_terminal, probing_tells_the_ports_apart_and_how_to_go_on) {
    scripted_module module(by_table(REGISTERED_EC25));
    scripted_module mute(stay_silent);
    scripted_module positions([](scripted_module &receiver) {
        while (!receiver.rest(std::chrono::milliseconds(100))) {
            receiver.say("$GPGGA,120000.00,,,,,0,,,,,,,,*66\r\n");
        }
    });
    for (scripted_module *port : {&module, &mute, &positions}) {
        port->let_go();
    }
    const std::string ports =
        mute.device() + " " + positions.device() + " " + module.device() + " /dev/no_such_port /dev/null";
    const shell_outcome result = run_in_shell(ZELT_SIM " probe " + ports);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.output.substr(0, result.output.find("/dev/no_such_port")),
              mute.device() + "  does not answer AT\n" + positions.device() +
                  "  sends NMEA: positions of a satellite receiver, no AT port\n" + module.device() +
                  "  answers AT: EC25, SIM ready, registered, roaming\n    Maker, EC25, Revision: EC25EFAR06A01M4G\n"
                  "    go on with: ./run --module " +
                  module.device() + " --model EC25\n");
    EXPECT_THAT(result.output, HasSubstr("/dev/no_such_port  No such file or directory. Is the module plugged in?"));
    EXPECT_THAT(result.output, HasSubstr("/dev/null is no serial port"));
}

TEST_F(in_a_terminal, probing_asks_no_port_that_another_program_has_open) {
    const scripted_module held(by_table(REGISTERED_EC25));
    const device_user user(held.device());
    const shell_outcome result = run_in_shell(ZELT_SIM " probe " + held.device() + " < /dev/null");
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_THAT(result.output, HasSubstr("in use by sleep, process " + std::to_string(user.pid()) + "; left alone"));
}

// It has it open for moments only, and a question in between would go into its answers.
TEST_F(in_a_terminal, probing_asks_no_port_that_a_daemon_uses) {
    std::atomic<bool> asked_by_daemon = false;
    std::atomic<bool> asked_by_probe = false;
    scripted_module module([&](scripted_module &self) {
        for (std::string command = self.hear(); !command.empty(); command = self.hear()) {
            self.say(command == "at" ? "\r\nOK\r\n" : "\r\nERROR\r\n");
            asked_by_daemon = asked_by_daemon || command == "at+creg?";
            asked_by_probe = asked_by_probe || command == "ati";
        }
    });
    module.let_go();
    other_process box([&] { return become({ZELT_SIM, "module", module.device(), "--model", "EC25", "--quiet"}); });
    ASSERT_TRUE(becomes_true([&] { return asked_by_daemon.load(); }));
    const shell_outcome result = run_in_shell(ZELT_SIM " probe " + module.device() + " < /dev/null");
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_THAT(result.output, HasSubstr("used by zelt-stats (pid "));
    EXPECT_THAT(result.output, HasSubstr("); left alone"));
    EXPECT_FALSE(asked_by_probe);
    box.signal(SIGTERM);
    box.wait();
}

TEST_F(in_a_terminal, probing_names_what_is_missing_behind_a_port_that_answers) {
    scripted_module bare(by_table({{"at", "OK"},
                                   {"at+cgmm", "+CGMM: XY7; reboot\r\n\r\nOK"},
                                   {"at+cpin?", "+CME ERROR: 10"},
                                   {"at+creg?", "+CREG: 0,0\r\n\r\nOK"}}));
    bare.let_go();
    const shell_outcome result = run_in_shell(ZELT_SIM " probe " + bare.device());
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_THAT(result.output, HasSubstr("answers AT: XY7; reboot, no SIM, not registered\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("go on with")));
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
