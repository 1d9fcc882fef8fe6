// What platform/device_utils.h promises. Its texts are tested in tests/host/utilities: both platforms compile the same.
#include "platform/device_utils.h"

#include <cerrno>

#include <unistd.h>

#include "tests/contract/world.h"

namespace {

using device_files = contract;

TEST_F(device_files, a_pid_file_holds_the_process_id_and_replaces_an_older_file) {
    const std::string path = world_.path("pid");
    EXPECT_EQ(create_pidfile(path.c_str()), 0);
    EXPECT_EQ(world_.content(path), std::to_string(getpid()));
    world_.write(path, "an older and longer content");
    EXPECT_EQ(create_pidfile(path.c_str()), 0);
    EXPECT_EQ(world_.content(path), std::to_string(getpid()));
}

TEST_F(device_files, an_empty_file_is_made_where_none_was) {
    const std::string path = world_.path("lock");
    EXPECT_EQ(create_empty_file(path.c_str()), 0);
    EXPECT_EQ(world_.content(path), "");
}

TEST_F(device_files, an_existing_file_is_left_as_it_is) {
    const std::string path = world_.path("lock");
    world_.write(path, "somebody's");
    EXPECT_EQ(create_empty_file(path.c_str()), 0);
    EXPECT_EQ(world_.content(path), "somebody's");
}

TEST_F(device_files, deleting_removes_a_file_and_a_missing_one_is_no_error) {
    const std::string path = world_.path("file");
    world_.write(path, "text");
    EXPECT_EQ(delete_file(path.c_str()), 0);
    EXPECT_EQ(world_.content(path), std::nullopt);
    EXPECT_EQ(delete_file(path.c_str()), 0);
}

TEST_F(device_files, a_file_exists_while_it_is_there) {
    const std::string path = world_.path("file");
    EXPECT_FALSE(file_exists(path.c_str()));
    world_.write(path, "");
    EXPECT_TRUE(file_exists(path.c_str()));
    delete_file(path.c_str());
    EXPECT_FALSE(file_exists(path.c_str()));
}

TEST_F(device_files, writing_creates_or_replaces_and_adds_no_newline) {
    const std::string path = world_.path("file");
    EXPECT_EQ(write_str_to_file(path.c_str(), "255.255.255.252"), 0);
    EXPECT_EQ(world_.content(path), "255.255.255.252");
    EXPECT_EQ(write_str_to_file(path.c_str(), "30"), 0);
    EXPECT_EQ(world_.content(path), "30");
    EXPECT_EQ(write_str_to_file(path.c_str(), ""), 0);
    EXPECT_EQ(world_.content(path), "");
}

class device_network : public contract {
protected:
    void SetUp() override {
        if (!world_.make_network()) {
            GTEST_SKIP() << "the kernel forbids private networks here: run as root or allow user namespaces";
        }
    }

    char address_[16] = "odd";
};

TEST_F(device_network, the_address_of_an_interface) {
    world_.give_address("192.168.100.200");
    EXPECT_EQ(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "192.168.100.200");
}

TEST_F(device_network, without_an_address_the_text_is_left_as_it_was) {
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "odd");
}

TEST_F(device_network, another_interface_has_no_address) {
    world_.give_address("10.1.2.3");
    for (const char *name : {"wwan1", "wwan", ""}) {
        EXPECT_NE(check_interface_ip(name, address_), 0) << name;
    }
    EXPECT_STREQ(address_, "odd");
}

TEST_F(device_network, an_interface_goes_up_and_down_and_stays_so) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ip_link_set_interface_up("wwan0"), 0);
        EXPECT_TRUE(world_.is_up());
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ip_link_set_interface_down("wwan0"), 0);
        EXPECT_FALSE(world_.is_up());
    }
}

TEST_F(device_network, an_interface_that_is_not_there_is_an_errno_value) {
    EXPECT_EQ(ip_link_set_interface_up("absent0"), ENODEV);
    EXPECT_EQ(ip_link_set_interface_down("absent0"), ENODEV);
}

using device_commands = contract;

TEST_F(device_commands, the_status_is_the_shells) {
    struct row {
        const char *why;
        const char *command;
        int status;
    };
    static constexpr row ROWS[] = {
        {"success", "true", 0},
        {"failure", "exit 3", 3},
        {"the highest", "exit 255", 255},
        {"no such command", "no-such-command 2>/dev/null", 127},
        {"ended by a signal", "kill -9 $$", 128 + 9},
        {"by another one", "kill -15 $$", 128 + 15},
    };
    for (const row &each : ROWS) {
        world_.command_ends_with(each.command, each.status);
        EXPECT_EQ(brelsys("%s", each.command), each.status) << each.why;
    }
}

TEST_F(device_commands, the_line_is_formatted_and_of_any_length) {
    world_.command_ends_with("exit 42", 42);
    EXPECT_EQ(brelsys("exit %d%c", 4, '2'), 42);
    world_.command_ends_with(std::string(5000, ' ') + "exit 7", 7);
    EXPECT_EQ(brelsys("%5006s", "exit 7"), 7);
}

using device_clock = contract;

TEST_F(device_clock, never_steps_back) {
    const std::uint32_t before = fwtime_s(0);
    EXPECT_GE(fwtime_s(0), before);
}

}  // namespace
