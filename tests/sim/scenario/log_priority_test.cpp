#include "sim/scenario/log_priority.h"

#include <gtest/gtest.h>

TEST(is_priority_name, knows_facilities_and_levels) {
    EXPECT_TRUE(is_priority_name("local0.alert"));
    EXPECT_TRUE(is_priority_name("daemon.debug"));
    for (const char *name : {"", "alert", "local0", "local0.", ".alert", "local8.alert", "local0.loud"}) {
        EXPECT_FALSE(is_priority_name(name)) << name;
    }
}
