#include "posix/device_holders.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/device_user.h"
#include "tests/support/other_process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(device_holders, are_named_as_long_as_they_have_it_open) {
    const pseudo_terminal line;
    device_user first(line.name());
    device_user second(line.name(), "tail", "-f");
    const std::vector<device_holder> found = holders_of_device(line.name());
    EXPECT_EQ(found.size(), 2U);
    EXPECT_THAT(in_words(found), AllOf(HasSubstr("sleep, process " + std::to_string(first.pid())), HasSubstr("; "),
                                       HasSubstr("tail, process " + std::to_string(second.pid()))));
    first.end();
    second.end();
    EXPECT_THAT(holders_of_device(line.name()), IsEmpty());
}

TEST(device_holders, are_found_behind_another_name_of_the_device) {
    const pseudo_terminal line;
    const device_user user(line.name());
    const temporary_folder folder;
    const std::string link = folder.path("port");
    std::filesystem::create_symlink(line.name(), link);
    EXPECT_EQ(holders_of_device(link).size(), 1U);
}

TEST(device_holders, is_not_who_asks) {
    const pseudo_terminal line;
    ASSERT_GE(line.slave(), 0);
    EXPECT_THAT(holders_of_device(line.name()), IsEmpty());
}

TEST(device_holders, is_not_who_plays_the_device) {
    const pseudo_terminal line;
    const pseudo_terminal another;
    notice ready;
    const other_process player([&] {
        close(another.master());
        ready.give();
        return pause();
    });
    ready.await();
    EXPECT_THAT(holders_of_device(line.name()), IsEmpty()) << "has both ends";
    EXPECT_EQ(holders_of_device(another.name()).size(), 1U) << "has one end, and both of another line";
}

TEST(device_holders, has_none_where_there_is_no_device) {
    const temporary_folder folder;
    for (const std::string &path :
         {std::string("/nowhere/port"), folder.write("plain", ""), std::string("/dev/null")}) {
        EXPECT_THAT(holders_of_device(path), IsEmpty()) << path;
    }
}

}  // namespace
