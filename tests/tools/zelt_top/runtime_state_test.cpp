#include "tools/zelt_top/runtime_state.h"

#include <ctime>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace view;
using namespace zelt_top;

class files_of_the_daemon : public testing::Test {
protected:
    static void write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }

    temporary_folder folder_;
    runtime_files files_ = {folder_.path("pid"), folder_.path("running"), folder_.path("change"),
                            folder_.path("module")};
};

pid_t process_that_has_gone() {
    other_process process([] { return 0; });
    const pid_t pid = process.pid();
    process.wait();
    return pid;
}

TEST_F(files_of_the_daemon, nothing_there) {
    const runtime_state around = read_runtime_state(files_);
    EXPECT_EQ(around.daemon, runtime_state::process::no_pid_file);
    EXPECT_TRUE(around.paused);
    EXPECT_FALSE(around.module_present);
    EXPECT_FALSE(around.seconds_since_link_change);
}

TEST_F(files_of_the_daemon, everything_there) {
    write(files_.pid_file, std::to_string(getpid()) + "\n");
    write(files_.running, "");
    write(files_.module_device, "");
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    ASSERT_GT(now.tv_sec, 10);
    write(files_.link_change, std::to_string(now.tv_sec - 10));
    const runtime_state around = read_runtime_state(files_);
    EXPECT_EQ(around.daemon, runtime_state::process::running);
    EXPECT_FALSE(around.paused);
    EXPECT_TRUE(around.module_present);
    ASSERT_TRUE(around.seconds_since_link_change);
    EXPECT_GE(*around.seconds_since_link_change, 10);
}

TEST_F(files_of_the_daemon, pid_file_that_names_no_process) {
    struct row {
        const char *why;
        std::string content;
    };
    const row rows[] = {
        {"ended without removing it", std::to_string(process_that_has_gone())},
        {"empty", ""},
        {"no number", "zelt"},
        {"0 would be our own group", "0"},
        {"-1 would be everybody", "-1"},
        {"beyond every process", "99999999999999999999"},
    };
    for (const row &one : rows) {
        write(files_.pid_file, one.content);
        EXPECT_EQ(read_runtime_state(files_).daemon, runtime_state::process::gone) << one.why;
    }
}

TEST_F(files_of_the_daemon, link_change_that_cannot_be) {
    struct row {
        const char *why;
        const char *content;
    };
    for (const row &one : {row{"empty", ""}, row{"no number", "soon"}, row{"of another boot", "4294967295"}}) {
        write(files_.link_change, one.content);
        EXPECT_FALSE(read_runtime_state(files_).seconds_since_link_change) << one.why;
    }
}

}  // namespace
