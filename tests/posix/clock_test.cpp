#include "posix/clock.h"

#include <ctime>
#include <fstream>

#include <gtest/gtest.h>

namespace {

TEST(clock, utc_in_iso_8601_with_milliseconds) {
    EXPECT_EQ(utc_text(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(utc_text(1769860800.25), "2026-01-31T12:00:00.250Z");
    EXPECT_EQ(utc_text(951782399.5), "2000-02-28T23:59:59.500Z");
}

TEST(clock, boot_was_as_long_ago_as_the_kernel_says) {
    double uptime = 0;
    std::ifstream("/proc/uptime") >> uptime;
    const auto now = static_cast<double>(seconds_since_boot());
    EXPECT_GE(now, uptime - 1);
    EXPECT_LE(now, uptime + 60);
}

TEST(clock, time_of_day_is_the_c_library_s) {
    const auto before = static_cast<double>(std::time(nullptr));
    EXPECT_GE(seconds_since_1970(), before);
    EXPECT_LE(seconds_since_1970(), before + 60);
}

}  // namespace
