// What a parent may leave to a program, and what the program makes of it. With a program of its own: all of it happens
// before main.
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <sys/wait.h>

#include "tests/support/temporary_folder.h"

namespace {

using testing::HasSubstr;

class start : public testing::Test {
protected:
    // Runs the program by a shell command line that begins and ends so. Its exit status.
    int run(const std::string &prefix, const std::string &redirections) {
        const std::string line = prefix + " " STARTED_PROGRAM " " + file_ + " " + redirections;
        const int status = std::system(line.c_str());
        report_ = content_of(file_);
        return WEXITSTATUS(status);
    }

    // A set such as "SigIgn" of the program.
    bool holds(const std::string &set, int signal_number) const {
        std::istringstream after(report_.substr(report_.find(set + ":") + set.size() + 1));
        unsigned long long signals = 0;
        after >> std::hex >> signals;
        return ((signals >> (signal_number - 1)) & 1U) != 0;
    }

    temporary_folder folder_;
    std::string file_ = folder_.path("report");
    std::string report_;
};

TEST_F(start, no_file_becomes_a_standard_stream) {
    struct row {
        const char *why;
        const char *redirections;
        int status;
    };
    const row rows[] = {
        {"all open", ">/dev/null", 0},
        {"no input", ">/dev/null <&-", 0},
        {"no place for messages", ">/dev/null 2>&-", 0},
        {"nothing at all: what is written to a closed output stays lost", "<&- >&- 2>&-", 1},
    };
    for (const row &r : rows) {
        EXPECT_EQ(run("", r.redirections), r.status) << r.why;
        EXPECT_THAT(report_, HasSubstr("first above the standard ones\n")) << r.why;
    }
}

// A child that ended in vain would have no status: every command would seem to fail.
TEST_F(start, an_ignored_end_of_children_is_heard_again) {
    EXPECT_EQ(run("env --ignore-signal=CHLD --ignore-signal=HUP", ">/dev/null"), 0);
    EXPECT_FALSE(holds("SigIgn", SIGCHLD)) << report_;
    EXPECT_TRUE(holds("SigIgn", SIGHUP)) << "as nohup left it";
}

TEST_F(start, no_signal_stays_blocked) {
    EXPECT_EQ(run("env --block-signal", ">/dev/null"), 0);
    EXPECT_THAT(report_, HasSubstr("SigBlk:\t0000000000000000\n"));
}

TEST_F(start, a_broken_pipe_is_an_error_of_the_write) {
    const std::string pipe = folder_.path("pipe");
    EXPECT_EQ(run("mkfifo " + pipe + "; exec 3<>" + pipe + " >" + pipe + " 3<&-; exec", ""), 1);
    for (const char *prefix : {"", "env --ignore-signal=PIPE"}) {
        run(prefix, ">/dev/null");
        EXPECT_TRUE(holds("SigCgt", SIGPIPE)) << "what is caught is not inherited: " << prefix << report_;
    }
}

}  // namespace
