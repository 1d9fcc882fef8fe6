#include "posix/failure.h"

#include <cerrno>
#include <system_error>

#include <gtest/gtest.h>

namespace {

TEST(failure, carries_errno_and_what_failed) {
    errno = ENOENT;
    EXPECT_NO_THROW(throw_unless(true, "all is fine"));
    try {
        throw_unless(false, "pseudo-terminal");
        FAIL() << "nothing thrown";
    } catch (const std::system_error &e) {
        EXPECT_EQ(e.code(), std::errc::no_such_file_or_directory);
        EXPECT_STREQ(e.what(), "pseudo-terminal: No such file or directory");
    }
}

}  // namespace
