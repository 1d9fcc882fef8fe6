#include "sim/outside/box.h"

#include <algorithm>
#include <span>

#include <gmock/gmock.h>

namespace {

bool holds(const std::vector<std::string> &words, const std::vector<std::string> &part) {
    return std::search(words.begin(), words.end(), part.begin(), part.end()) != words.end();
}

}  // namespace

TEST(box_command, is_private_but_for_the_read_only_host) {
    const auto words = box_command({{}, {"/usr/bin/true"}});
    EXPECT_TRUE(holds(words, {"--ro-bind", "/", "/"}));
    EXPECT_TRUE(holds(words, {"--dev", "/dev"}));
    EXPECT_TRUE(holds(words, {"--tmpfs", "/tmp"}));
    EXPECT_TRUE(holds(words, {"--tmpfs", "/run"}));
    for (const char *word : {"--unshare-net", "--unshare-pid", "--unshare-ipc", "--unshare-uts", "--die-with-parent"}) {
        EXPECT_TRUE(holds(words, {word})) << word;
    }
    EXPECT_EQ(std::ranges::count(words, "--bind"), 1) << "nothing of the host may be written";
    EXPECT_TRUE(holds(words, {"--bind", "/proc/sys/net"}));
    EXPECT_LT(std::ranges::find(words, "--proc"), std::ranges::find(words, "--remount-ro"));
}

TEST(box_command, shows_what_lies_below_a_replaced_folder) {
    const auto words = box_command({{"/tmp/build", "/home/me/build", "/run/x"}, {"true"}});
    EXPECT_TRUE(holds(words, {"--ro-bind", "/tmp/build", "/tmp/build"}));
    EXPECT_TRUE(holds(words, {"--ro-bind", "/run/x", "/run/x"}));
    EXPECT_FALSE(holds(words, {"/home/me/build"}));
    EXPECT_LT(std::ranges::find(words, "/tmp"), std::ranges::find(words, "/tmp/build"))
        << "bound after the folder above it was replaced";
}

TEST(box_command, leaves_the_terminal_unless_something_in_it_needs_one) {
    EXPECT_TRUE(holds(box_command({{}, {"true"}}), {"--new-session"}));
    EXPECT_FALSE(holds(box_command({.visible = {}, .command = {"true"}, .uses_terminal = true}), {"--new-session"}));
}

TEST(box_command, the_command_stands_last) {
    const auto words = box_command({{}, {"program", "--quiet"}});
    EXPECT_TRUE(std::ranges::equal(std::vector<std::string>{"--", "program", "--quiet"}, std::span(words).last(3)));
}

TEST(box_command, a_device_gets_its_name_after_the_folder_was_replaced) {
    const auto words = box_command({{}, {"true"}, {{"/dev/ttyUSB2", "/dev/ttyQSB3"}}});
    EXPECT_TRUE(holds(words, {"--dev-bind", "/dev/ttyUSB2", "/dev/ttyQSB3"}));
    EXPECT_LT(std::ranges::find(words, "--dev"), std::ranges::find(words, "--dev-bind"));
}
