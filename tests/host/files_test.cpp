#include "platform/device_utils.h"

#include <csignal>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

class files : public testing::Test {
protected:
    std::string path(const char *name) const { return folder_.path(name); }
    temporary_folder folder_;
};

TEST_F(files, write_creates_without_a_newline) {
    EXPECT_EQ(write_str_to_file(path("new").c_str(), "wwan0"), 0);
    EXPECT_EQ(content_of(path("new")), "wwan0");
}

TEST_F(files, write_replaces_a_longer_content) {
    folder_.write("old", "255.255.255.252");
    EXPECT_EQ(write_str_to_file(path("old").c_str(), "1"), 0);
    EXPECT_EQ(content_of(path("old")), "1");
}

TEST_F(files, write_of_an_empty_text_leaves_an_empty_file) {
    folder_.write("old", "10.0.0.1");
    EXPECT_EQ(write_str_to_file(path("old").c_str(), ""), 0);
    EXPECT_TRUE(file_exists(path("old").c_str()));
    EXPECT_EQ(content_of(path("old")), "");
}

class umask_of_the_parent {
public:
    explicit umask_of_the_parent(mode_t mask) : old_(umask(mask)) {}
    ~umask_of_the_parent() { umask(old_); }
    umask_of_the_parent(const umask_of_the_parent &) = delete;
    umask_of_the_parent &operator=(const umask_of_the_parent &) = delete;

private:
    mode_t old_;
};

mode_t mode_of(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

TEST_F(files, new_files_are_readable_by_all_and_writable_by_us_whatever_the_umask) {
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        const umask_of_the_parent umask(mask);
        EXPECT_EQ(write_str_to_file(path("text").c_str(), "1"), 0);
        EXPECT_EQ(create_empty_file(path("lock").c_str()), 0);
        EXPECT_EQ(create_pidfile(path("pid").c_str()), 0);
        for (const char *name : {"text", "lock", "pid"}) {
            EXPECT_EQ(mode_of(path(name)), 0644U) << name << " under " << std::oct << mask;
            delete_file(path(name).c_str());
        }
    }
}

TEST_F(files, a_file_that_stands_there_keeps_its_mode) {
    for (const mode_t mode : {0600U, 0666U}) {
        folder_.write("theirs", "secret");
        ASSERT_EQ(chmod(path("theirs").c_str(), mode), 0);
        EXPECT_EQ(write_str_to_file(path("theirs").c_str(), "1"), 0);
        EXPECT_EQ(create_empty_file(path("theirs").c_str()), 0);
        EXPECT_EQ(mode_of(path("theirs")), mode);
        EXPECT_EQ(content_of(path("theirs")), "1");
    }
}

TEST_F(files, write_into_a_kernel_file_works) {
    // Replacing by rename would fail there.
    EXPECT_EQ(write_str_to_file("/proc/self/comm", "zelt-comm"), 0);
    EXPECT_EQ(content_of("/proc/self/comm"), "zelt-comm\n");
}

TEST_F(files, write_to_a_full_disk_is_an_error) {
    EXPECT_NE(write_str_to_file("/dev/full", "10.0.0.1"), 0);
}

TEST_F(files, write_cut_short_is_an_error_and_removes_nothing) {
    // The process's files hold at most 4 bytes then: the first write is a short one, the second fails.
    other_process process([this] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit four_bytes = {4, 4};
        setrlimit(RLIMIT_FSIZE, &four_bytes);
        return write_str_to_file(path("cut").c_str(), "10.0.0.1") != 0 ? 0 : 1;
    });
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(content_of(path("cut")), "10.0");
}

TEST_F(files, write_into_a_missing_folder_is_an_error) {
    EXPECT_NE(write_str_to_file(path("absent/file").c_str(), "x"), 0);
    EXPECT_FALSE(file_exists(path("absent").c_str()));
}

TEST_F(files, write_onto_a_folder_is_an_error) {
    EXPECT_NE(write_str_to_file(path("").c_str(), "x"), 0);
}

TEST_F(files, write_does_not_follow_a_link) {
    folder_.write("victim", "precious");
    ASSERT_EQ(symlink(path("victim").c_str(), path("link").c_str()), 0);
    EXPECT_NE(write_str_to_file(path("link").c_str(), "x"), 0);
    EXPECT_EQ(content_of(path("victim")), "precious");
}

TEST_F(files, write_does_not_wait_for_the_reader_of_a_fifo) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_NE(write_str_to_file(path("fifo").c_str(), "x"), 0);
}

TEST_F(files, write_does_not_wait_for_room_in_a_fifo) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    const descriptor reader(open(path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_NE(write_str_to_file(path("fifo").c_str(), std::string(1000000, 'x').c_str()), 0);
}

TEST_F(files, pidfile_holds_the_process_id_and_replaces_an_older_one) {
    folder_.write("pid", "123456789012345");
    EXPECT_EQ(create_pidfile(path("pid").c_str()), 0);
    EXPECT_EQ(content_of(path("pid")), std::to_string(getpid()));
}

// Waits to be killed.
int linger() {
    for (;;) {
        pause();
    }
}

void end_but_stay_a_zombie(const other_process &process) {
    process.signal(SIGKILL);
    ASSERT_TRUE(becomes_true([&] { return process.has_ended(); }));
}

std::string id_of(const other_process &process) {
    return std::to_string(process.pid());
}

TEST_F(files, pidfile_of_a_running_instance_stays_and_is_told) {
    const other_process first(linger);
    folder_.write("pid", id_of(first));
    testing::internal::CaptureStderr();
    EXPECT_NE(create_pidfile(path("pid").c_str()), 0);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("runs already as process " + id_of(first)), std::string::npos) << said;
    EXPECT_EQ(content_of(path("pid")), id_of(first));
    EXPECT_NE(delete_file(path("pid").c_str()), 0) << "the one who was refused gives up, and tidies up";
    EXPECT_EQ(content_of(path("pid")), id_of(first));
    end_but_stay_a_zombie(first);
    EXPECT_EQ(delete_file(path("pid").c_str()), 0);
    EXPECT_FALSE(file_exists(path("pid").c_str()));
}

TEST_F(files, pidfile_that_names_no_running_instance_is_replaced) {
    const other_process another_program([] { return become({"sleep", "1000"}); });
    const other_process dead(linger);
    end_but_stay_a_zombie(dead);
    ASSERT_TRUE(becomes_true([&] { return content_of("/proc/" + id_of(another_program) + "/comm") == "sleep\n"; }));
    struct row {
        const char *why;
        std::string content;
    };
    const row rows[] = {
        {"its process has ended", id_of(dead)},
        {"the number went to another program", id_of(another_program)},
        {"our own, as after an exec", std::to_string(getpid())},
        {"nothing", ""},
        {"no number", "self"},
        {"no number at its end", id_of(another_program) + " x"},
        {"no process", "0"},
        {"no process ever", "99999999999999999999"},
    };
    for (const row &r : rows) {
        folder_.write("pid", r.content);
        EXPECT_EQ(create_pidfile(path("pid").c_str()), 0) << r.why;
        EXPECT_EQ(content_of(path("pid")), std::to_string(getpid())) << r.why;
    }
}

TEST_F(files, pidfile_that_another_program_ended_with_a_newline_is_understood) {
    const other_process first(linger);
    folder_.write("pid", id_of(first) + "\n");
    EXPECT_NE(create_pidfile(path("pid").c_str()), 0);
}

TEST_F(files, pidfile_in_a_missing_folder_is_an_error) {
    EXPECT_NE(create_pidfile(path("absent/pid").c_str()), 0);
}

TEST_F(files, empty_file_is_created) {
    EXPECT_EQ(create_empty_file(path("lock").c_str()), 0);
    EXPECT_TRUE(file_exists(path("lock").c_str()));
    EXPECT_EQ(content_of(path("lock")), "");
}

TEST_F(files, empty_file_leaves_an_existing_one_alone) {
    folder_.write("lock", "owner");
    EXPECT_EQ(create_empty_file(path("lock").c_str()), 0);
    EXPECT_EQ(content_of(path("lock")), "owner");
}

TEST_F(files, empty_file_does_not_create_the_target_of_a_link) {
    ASSERT_EQ(symlink(path("target").c_str(), path("link").c_str()), 0);
    create_empty_file(path("link").c_str());
    EXPECT_FALSE(file_exists(path("target").c_str()));
}

TEST_F(files, empty_file_in_a_missing_folder_is_an_error) {
    EXPECT_NE(create_empty_file(path("absent/lock").c_str()), 0);
}

TEST_F(files, delete_removes_a_file) {
    folder_.write("old", "x");
    EXPECT_EQ(delete_file(path("old").c_str()), 0);
    EXPECT_FALSE(file_exists(path("old").c_str()));
}

TEST_F(files, delete_of_a_missing_file_is_no_error) {
    EXPECT_EQ(delete_file(path("absent").c_str()), 0);
}

TEST_F(files, delete_of_a_folder_fails_and_leaves_it) {
    ASSERT_EQ(mkdir(path("sub").c_str(), 0700), 0);
    EXPECT_NE(delete_file(path("sub").c_str()), 0);
    EXPECT_TRUE(file_exists(path("sub").c_str()));
}

TEST_F(files, delete_of_a_link_leaves_its_target) {
    folder_.write("target", "x");
    ASSERT_EQ(symlink(path("target").c_str(), path("link").c_str()), 0);
    EXPECT_EQ(delete_file(path("link").c_str()), 0);
    EXPECT_TRUE(file_exists(path("target").c_str()));
}

TEST_F(files, exists_is_true_for_folders_and_devices_too) {
    EXPECT_TRUE(file_exists(path("").c_str()));
    EXPECT_TRUE(file_exists("/dev/null"));
    EXPECT_FALSE(file_exists(path("absent").c_str()));
}

TEST(fwtime_s, counts_the_seconds_since_boot) {
    // /proc/uptime: "12345.67 54321.00", the first number on the same clock.
    const auto before = static_cast<std::uint32_t>(std::stod(content_of("/proc/uptime")));
    const std::uint32_t now = fwtime_s(0);
    const auto after = static_cast<std::uint32_t>(std::stod(content_of("/proc/uptime")));
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
}

}  // namespace
