#include "tools/zelt_top/runtime_state.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/device_user.h"
#include "tests/support/other_process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace view;
using namespace zelt_top;

class files_of_the_daemon : public testing::Test {
protected:
    static void write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }

    temporary_folder folder_;
    runtime_files files_ = {folder_.path("pid"),    folder_.path("running"), folder_.path("change"),
                            folder_.path("module"), folder_.path("lock"),    folder_.path("in_box")};
};

pid_t process_that_has_gone() {
    other_process process([] { return 0; });
    const pid_t pid = process.pid();
    process.wait();
    return pid;
}

TEST_F(files_of_the_daemon, nothing_there) {
    const runtime_state around = read_runtime_state(files_, false);
    EXPECT_EQ(around.daemon, runtime_state::process::no_pid_file);
    EXPECT_TRUE(around.paused);
    EXPECT_FALSE(around.module_present);
    EXPECT_FALSE(around.seconds_since_link_change);
    EXPECT_FALSE(around.seconds_locked);
    EXPECT_EQ(around.holder, "");
    EXPECT_FALSE(around.module_in_box);
}

TEST_F(files_of_the_daemon, everything_there) {
    write(files_.pid_file, std::to_string(getpid()) + "\n");
    write(files_.running, "");
    write(files_.module_device, "");
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    ASSERT_GT(now.tv_sec, 10);
    write(files_.link_change, std::to_string(now.tv_sec - 10));
    const runtime_state around = read_runtime_state(files_, false);
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
        EXPECT_EQ(read_runtime_state(files_, false).daemon, runtime_state::process::gone) << one.why;
    }
}

// "/tmp" belongs to everybody. Waited for, it would hang: the time limit of the test is the judge.
TEST_F(files_of_the_daemon, fifo_in_their_place_is_not_waited_for) {
    for (const std::string &file : {files_.pid_file, files_.link_change}) {
        ASSERT_EQ(mkfifo(file.c_str(), 0666), 0);
    }
    const runtime_state state = read_runtime_state(files_, false);
    EXPECT_EQ(state.daemon, runtime_state::process::gone);
    EXPECT_FALSE(state.seconds_since_link_change);
}

TEST_F(files_of_the_daemon, lock_has_the_age_of_its_file) {
    write(files_.lock, "");
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(files_.lock, now - std::chrono::seconds(120));
    const std::optional<double> locked = read_runtime_state(files_, false).seconds_locked;
    ASSERT_TRUE(locked);
    EXPECT_GE(*locked, 119);
    EXPECT_LT(*locked, 180);
    for (const auto shift : {std::chrono::hours(24 * 365), std::chrono::hours(-24 * 365)}) {
        std::filesystem::last_write_time(files_.lock, now + shift);
        EXPECT_FALSE(read_runtime_state(files_, false).seconds_locked) << "the clock was set since";
    }
}

TEST_F(files_of_the_daemon, program_that_has_the_port_open_is_named_in_trouble) {
    const pseudo_terminal port;
    std::filesystem::create_symlink(port.name(), files_.module_device);
    const device_user user(port.name());
    const std::string expected = "sleep, process " + std::to_string(user.pid());
    EXPECT_EQ(read_runtime_state(files_, true).holder, expected);
    EXPECT_EQ(read_runtime_state(files_, false).holder, "") << "nobody asks while all is well";

    write(files_.lock, "");
    EXPECT_EQ(read_runtime_state(files_, false).holder, "") << "an exchange of the daemon";
    std::filesystem::last_write_time(files_.lock,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::seconds(60));
    EXPECT_EQ(read_runtime_state(files_, false).holder, expected);

    write(files_.pid_file, std::to_string(user.pid()));
    EXPECT_EQ(read_runtime_state(files_, true).holder, "") << "the daemon is no other program";
}

TEST_F(files_of_the_daemon, plain_file_in_the_ports_place_has_no_holder) {
    write(files_.module_device, "");
    EXPECT_EQ(read_runtime_state(files_, true).holder, "");
}

TEST_F(files_of_the_daemon, link_change_that_cannot_be) {
    struct row {
        const char *why;
        const char *content;
    };
    for (const row &one : {row{"empty", ""}, row{"no number", "soon"}, row{"of another boot", "4294967295"}}) {
        write(files_.link_change, one.content);
        EXPECT_FALSE(read_runtime_state(files_, false).seconds_since_link_change) << one.why;
    }
}

}  // namespace
