#include "host/say_once.h"

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"

namespace {

TEST(say_once, says_each_message_once) {
    testing::internal::CaptureStderr();
    say_once("one");
    say_once("two");
    say_once("one");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\ntwo\n");
}

TEST(say, shows_what_could_steer_a_terminal) {
    testing::internal::CaptureStderr();
    say("key \x1b]0;title\x07 \xc2\x9b"
        "31m");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "key \\x1B]0;title\\x07 \\xC2\\x9B31m\n");
}

TEST(say, does_not_wait_for_who_does_not_read) {
    pipe_ends full;
    fcntl(full.write_end.get(), F_SETFL, O_NONBLOCK);
    const std::string page(4096, 'x');
    while (write(full.write_end.get(), page.data(), page.size()) > 0) {
    }
    fcntl(full.write_end.get(), F_SETFL, 0);
    other_process process([&] {
        dup2(full.write_end.get(), STDERR_FILENO);
        say(std::string(100000, 'y'));
        return 0;
    });
    EXPECT_TRUE(becomes_true([&] { return process.has_ended(); })) << "hangs";
}

}  // namespace
