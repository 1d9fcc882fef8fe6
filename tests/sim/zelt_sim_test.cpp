// The box as people meet it: zelt-sim run with small shell programs in place of the daemon. Needs bubblewrap.
#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class box : public testing::Test {
protected:
    std::string run_line(const std::string &scenario, const std::string &daemon, const std::string &options) {
        // exec: a signal to the process is a signal to zelt-sim.
        return "exec " ZELT_SIM " run " + folder_.write("test.scenario", scenario) + " " + options + " -- " +
               folder_.write_program("daemon.sh", "trap 'exit 0' TERM\n" + daemon);
    }

    // Plays the scenario with a shell program as the daemon.
    shell_outcome run(const std::string &scenario, const std::string &daemon,
                      const std::string &options = "--verbose") {
        return run_in_shell(run_line(scenario, daemon, options));
    }

    // As before, but the signal is sent to zelt-sim as soon as the journal says "ready". No output.
    int run_and_signal(const std::string &scenario, const std::string &daemon, int signal_number) {
        const std::string line = run_line(scenario, daemon, "") + " > " + folder_.write("journal", "");
        other_process sim([&line] { return become({"/bin/sh", "-c", line}); });
        EXPECT_TRUE(becomes_true([&] { return journal().find("ready") != std::string::npos || sim.has_ended(); }));
        sim.signal(signal_number);
        return sim.wait();
    }

    std::string journal() const { return content_of(folder_.path("journal")); }

    // Whether a process with this text in its command line runs on the host.
    static bool runs(const std::string &text) {
        for (const auto &entry : fs::directory_iterator("/proc")) {
            if (content_of(entry.path() / "cmdline").find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    // Killed processes are gone a moment later.
    static bool ends_soon(const std::string &text) {
        return becomes_true([&] { return !runs(text); });
    }

    const temporary_folder folder_;
};

// Like the daemon it runs until it is told to end; every program gets a trap for that.
constexpr const char *OBEDIENT = "echo ready\nwhile :; do sleep 0.05; done\n";

TEST_F(box, a_daemon_that_obeys_is_fine) {
    const shell_outcome result = run("at 100ms\nend\n", OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("the daemon ended with exit status 0"));
}

TEST_F(box, quiet_prints_nothing_while_all_is_fine) {
    const shell_outcome result = run("at 100ms\nend\n", OBEDIENT, "--quiet");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
}

TEST_F(box, a_failed_expectation_is_printed_with_its_line) {
    const shell_outcome result = run("at 100ms\nexpect-key CELL_BAND int 3\nend\n", OBEDIENT, "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("test.scenario:2: CELL_BAND: expected int 3, found nothing"));
}

TEST_F(box, a_daemon_that_dies_is_a_failure) {
    const shell_outcome result = run("at 10s\nend\n", "exit 7\n", "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("the daemon ended with exit status 7"));
}

TEST_F(box, a_daemon_that_is_killed_is_told_with_the_signal) {
    const shell_outcome result = run("at 10s\nend\n", "kill -SEGV $$\n", "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("the daemon ended by signal SEGV"));
    EXPECT_EQ(run("after exit SEGV\n", "kill -SEGV $$\n", "--quiet").status, 0);
}

TEST_F(box, a_box_that_is_killed_is_told_with_the_signal) {
    // The daemon's parent is the box's inner half.
    const shell_outcome result = run("at 10s\nend\n", "kill -KILL $PPID\nsleep 10\n", "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("zelt-sim: the box was ended by signal KILL"));
}

TEST_F(box, a_daemon_that_ends_without_being_told_is_a_failure) {
    EXPECT_EQ(run("at 10s\nend\n", "exit 0\n").status, 1);
}

TEST_F(box, a_daemon_that_ends_with_another_status_is_a_failure) {
    const shell_outcome result =
        run("at 100ms\nend\n", "trap 'exit 3' TERM\nwhile :; do sleep 0.05; done\n", "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("exit status 3"));
}

TEST_F(box, a_daemon_that_does_not_end_is_killed) {
    const shell_outcome result = run("at 100ms\nend\n", "trap '' TERM\nwhile :; do sleep 0.05; done\n", "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("did not end within 10 s after SIGTERM"));
}

TEST_F(box, an_awaited_end_is_fine_and_a_new_start_too) {
    const std::string scenario =
        "at 100ms\nsignal KILL\nafter exit KILL\nexpect-file /tmp/starts\n| x\nstart\nat 3s\nexpect-file "
        "/tmp/starts\n| xx\nend\n";
    const shell_outcome result = run(scenario, std::string("printf x >> /tmp/starts\n") + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, another_end_than_the_awaited_one_is_a_failure) {
    EXPECT_EQ(run("at 100ms\nsignal KILL\nafter exit 0\n", OBEDIENT).status, 1);
}

TEST_F(box, expectations_behind_end_are_judged_when_the_daemon_has_ended) {
    const std::string daemon = "trap 'sleep 0.3; echo bye > /tmp/last; exit 0' TERM\n";
    const shell_outcome result =
        run("at 100ms\nend\nexpect-file /tmp/last\n| bye\n|\nexpect-absent A\n", daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("all 2 expectations hold"));
}

TEST_F(box, an_end_that_nothing_follows_is_the_end_of_the_box) {
    EXPECT_EQ(run("at 100ms\nsignal KILL\nafter exit KILL\nexpect-absent A\n", OBEDIENT).status, 0);
    EXPECT_EQ(run("at 100ms\nsignal KILL\nafter exit KILL\nend\nexpect-absent A\n", OBEDIENT).status, 0);
}

TEST_F(box, an_error_in_the_scenario_starts_nothing) {
    const shell_outcome result = run("module EC25\nanswr at\n", "touch " + folder_.path("started") + "\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr("test.scenario:2: expected a statement, found \"answr\""));
    EXPECT_THAT(result.output, Not(HasSubstr("started")));
}

TEST_F(box, a_missing_scenario_is_a_scenario_error) {
    EXPECT_EQ(run_in_shell(ZELT_SIM " run " + folder_.path("none")).status, 2);
}

TEST_F(box, wrong_arguments_are_refused_with_a_hint) {
    for (const char *arguments : {"", "walk", "run", "run a b", "run a --seconds", "run a --seconds 0",
                                  "run a --seconds 1x", "run a --loud", "run a --", "check", "list /nowhere"}) {
        const shell_outcome result = run_in_shell(std::string(ZELT_SIM " ") + arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_THAT(result.output, HasSubstr("zelt-sim: ")) << arguments;
    }
}

TEST_F(box, missing_bubblewrap_is_named_with_its_package) {
    const std::string scenario = folder_.write("test.scenario", "at 1s\nend\n");
    const shell_outcome result = run_in_shell("PATH=/nowhere " ZELT_SIM " run " + scenario + " -- /bin/true");
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("apt-get install bubblewrap"));
}

TEST_F(box, a_kernel_that_forbids_the_box_is_explained) {
    const std::string scenario = folder_.write("test.scenario", "at 1s\nend\n");
    folder_.write_program("bwrap", "echo 'bwrap: no permission' >&2\nexit 1");
    const shell_outcome result =
        run_in_shell("PATH=" + folder_.path() + ":$PATH " ZELT_SIM " run " + scenario + " -- /bin/true");
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("bwrap: no permission"));
    EXPECT_THAT(result.output, HasSubstr("forbid\nuser namespaces"));
}

TEST_F(box, a_missing_program_is_named) {
    const std::string scenario = folder_.write("test.scenario", "at 1s\nend\n");
    const shell_outcome with_path = run_in_shell(ZELT_SIM " run " + scenario + " -- /nowhere/daemon");
    EXPECT_EQ(with_path.status, 3);
    EXPECT_THAT(with_path.output, HasSubstr("/nowhere/daemon"));
    EXPECT_EQ(run_in_shell(ZELT_SIM " run " + scenario + " -- no-such-program").status, 3);
}

// --- Nothing is left behind ---

// Leaves what it can: files, a mount's content, a child that ignores everything.
std::string untidy(const std::string &mark) {
    return "touch /tmp/" + mark + " /run/" + mark + " /dev/" + mark + "\n" +
           "setsid sh -c 'trap \"\" TERM INT HUP; : " + mark + "; while :; do sleep 1; done' &\n" +
           "echo ready\nwhile :; do sleep 0.05; done\n";
}

TEST_F(box, nothing_is_left_behind_after_the_end) {
    const std::string mark = "box_mark_end_" + std::to_string(getpid());
    const shell_outcome result = run("at 300ms\nend\n", untidy(mark));
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(ends_soon(": " + mark));
    for (const char *place : {"/tmp/", "/run/", "/dev/"}) {
        EXPECT_FALSE(fs::exists(place + mark)) << place;
    }
    EXPECT_THAT(content_of("/proc/self/mountinfo"), Not(HasSubstr("/run/box")));
}

TEST_F(box, killing_zelt_sim_leaves_no_process) {
    const std::string mark = "box_mark_kill_" + std::to_string(getpid());
    EXPECT_EQ(run_and_signal("at 100s\nend\n", untidy(mark), SIGKILL), 128 + SIGKILL);
    EXPECT_TRUE(ends_soon(": " + mark));
}

TEST_F(box, a_stop_signal_ends_everything_in_order) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(run_and_signal("at 100s\nend\n", OBEDIENT, signal_number), 0) << signal_number;
        EXPECT_THAT(journal(), HasSubstr("the daemon ended with exit status 0"));
    }
}

TEST_F(box, a_stop_signal_finds_a_daemon_that_was_not_ready_for_one) {
    EXPECT_EQ(run_and_signal("at 100s\nend\n", "trap - TERM\n" + std::string(OBEDIENT), SIGINT), 0);
    EXPECT_THAT(journal(), HasSubstr("the daemon ended by signal TERM"));
}

TEST_F(box, a_stop_signal_while_no_daemon_runs_ends_the_box) {
    const std::string scenario = "at 100ms\nsignal KILL\nafter exit KILL\nsay ready\nat 100s\nstart\n";
    EXPECT_EQ(run_and_signal(scenario, "while :; do sleep 0.05; done\n", SIGINT), 0);
}

TEST_F(box, a_stop_signal_behind_end_leaves_the_rest_unjudged) {
    const std::string daemon = "trap 'echo ready; sleep 0.5; exit 0' TERM\nwhile :; do sleep 0.05; done\n";
    EXPECT_EQ(run_and_signal("at 300ms\nend\nexpect-key NONE int 1\n", daemon, SIGINT), 0);
    EXPECT_THAT(journal(), Not(HasSubstr("FAILED")));
}

TEST_F(box, a_daemon_that_goes_wrong_when_the_user_stops_it_is_a_failure) {
    EXPECT_EQ(run_and_signal("at 100s\nend\n", "trap 'exit 3' TERM\n" + std::string(OBEDIENT), SIGTERM), 1);
    EXPECT_THAT(journal(), HasSubstr("the daemon ended with exit status 3"));
}

TEST_F(box, ends_by_itself_after_the_given_seconds) {
    EXPECT_EQ(run("at 100s\nend\n", OBEDIENT, "--seconds 1").status, 0);
}

TEST_F(box, ends_when_nobody_reads_the_journal) {
    const std::string line = run_line("at 100s\nend\n", "while :; do echo line; sleep 0.05; done\n", "");
    EXPECT_EQ(run_in_shell("(" + line + ") | head -1").status, 0);
}

// --- What is in the box ---

TEST_F(box, the_host_is_read_only_and_the_network_private) {
    // lo; wwan0, eth0 and eth1, each with its other end.
    const std::string daemon = "touch /etc/box_test\ngrep -c : /proc/net/dev > /tmp/interfaces\n";
    const shell_outcome result = run("at 3s\nexpect-file /tmp/interfaces\n| 7\n|\nend\n", daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("/etc/box_test"));  // the refusal
    EXPECT_FALSE(fs::exists("/etc/box_test"));
}

TEST_F(box, the_module_answers_on_the_port) {
    const std::string scenario = "answer at+csq\n| +CSQ: 20,99\n| OK\nat 1s\nexpect-file /tmp/answer\n"
                                 "| at+csq\\r\\r\n| +CSQ: 20,99\\r\n| OK\\r\n|\nend\n";
    const std::string daemon = "exec 3<>/dev/ttyQSB3\nprintf 'at+csq\\r' >&3\nhead -c 26 <&3 > /tmp/answer\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, the_module_vanishes_and_returns) {
    const std::string daemon = "[ -c /dev/ttyQSB3 ] && echo there\n"
                               "exec 3<>/dev/ttyQSB3\ncat <&3 >/dev/null 2>&1\necho hung up\n"
                               "while [ ! -c /dev/ttyQSB3 ]; do sleep 0.05; done\necho back\n" +
                               std::string(OBEDIENT);
    const shell_outcome result = run("at 300ms\nvanish\nat 600ms\nreturn\nat 1s\nend\n", daemon);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, testing::ContainsRegex("there[^~]*hung up[^~]*back"));
}

TEST_F(box, log_lines_count_cycles) {
    const std::string daemon = "for i in 1 2; do logger -p local0.info -t cell working $i\n"
                               "logger -p local0.debug -t cell ATRES:$i\ndone\n";
    const std::string scenario = "after cycle 2\nexpect-log local0.info\n| working 1\n| working 2\nend\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, commands_of_the_router_are_told_with_their_arguments) {
    const shell_outcome result =
        run("at 3s\nexpect-run\n| cmd_netgen WWAN_RESET\n| iptables -t mangle \" x\"\nend\n",
            "/usr/bin/cmd_netgen WWAN_RESET && /usr/sbin/iptables -t mangle ' x'\n" + std::string(OBEDIENT));
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, programs_end_as_the_scenario_says) {
    const std::string scenario = "program /run/qos status 3\nprogram /usr/sbin/conntrack status 1\nqmicli\n| a  b\n"
                                 "program /usr/bin/wwan-up\nremove /usr/bin/wwan-up\nat 3s\nexpect-file /tmp/seen\n"
                                 "| 3 1 0 a  b 127\n|\nexpect-journal\n| run qos stop\n| run conntrack -F\n"
                                 "| run cmd_ddns stop\n| run qmicli -d x\nend\n";
    const std::string daemon = "/run/qos stop; a=$?; /usr/sbin/conntrack -F; b=$?; cmd_ddns stop; c=$?\n"
                               "d=$(qmicli -d x); /usr/bin/wwan-up; echo \"$a $b $c $d $?\" > /tmp/seen\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, the_interfaces_tool_is_the_real_one_but_for_the_route_cache) {
    const shell_outcome result =
        run("at 3s\nexpect-journal\n| run ip route flush cache\nexpect-interface eth1 down\nend\n",
            "/sbin/ip link set eth1 down; /sbin/ip route flush cache\n" + std::string(OBEDIENT));
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, kernel_settings_of_wwan0_can_be_written) {
    const std::string scenario = "at 3s\nexpect-file /sys/class/net/wwan0/qmi/raw_ip\n| 1\n|\n"
                                 "expect-file /proc/sys/net/ipv4/conf/wwan0/proxy_arp\n| 1\n|\nend\n";
    const std::string daemon = "echo 1 > /sys/class/net/wwan0/qmi/raw_ip\n"
                               "echo 1 > /proc/sys/net/ipv4/conf/wwan0/proxy_arp\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

// 1883 is 075B in the list of listeners.
TEST_F(box, a_broker_comes_and_goes_and_may_be_told_so_twice) {
    const std::string scenario = "broker start\nbroker start\nat 3s\nexpect-file /tmp/first\n| 1\n|\nbroker stop\n"
                                 "broker stop\ntouch /tmp/stopped\nat 6s\nexpect-file /tmp/second\n| 0\n|\n"
                                 "broker start\nexpect-no-message\nend\n";
    const std::string daemon = "grep -c ' 0100007F:075B 0*:0000 0A' /proc/net/tcp > /tmp/first\n"
                               "while [ ! -e /tmp/stopped ]; do sleep 0.05; done\n"
                               "grep -c ' 0100007F:075B 0*:0000 0A' /proc/net/tcp > /tmp/second\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, files_come_and_go) {
    const std::string scenario = "write /tmp/a\n| one\n| two\\\ntouch /tmp/b\ndirectory /tmp/c\nwrite /tmp/d\n| x\n"
                                 "remove /tmp/d\nconfig\n| {}\nat 3s\nexpect-file /tmp/a\n| one\n| two\nexpect-file "
                                 "/tmp/b\n| \\\nexpect-file /tmp/seen\n| c is a folder, d is not there, {}\n|\nend\n";
    const std::string daemon = "[ -d /tmp/c ] && [ ! -e /tmp/d ] && "
                               "echo c is a folder, d is not there, $(cat $ZELT_CONFIG) > /tmp/seen\n";
    const shell_outcome result = run(scenario, daemon + OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, running_is_permitted_unless_the_scenario_forbids_it) {
    EXPECT_EQ(run("at 100ms\nexpect-file /tmp/zstats.running\n| \\\nend\n", OBEDIENT).status, 0);
    EXPECT_EQ(
        run("remove /tmp/zstats.running\nat 100ms\nexpect-file /tmp/zstats.running\n| \\\nend\n", OBEDIENT).status, 1);
}

TEST_F(box, keys_of_other_programs_are_set_with_their_type) {
    const std::string scenario = "set CELL A int -3\nset CELL B real -999.0\nset CELL C string a\\tb\nat 100ms\n"
                                 "expect-key A int -3\nexpect-key B real -999.0\nexpect-key C string a\\tb\n"
                                 "expect-absent D\nend\n";
    const shell_outcome result = run(scenario, OBEDIENT);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, another_program_tells_the_modules_name_before_the_daemon_starts) {
    const std::string named = "module EC25-AF\nat 100ms\nexpect-key CELL_MODEL string EC25-AF\nend\n";
    EXPECT_EQ(run(named, OBEDIENT).status, 0);
    const std::string set = "module EC25\nset CELL CELL_MODEL string mine\nat 100ms\nexpect-key CELL_MODEL string "
                            "mine\nend\n";
    EXPECT_EQ(run(set, OBEDIENT).status, 0);
    const std::string none = "module none\nat 100ms\nexpect-absent CELL_MODEL\nend\n";
    EXPECT_EQ(run(none, OBEDIENT).status, 0);
}

TEST_F(box, wwan0_gets_and_loses_an_address) {
    const std::string daemon = "while :; do sleep 0.05; ip -4 -o address show dev wwan0 | "
                               "awk '{ print $4 }' > /tmp/now; cp /tmp/now /tmp/address; done\n";
    const std::string scenario = "address 10.1.2.3/30\nat 3s\nexpect-file /tmp/address\n| 10.1.2.3/30\n|\naddress "
                                 "10.1.2.7/29\nat 6s\nexpect-file /tmp/address\n| 10.1.2.7/29\n|\naddress none\nat "
                                 "9s\nexpect-file /tmp/address\n| \\\nend\n";
    const shell_outcome result = run(scenario, daemon);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(box, what_cannot_be_done_is_a_failure_with_its_line) {
    const shell_outcome result = run("at 100ms\ntouch /tmp/none/none\nend\n", OBEDIENT, "--quiet");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("test.scenario:2: /tmp/none/none: cannot be created"));
}

TEST_F(box, a_table_of_next_to_no_time_leaves_some_for_the_end) {
    EXPECT_EQ(run("at 1ms\nrepeat\n", OBEDIENT, "--seconds 1 --speed 100 --quiet").status, 0);
}

TEST_F(box, a_daemon_that_prints_without_an_end_is_heard) {
    for (const auto &[noise, expected] : {std::pair("exec yes", "output y"), {"exec cat /dev/zero", "output \\x00"}}) {
        const std::string line = run_line("at 100s\nend\n", noise, "");
        EXPECT_THAT(run_in_shell("(" + line + ") | head -c 40").output, HasSubstr(expected));
    }
}

// The box waits for none of them, and keeps no more of them than it can hold.
TEST_F(box, what_is_no_ordinary_file_is_neither_read_nor_written) {
    const std::vector<std::string> paths = {"/tmp/fifo", "/tmp/link", "/dev/stdin",
                                            "/dev/tty",  "/dev/zero", "/dev/random"};
    std::string scenario = "after cycle 1\n";
    for (const std::string &path : paths) {
        scenario.append("write ").append(path).append("\n| x\nexpect-file ").append(path).append("\n| x\n");
    }
    const std::string precious = folder_.write("precious", "precious");
    const std::string daemon = "mkfifo /tmp/fifo; ln -s /proc/self/fd/0 /tmp/link\n"
                               "logger -p local0.debug -t cell ATRES:\n";
    const shell_outcome result = run(scenario + "end\n", daemon + OBEDIENT, "--quiet < " + precious);
    EXPECT_EQ(result.status, 1);
    for (const std::string &path : paths) {
        EXPECT_THAT(result.output, HasSubstr(path + ": cannot be written"));
        EXPECT_THAT(result.output, HasSubstr(path + ": expected \"x\", found no file"));
    }
    EXPECT_EQ(content_of(precious), "precious");
}

TEST_F(box, a_scenario_without_an_end_is_refused) {
    for (const char *how : {"run", "check"}) {
        const shell_outcome result = run_in_shell(std::string(ZELT_SIM " ") + how + " /dev/zero");
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "/dev/zero: is longer than 16 MiB\n");
    }
}

TEST_F(box, a_repeated_table_starts_from_the_top) {
    const shell_outcome result = run("say first\nat 200ms\nsay second\nat 400ms\nrepeat\n", OBEDIENT, "--seconds 1");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, testing::ContainsRegex("first[^~]*second[^~]*first[^~]*second"));
}

// --- Into a running box ---

class attached : public box {
protected:
    // Runs the lines where no other box is seen. $sim is zelt-sim, $box starts a box, ready() waits until it stands.
    shell_outcome alone(const std::string &lines, const std::string &daemon = OBEDIENT) {
        const std::string script =
            "sim=" ZELT_SIM "\n"
            "box() { " +
            run_line("at 100s\nend\n", "touch /tmp/in_the_box\n" + daemon, "--quiet") +
            "; }\n"
            "ready() { for i in $(seq 200); do $sim attach -- test -e /tmp/in_the_box 2> /dev/null && return; "
            "sleep 0.05; done; }\n" +
            lines;
        return run_in_shell("unshare --user --map-root-user --pid --fork --kill-child --mount-proc sh " +
                            folder_.write("script", script));
    }
};

TEST_F(attached, a_command_sees_the_box_and_ends_with_its_own_status) {
    const shell_outcome result =
        alone("box & ready\n$sim attach -- ls /tmp/zstats.running /dev/ttyQSB3; $sim attach -- sh -c 'exit 7'\n"
              "echo status $?; kill $!; wait $!; echo box $?\n");
    EXPECT_EQ(result.output, "/dev/ttyQSB3\n/tmp/zstats.running\nstatus 7\nbox 0\n");
}

TEST_F(attached, tools_are_found_by_name_and_a_shell_is_the_default) {
    const shell_outcome result =
        alone("box & ready\necho 'command -v zelt-sim; echo $ZELT_CONFIG; exit 4' | $sim attach\n"
              "echo status $?; kill $!; wait $!; echo box $?\n");
    EXPECT_EQ(result.output, ZELT_SIM "\n/run/zelt/config.json\nstatus 4\nbox 0\n");
}

TEST_F(attached, a_command_has_no_more_powers_than_the_daemon) {
    const shell_outcome result = alone("box & ready\n$sim attach -- sh -c 'grep -E \"Cap(Prm|Eff)|NoNew\" "
                                       "/proc/$$/status; hostname x 2> /dev/null; echo $?; "
                                       "mount -t tmpfs x /srv 2> /dev/null || echo no mount'\nkill $!; wait $!\n");
    EXPECT_EQ(result.output, "CapPrm:\t0000000000001000\nCapEff:\t0000000000001000\nNoNewPrivs:\t1\n"
                             "1\nno mount\n");
}

TEST_F(attached, the_end_of_the_box_ends_the_command) {
    const shell_outcome result =
        alone("box & ready\n(sleep 0.3; kill $!) &\n$sim attach -- sleep 1000; echo status $?\n");
    EXPECT_EQ(result.output, "zelt-sim: the box has ended, and the command with it\nstatus 3\n");
}

TEST_F(attached, a_command_that_is_missing_or_killed_is_told_as_a_shell_does) {
    const shell_outcome result = alone("box & ready\n$sim attach -- no-such-program; echo status $?\n"
                                       "$sim attach -- sh -c 'kill -TERM $$'; echo status $?\nkill $!; wait $!\n");
    EXPECT_EQ(result.output, "zelt-sim: no-such-program: No such file or directory\nstatus 127\nstatus 143\n");
}

TEST_F(attached, without_a_box_it_says_how_to_start_one) {
    const shell_outcome result =
        alone("$sim attach -- true; echo status $?; $sim attach --box 1 -- true; echo status $?\n");
    EXPECT_EQ(result.output,
              "zelt-sim: no box of yours runs; start one with ./run, zelt-sim run or zelt-sim module\nstatus 2\n"
              "zelt-sim: no box has the process number 1\nstatus 2\n");
}

TEST_F(attached, of_several_boxes_one_is_chosen) {
    const shell_outcome result = alone(
        "box & first=$!; ready\nbox & sleep 0.5\n$sim attach -- true 2> $0.seen; echo status $?\ncat $0.seen\n"
        "for one in $(sed -n 's/.*--box \\([0-9]*\\) .*/\\1/p' $0.seen); do $sim attach --box $one -- echo in; done\n"
        "kill $first $!; wait\n");
    EXPECT_THAT(result.output, testing::ContainsRegex(
                                   "^status 2\nzelt-sim: several boxes run; say which one:\n"
                                   "  --box [0-9]+  [^ ]*test.scenario\n  --box [0-9]+  [^ ]*test.scenario\nin\nin\n"));
}

// --- Beside the box ---

TEST_F(box, list_prints_names_and_first_comments) {
    folder_.write("b.scenario", "# the second\n");
    folder_.write("a.scenario", "# the first\n");
    folder_.write("c.txt", "no scenario");
    const shell_outcome result = run_in_shell(ZELT_SIM " list " + folder_.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "a                the first\nb                the second\n");
}

TEST_F(box, check_reads_every_file) {
    const std::string good = folder_.write("good.scenario", "echo on\n");
    const std::string bad = folder_.write("bad.scenario", "eco on\n");
    const std::string worse = folder_.write("worse.scenario", "\nat noon\n");
    EXPECT_EQ(run_in_shell(ZELT_SIM " check " + good).status, 0);
    const shell_outcome result = run_in_shell(ZELT_SIM " check " + bad + " " + good + " " + worse);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr("bad.scenario:1: expected"));
    EXPECT_THAT(result.output, HasSubstr("worse.scenario:2: expected"));
}

TEST_F(box, check_takes_what_run_takes) {
    EXPECT_EQ(run_in_shell(ZELT_SIM " check drive").status, 0);
    const std::pair<std::string, const char *> rows[] = {
        {folder_.path(), ": is a folder; `zelt-sim list "},
        {"no-such-drive", "no-such-drive: cannot be read"},
        {"\"\"", "\"\": cannot be read"},
        {"--loud", "did not expect \"--loud\""},
    };
    for (const auto &[word, expected] : rows) {
        for (const char *how : {" run ", " check drive "}) {
            const shell_outcome result = run_in_shell(ZELT_SIM + std::string(how) + word);
            EXPECT_EQ(result.status, 2) << how << word;
            EXPECT_THAT(result.output,
                        testing::AnyOf(HasSubstr(expected), HasSubstr("expected a scenario behind run")));
        }
    }
}

TEST_F(box, output_that_cannot_be_written_is_an_error) {
    for (const char *arguments : {" list", " --help"}) {
        const shell_outcome result = run_in_shell(ZELT_SIM + std::string(arguments) + " > /dev/full");
        EXPECT_EQ(result.status, 1) << arguments;
        EXPECT_EQ(result.output, "zelt-sim: cannot write: No space left on device\n");
    }
    const shell_outcome played = run_in_shell(run_line("at 100s\nend\n", OBEDIENT, "") + " > /dev/full");
    EXPECT_EQ(played.status, 1);
    EXPECT_THAT(played.output, HasSubstr("the journal cannot be written: No space left on device"));
    EXPECT_EQ(run_in_shell("{ " ZELT_SIM " list; echo $? >&2; } | true").output, "0\n") << "nobody wanted more";
}

TEST_F(box, help_is_printed_on_request) {
    const shell_outcome result = run_in_shell(ZELT_SIM " --help");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("Usage: zelt-sim run SCENARIO"));
}

}  // namespace
