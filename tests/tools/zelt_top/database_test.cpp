#include "tools/zelt_top/database.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/store/store_fixture.h"

namespace {

using namespace view;
using namespace zelt_top;
using testing::HasSubstr;

using live_database = store_test;

TEST_F(live_database, cut_short_while_it_is_open_and_made_anew) {
    other_puts({{"CELL_RSRP", -95}});
    database source(directory_);
    ASSERT_TRUE(source.read().cell);
    std::filesystem::resize_file(file("data.mdb"), 8192);
    const reading damaged = source.read();
    EXPECT_FALSE(damaged.cell);
    EXPECT_THAT(damaged.problem, HasSubstr("Database not readable: " + directory_));
    std::filesystem::remove_all(directory_);
    other_puts({{"CELL_RSRP", -96}});
    EXPECT_EQ(source.read().cell, (snapshot{{"CELL_RSRP", -96}}));
}

TEST_F(live_database, absent_appearing_later_and_made_anew) {
    database source(directory_);
    const reading absent = source.read();
    EXPECT_FALSE(absent.cell);
    EXPECT_THAT(absent.problem, HasSubstr("Database not there yet: " + directory_));

    other_puts({{"GPIO_TEMP", 41.5}}, "GPIO");
    EXPECT_THAT(source.read().problem, HasSubstr("Database not there yet")) << "without CELL there is nothing to see";

    other_puts({{"CELL_RSRP", -95}});
    const reading there = source.read();
    ASSERT_TRUE(there.cell);
    EXPECT_EQ(*there.cell, (snapshot{{"CELL_RSRP", -95}}));
    ASSERT_TRUE(there.seconds_since_commit);
    EXPECT_LT(*there.seconds_since_commit, 60);

    other_puts({{"CELL_SINR", 12.5}});
    const reading later = source.read();
    EXPECT_NE(later.commits, there.commits);
    EXPECT_EQ(source.read().commits, later.commits);

    std::filesystem::remove_all(directory_);
    EXPECT_FALSE(source.read().cell);
    other_puts({{"CELL_RSRP", -80}});
    EXPECT_EQ(*source.read().cell, (snapshot{{"CELL_RSRP", -80}}));
}

TEST_F(live_database, foreign_format_is_said_so) {
    std::filesystem::create_directory(directory_);
    std::ofstream(file("data.mdb")) << std::string(20000, 'x');
    const reading foreign = database(directory_).read();
    EXPECT_FALSE(foreign.cell);
    EXPECT_THAT(foreign.problem, HasSubstr("Database not readable: " + directory_));
}

TEST_F(live_database, record_of_a_time_that_cannot_be_is_none) {
    other_puts({{"CELL_RSRP", -95}});
    const auto now = std::filesystem::file_time_type::clock::now();
    for (const auto shift : {std::chrono::hours(24 * 365), std::chrono::hours(-24 * 365)}) {
        std::filesystem::last_write_time(file("data.mdb"), now + shift);
        EXPECT_FALSE(database(directory_).read().seconds_since_commit) << shift.count();
    }
}

}  // namespace
