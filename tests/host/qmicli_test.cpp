#include "platform/module_access.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include "host/stop.h"
#include "tests/support/environment_variable.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

// A stand-in of the tool, before every other one of that name.
class qmicli : public testing::Test {
protected:
    void tool(const std::string &script) { folder_.write_program("qmicli", script); }

    int ask(int size = sizeof output_) {
        return run_qmicli_and_get_result("--wds-get-current-settings", output_, size);
    }

    void expect_failure(const std::string &script, const char *why) {
        tool(script);
        output_[0] = 'x';
        EXPECT_LT(ask(), 0) << why;
        EXPECT_STREQ(output_, "") << why;
    }

    temporary_folder folder_;
    environment_variable path_{"PATH", folder_.path() + ":/usr/bin:/bin"};
    char output_[512] = "odd";
};

TEST_F(qmicli, the_answer_and_its_length) {
    tool("printf 'IPv4 address: 10.1.2.3\\n      MTU: 1500\\n'");
    EXPECT_EQ(ask(), 39);
    EXPECT_STREQ(output_, "IPv4 address: 10.1.2.3\n      MTU: 1500\n");
}

TEST_F(qmicli, the_arguments_are_split_at_blanks_and_see_no_shell) {
    tool("for a in \"$@\"; do printf '<%s>' \"$a\"; done");
    run_qmicli_and_get_result("  --one  --two=$HOME;ls\t*", output_, sizeof output_);
    EXPECT_STREQ(output_, "<-d></dev/cdc-wdm0><--one><--two=$HOME;ls><*>");
}

TEST_F(qmicli, no_arguments) {
    tool("printf '%d' $#");
    EXPECT_EQ(run_qmicli_and_get_result("", output_, sizeof output_), 1);
    EXPECT_STREQ(output_, "2");
}

TEST_F(qmicli, what_it_says_on_standard_error_is_no_answer) {
    tool("echo warning >&2; echo answer");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ask(), 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "warning\n") << "it is ours, for people to read";
    EXPECT_STREQ(output_, "answer\n");
}

TEST_F(qmicli, an_empty_answer_is_no_failure) {
    tool("true");
    EXPECT_EQ(ask(), 0);
    EXPECT_STREQ(output_, "");
}

TEST_F(qmicli, failures_leave_an_empty_text) {
    expect_failure("echo part; exit 1", "non-zero exit");
    expect_failure("echo part; kill -9 $$", "ended by a signal");
    expect_failure("exec yes", "output without end");
    expect_failure("exec /nonexistent/interpreter 2>/dev/null", "cannot start");
}

TEST_F(qmicli, an_absent_tool_is_a_failure) {
    const environment_variable nowhere("PATH", folder_.path());
    EXPECT_LT(ask(), 0);
    EXPECT_STREQ(output_, "");
}

TEST_F(qmicli, a_file_that_is_no_program_is_a_failure) {
    const environment_variable nowhere("PATH", folder_.path());
    folder_.write("qmicli", "#!/bin/sh\necho answer\n");
    EXPECT_LT(ask(), 0);
}

TEST_F(qmicli, a_long_answer_is_cut_to_the_buffer) {
    tool("head -c 600 /dev/zero | tr '\\0' a");
    EXPECT_EQ(ask(), 511);
    EXPECT_EQ(std::string(output_), std::string(511, 'a'));
}

TEST_F(qmicli, just_fitting_and_one_more) {
    tool("printf 1234567");
    char eight[8] = "";
    EXPECT_EQ(run_qmicli_and_get_result("", eight, 8), 7);
    EXPECT_STREQ(eight, "1234567");
    char seven[7] = "";
    EXPECT_EQ(run_qmicli_and_get_result("", seven, 7), 6);
    EXPECT_STREQ(seven, "123456");
}

TEST_F(qmicli, a_buffer_for_the_end_mark_only) {
    tool("printf answer");
    EXPECT_EQ(ask(1), 0);
    EXPECT_STREQ(output_, "");
}

TEST_F(qmicli, no_buffer_is_a_failure_and_nothing_is_touched) {
    tool("printf answer");
    EXPECT_LT(ask(0), 0);
    EXPECT_LT(ask(-1), 0);
    EXPECT_STREQ(output_, "odd");
    EXPECT_LT(run_qmicli_and_get_result("", nullptr, 10), 0);
}

TEST_F(qmicli, binary_passes_but_for_nul) {
    tool("printf 'a\\000b\\377\\001\\000'");
    EXPECT_EQ(ask(), 4);
    EXPECT_STREQ(output_, "ab\xff\x01");
}

TEST_F(qmicli, a_tool_that_hangs_is_killed_at_its_deadline) {
    expect_failure("echo part; exec sleep 1000", "hangs; its deadline is 10 s");
}

// The stop lasts for the rest of the process: each case needs a fresh one.
class qmicli_stop : public qmicli {
protected:
    void SetUp() override { tool("exec sleep 1000"); }

    bool wait_ends_early() {
        const auto start = std::chrono::steady_clock::now();
        const bool failed = ask() < 0;
        // Half of the tool's deadline.
        const bool early = std::chrono::steady_clock::now() - start < std::chrono::seconds(5);
        return failed && early && stop_requested();
    }
};

// Stands first: the processes below share the descriptor of the stop with this one.
TEST_F(qmicli_stop, nothing_is_stopped_before_anybody_asks) {
    pollfd descriptor = {stop_descriptor(), POLLIN, 0};
    ASSERT_GE(descriptor.fd, 0);
    EXPECT_EQ(poll(&descriptor, 1, 0), 0);
    EXPECT_FALSE(stop_requested());
}

TEST_F(qmicli_stop, a_stop_ends_the_wait_early) {
    other_process process([this] {
        signal(SIGALRM, [](int) { stop_libzelt_funcs(); });
        const itimerval in_200_ms = {{0, 0}, {0, 200000}};
        setitimer(ITIMER_REAL, &in_200_ms, nullptr);
        return wait_ends_early() ? 0 : 1;
    });
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(qmicli_stop, after_a_stop_nothing_waits_any_more) {
    other_process process([this] {
        stop_libzelt_funcs();
        stop_libzelt_funcs();
        return wait_ends_early() ? 0 : 1;
    });
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(qmicli_stop, errno_of_the_interrupted_code_survives) {
    other_process process([] {
        errno = 4711;
        stop_libzelt_funcs();
        return errno == 4711 ? 0 : 1;
    });
    EXPECT_EQ(process.wait(), 0);
}

}  // namespace
