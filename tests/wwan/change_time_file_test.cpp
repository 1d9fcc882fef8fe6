// The file with the time of the last change, in a "/tmp" that other users write too.
#include "wwan/connection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/private_folders.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";
constexpr const char *TARGET = "/tmp/of_the_system";

class change_time_file : public private_folders {
protected:
    void SetUp() override {
        private_folders::SetUp();
        std::ofstream(TARGET) << "precious";
    }

    static void put(const std::string &text) { std::ofstream(TIME_FILE) << text; }

    static void expect_unusable() {
        unsigned int time = 42;
        EXPECT_EQ(read_last_connect_change_time(&time), -1);
        EXPECT_EQ(time, 42U);
        EXPECT_EQ(write_last_connect_change_time(7), -1);
    }

    static mode_t mode() {
        struct stat status = {};
        EXPECT_EQ(lstat(TIME_FILE, &status), 0);
        return status.st_mode;
    }
};

TEST_F(change_time_file, is_written_over_and_read_back) {
    put("a longer text than the number");
    EXPECT_EQ(write_last_connect_change_time(4294967295U), 0);
    EXPECT_EQ(content_of(TIME_FILE), "4294967295");
    unsigned int time = 0;
    EXPECT_EQ(read_last_connect_change_time(&time), 0);
    EXPECT_EQ(time, 4294967295U);
}

TEST_F(change_time_file, number_behind_many_blanks_is_found) {
    put(std::string(100000, ' ') + "\n\t\v\f\r1600 s");
    unsigned int time = 0;
    EXPECT_EQ(read_last_connect_change_time(&time), 0);
    EXPECT_EQ(time, 1600U);
}

TEST_F(change_time_file, of_blanks_alone_holds_no_number) {
    put(std::string(1000, ' '));
    unsigned int time = 42;
    EXPECT_EQ(read_last_connect_change_time(&time), -1);
    EXPECT_EQ(time, 42U);
}

TEST_F(change_time_file, symbolic_link_is_not_followed) {
    ASSERT_EQ(symlink(TARGET, TIME_FILE), 0);
    expect_unusable();
    EXPECT_EQ(content_of(TARGET), "precious");
}

TEST_F(change_time_file, dangling_link_makes_no_file) {
    ASSERT_EQ(symlink("/tmp/nothing", TIME_FILE), 0);
    expect_unusable();
    EXPECT_NE(access("/tmp/nothing", F_OK), 0);
}

TEST_F(change_time_file, second_name_of_another_file_is_left_alone) {
    ASSERT_EQ(link(TARGET, TIME_FILE), 0);
    expect_unusable();
    EXPECT_EQ(content_of(TARGET), "precious");
}

// Without the guard this waits for ever: the time limit of the test is the judge.
TEST_F(change_time_file, fifo_that_nobody_serves_is_not_waited_for) {
    ASSERT_EQ(mkfifo(TIME_FILE, 0666), 0);
    expect_unusable();
}

TEST_F(change_time_file, fifo_with_a_reader_gets_nothing) {
    ASSERT_EQ(mkfifo(TIME_FILE, 0666), 0);
    const int reader = open(TIME_FILE, O_RDONLY | O_NONBLOCK);
    expect_unusable();
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "no writer, no byte";
    close(reader);
}

TEST_F(change_time_file, folder_is_unusable) {
    ASSERT_EQ(mkdir(TIME_FILE, 0777), 0);
    expect_unusable();
}

TEST_F(change_time_file, is_readable_by_all_whatever_the_umask) {
    for (const mode_t mask : {0077U, 0000U, 0777U}) {
        SCOPED_TRACE(mask);
        unlink(TIME_FILE);
        const mode_t earlier = umask(mask);
        EXPECT_EQ(write_last_connect_change_time(1), 0);
        umask(earlier);
        EXPECT_EQ(mode(), static_cast<mode_t>(S_IFREG | 0644));
    }
}

}  // namespace
