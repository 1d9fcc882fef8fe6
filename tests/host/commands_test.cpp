#include "host/commands.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/device_utils.h"
#include "platform/module_access.h"
#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace std::chrono_literals;

// Far above what any of these programs needs, far below "hangs".
constexpr auto ample = 30s;
constexpr std::size_t some_kilobytes = 8192;

bool no_child_is_left() {
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

std::optional<std::string> shell(const std::string &script, std::chrono::milliseconds deadline = ample) {
    return collect_output({"/bin/sh", "-c", script}, deadline, some_kilobytes);
}

bool is_dead(const std::string &process) {
    const std::string status = content_of("/proc/" + process + "/stat");
    return status.empty() || status.find(") Z") != std::string::npos;  // init takes its zombies when it likes to
}

TEST(brelsys, returns_what_the_shell_says) {
    struct row {
        const char *why;
        const char *command;
        int status;
    };
    const row rows[] = {
        {"success", "true", 0},
        {"nothing to do is a success", "", 0},
        {"exit status", "exit 3", 3},
        {"the largest one", "exit 255", 255},
        {"no such command", "/nonexistent/command 2>/dev/null", 127},
        {"not executable", "/dev/null 2>/dev/null", 126},
        {"ended by signal 9", "kill -9 $$", 128 + 9},
        {"ended by signal 15", "kill -15 $$", 128 + 15},
    };
    for (const row &r : rows) {
        EXPECT_EQ(brelsys("%s", r.command), r.status) << r.why;
    }
    EXPECT_TRUE(no_child_is_left());
}

TEST(brelsys, formats_like_printf) {
    const temporary_folder folder;
    EXPECT_EQ(brelsys("echo %s-%d%% > %s/out", "a", 7, folder.path().c_str()), 0);
    EXPECT_EQ(content_of(folder.path("out")), "a-7%\n");
}

TEST(brelsys, runs_a_line_of_any_length) {
    const temporary_folder folder;
    const std::string word(100000, 'x');
    EXPECT_EQ(brelsys("echo %s > %s/out", word.c_str(), folder.path().c_str()), 0);
    EXPECT_EQ(content_of(folder.path("out")), word + "\n");
}

TEST(brelsys, a_line_beyond_the_kernels_limit_is_a_failure) {
    EXPECT_EQ(brelsys("echo %s", std::string(4000000, 'x').c_str()), 127);
}

TEST(brelsys, passes_inner_quotes_on) {
    const temporary_folder folder;
    EXPECT_EQ(brelsys("printf %%s \"!fw3: Zone wan MTU fixing\" > %s/out", folder.path().c_str()), 0);
    EXPECT_EQ(content_of(folder.path("out")), "!fw3: Zone wan MTU fixing");
}

TEST(brelsys, the_command_does_not_read_our_input) {
    pipe_ends input;
    ASSERT_EQ(write(input.write_end.get(), "ours\n", 5), 5);
    input.write_end.close();
    const int old_input = dup(STDIN_FILENO);
    dup2(input.read_end.get(), STDIN_FILENO);
    EXPECT_EQ(brelsys("test -z \"$(cat)\""), 0);
    dup2(old_input, STDIN_FILENO);
    close(old_input);
}

TEST(brelsys, the_command_gets_no_descriptor_of_ours) {
    // Opened without O_CLOEXEC, as some libraries do.
    const int leaking = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaking, 3);
    EXPECT_EQ(brelsys("test ! -e /proc/$$/fd/%d", leaking), 0);
    close(leaking);
}

TEST(brelsys, the_command_starts_with_default_signals) {
    const temporary_folder folder;
    const auto old_handler = signal(SIGPIPE, SIG_IGN);
    sigset_t blocked = {};
    sigset_t old_mask = {};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &old_mask);
    for (const char *set : {"SigBlk", "SigIgn"}) {
        brelsys("grep %s: /proc/self/status | cut -f 2 >> %s/out", set, folder.path().c_str());
    }
    sigprocmask(SIG_SETMASK, &old_mask, nullptr);
    signal(SIGPIPE, old_handler);
    std::istringstream sets(content_of(folder.path("out")));
    unsigned long long still_blocked = 1;
    unsigned long long still_ignored = 1;
    sets >> std::hex >> still_blocked >> still_ignored;
    const unsigned long long c_library_signals = 0x180000000;  // 32 and 33: its own affair, and it ignores them
    EXPECT_EQ(still_blocked, 0U);
    EXPECT_EQ(still_ignored & ~c_library_signals, 0U);
}

TEST(brelsys, a_signal_in_between_does_not_cut_the_wait) {
    struct sigaction action = {};
    struct sigaction old_action = {};
    action.sa_handler = [](int) {};  // without SA_RESTART: the wait really is interrupted
    sigaction(SIGALRM, &action, &old_action);
    const itimerval every_20_ms = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &every_20_ms, nullptr);
    const int status = brelsys("sleep 0.3; exit 5");
    const itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &old_action, nullptr);
    EXPECT_EQ(status, 5);
}

TEST(collect_output, returns_what_the_program_wrote) {
    EXPECT_EQ(shell("echo one; echo two"), "one\ntwo\n");
}

TEST(collect_output, an_empty_output_is_an_answer) {
    EXPECT_EQ(shell("true"), "");
}

TEST(collect_output, a_failure_has_no_answer) {
    EXPECT_EQ(shell("echo one; exit 1"), std::nullopt);
    EXPECT_EQ(shell("echo one; kill -9 $$"), std::nullopt);
    EXPECT_EQ(collect_output({"/nonexistent/tool"}, ample, some_kilobytes), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
}

TEST(collect_output, output_up_to_the_limit_and_not_beyond) {
    EXPECT_EQ(shell("head -c 8192 /dev/zero").value_or("").size(), 8192U);
    EXPECT_EQ(shell("head -c 8193 /dev/zero"), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
}

// The end and the byte too many come in one look, or in two: either way the program must be reaped.
TEST(collect_output, a_program_that_ends_with_too_much_output_leaves_no_zombie) {
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(shell("head -c 8000 /dev/zero; head -c 8000 /dev/zero"), std::nullopt);
        ASSERT_TRUE(no_child_is_left()) << "round " << i;
    }
}

TEST(collect_output, a_program_that_hangs_is_killed_with_its_children) {
    const temporary_folder folder;
    EXPECT_EQ(shell("sleep 1000 & echo $! > " + folder.path("pid") + "; echo part; wait", 300ms), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
    const std::string child = std::to_string(std::stoi(content_of(folder.path("pid"))));
    EXPECT_TRUE(becomes_true([&] { return is_dead(child); })) << content_of("/proc/" + child + "/stat");
}

TEST(collect_output, a_program_that_ignores_signals_is_killed) {
    EXPECT_EQ(shell("trap '' TERM INT HUP; while :; do sleep 1; done", 300ms), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
}

TEST(collect_output, a_program_that_closed_its_output_is_killed_all_the_same) {
    EXPECT_EQ(shell("echo part; exec >&-; sleep 1000", 300ms), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
}

TEST(collect_output, a_program_that_closed_its_output_may_end_in_time) {
    EXPECT_EQ(shell("echo all; exec >&-; sleep 0.2"), "all\n");
}

TEST(collect_output, a_child_left_behind_with_the_output_does_not_hold_us_up) {
    const temporary_folder folder;
    EXPECT_EQ(shell("sleep 1000 & echo $! > " + folder.path("pid") + "; echo answer"), "answer\n");
    const int background = std::stoi(content_of(folder.path("pid")));
    EXPECT_EQ(kill(background, 0), 0) << "what a successful tool leaves running is its own affair";
    kill(background, SIGKILL);
}

TEST(collect_output, endless_output_ends_at_the_limit) {
    EXPECT_EQ(shell("exec yes"), std::nullopt);
    EXPECT_TRUE(no_child_is_left());
}

// As on a kernel before 5.3, or under a service manager that allows few system calls.
bool refuse_the_younger_system_calls() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {std::size(program), program};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0 &&
           syscall(SYS_pidfd_open, getpid(), 0) < 0;
}

TEST(collect_output, an_older_kernel_will_do) {
    other_process process([] {
        const bool refused = refuse_the_younger_system_calls();
        const bool answered = shell("echo answer") == "answer\n" && no_child_is_left();
        const bool killed = !shell("sleep 1000", 300ms) && no_child_is_left();
        const bool limited = !shell("exec yes") && no_child_is_left();
        return refused && answered && killed && limited ? 0 : 1;
    });
    EXPECT_EQ(process.wait(), 0);
}

TEST(collect_output, the_program_dies_with_us) {
    const temporary_folder folder;
    const auto its_id = [&] {
        const std::string text = content_of(folder.path("pid"));
        return text.substr(0, text.find('\n'));
    };
    other_process we([&] {
        shell("echo $$ > " + folder.path("pid") + "; exec sleep 1000");
        return 1;
    });
    ASSERT_TRUE(becomes_true([&] { return !its_id().empty(); }));
    EXPECT_FALSE(is_dead(its_id()));
    we.kill();
    EXPECT_TRUE(becomes_true([&] { return is_dead(its_id()); })) << its_id();
    kill(std::stoi(its_id()), SIGKILL);
}

// A network that is half configured is worse than a command that outlives us.
TEST(brelsys, the_command_comes_to_its_end_without_us) {
    const temporary_folder folder;
    other_process we([&] {
        brelsys("touch %s/begun; sleep 0.5; touch %s/done", folder.path().c_str(), folder.path().c_str());
        return 1;
    });
    ASSERT_TRUE(becomes_true([&] { return file_exists(folder.path("begun").c_str()); }));
    we.kill();
    EXPECT_TRUE(becomes_true([&] { return file_exists(folder.path("done").c_str()); }));
}

// The stop lasts for the rest of the process: each case has one of its own.
class brelsys_at_a_stop : public testing::Test {
protected:
    static void stop_in(suseconds_t microseconds) {
        signal(SIGALRM, [](int) { stop_libzelt_funcs(); });  // with SA_RESTART, as the daemon's own handler
        const itimerval once = {{0, 0}, {0, microseconds}};
        setitimer(ITIMER_REAL, &once, nullptr);
    }

    // Of a body that must come to its end. A bound that only a hang exceeds.
    static int status_of(const std::function<int()> &body) {
        other_process process(body);
        EXPECT_TRUE(becomes_true([&] { return process.has_ended(); })) << "hangs";
        return process.has_ended() ? process.wait() : -1;
    }

    int hang() const { return brelsys("echo $$ >> %s; exec sleep 1000", folder_.path("pids").c_str()); }

    // Those that hang() started.
    std::vector<std::string> hanging() const {
        std::istringstream text(content_of(folder_.path("pids")));
        return {std::istream_iterator<std::string>(text), {}};
    }

    void TearDown() override {
        for (const std::string &process : hanging()) {
            kill(std::stoi(process), SIGKILL);
        }
    }

    temporary_folder folder_;
};

TEST_F(brelsys_at_a_stop, a_command_that_hangs_is_left_running_and_told) {
    EXPECT_EQ(status_of([this] {
                  stop_in(200000);
                  testing::internal::CaptureStderr();
                  const int status = hang();
                  const std::string told = testing::internal::GetCapturedStderr();
                  const std::string its_number = "goes on as process " + hanging().at(0) + "\n";
                  return status == 127 && told.ends_with(its_number) ? 0 : 1;
              }),
              0);
    ASSERT_EQ(hanging().size(), 1U);
    EXPECT_FALSE(is_dead(hanging().front()));
}

TEST_F(brelsys_at_a_stop, a_command_that_hangs_is_not_waited_for_when_the_stop_came_before_it) {
    EXPECT_EQ(status_of([this] {
                  stop_libzelt_funcs();
                  return hang() == 127 ? 0 : 1;
              }),
              0);
}

TEST_F(brelsys_at_a_stop, nothing_is_started_behind_a_command_that_hangs) {
    EXPECT_EQ(status_of([this] {
                  stop_in(200000);
                  return hang() == 127 && brelsys("touch %s", folder_.path("late").c_str()) == 127 ? 0 : 1;
              }),
              0);
    EXPECT_FALSE(file_exists(folder_.path("late").c_str()));
}

TEST_F(brelsys_at_a_stop, the_rest_of_a_cycle_still_runs) {
    EXPECT_EQ(status_of([this] {
                  stop_in(100000);
                  const bool slow = brelsys("sleep 0.5; exit 3") == 3;
                  for (int i = 0; i < 12; ++i) {  // as many as bring a link up
                      brelsys("echo x >> %s", folder_.path("done").c_str());
                  }
                  return slow ? 0 : 1;
              }),
              0);
    EXPECT_EQ(content_of(folder_.path("done")).size(), 24U);
}

TEST_F(brelsys_at_a_stop, an_older_kernel_will_do) {
    EXPECT_EQ(status_of([this] {
                  const bool refused = refuse_the_younger_system_calls();
                  const bool works = brelsys("sleep 0.1; exit 3") == 3;
                  stop_in(200000);
                  return refused && works && hang() == 127 ? 0 : 1;
              }),
              0);
}

// --- system(), through which the daemon runs the hook behind a new connection ---

TEST(hook, has_the_status_of_waitpid) {
    const int exited = std::system("exit 3");
    EXPECT_TRUE(WIFEXITED(exited) && WEXITSTATUS(exited) == 3) << exited;
    const int killed = std::system("kill -9 $$");
    EXPECT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == SIGKILL) << killed;
    EXPECT_NE(std::system(nullptr), 0) << "there is a shell";
    EXPECT_TRUE(no_child_is_left());
}

// Whatever a library has opened or ignored.
TEST(hook, gets_no_descriptor_and_no_ignored_signal) {
    const int leaking = open("/dev/null", O_RDONLY);
    const auto old_handler = signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(std::system(("test ! -e /proc/$$/fd/" + std::to_string(leaking)).c_str()), 0);
    // The last four digits: the signals 1 to 16.
    EXPECT_EQ(std::system("grep -q '^SigIgn:.*0000$' /proc/self/status"), 0);
    signal(SIGPIPE, old_handler);
    close(leaking);
}

TEST(hook, an_interrupt_while_it_runs_is_not_lost) {
    for (const int number : {SIGTERM, SIGINT, SIGQUIT}) {
        static volatile sig_atomic_t received;
        received = 0;
        const auto old_handler = signal(number, [](int) { received = 1; });
        const std::string signal_us = "kill -" + std::to_string(number) + " " + std::to_string(getpid());
        EXPECT_EQ(std::system((signal_us + "; sleep 0.1; exit 0").c_str()), 0) << "comes to its end";
        EXPECT_EQ(received, 1) << number;
        signal(number, old_handler);
    }
}

}  // namespace
