#include "tools/zelt_top/database.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace view;
using namespace zelt_top;
using testing::HasSubstr;

class live_database : public testing::Test {
public:
    ~live_database() override { std::filesystem::remove_all(folder_.parent_path()); }

protected:
    live_database() {
        std::string name = (std::filesystem::temp_directory_path() / "zelt-top-XXXXXX").string();
        folder_ = std::filesystem::path(mkdtemp(name.data())) / "sysdb";
    }
    live_database(const live_database &) = delete;
    live_database &operator=(const live_database &) = delete;

    // In a process of its own: LMDB opens an environment once in a process.
    void write(const char *named_database, const char *key, const sysdb_value &value) {
        EXPECT_EXIT(
            {
                sysdb_environment environment;
                sysdb_transaction transaction;
                const bool written = environment.open(folder_, sysdb_access::create) == 0 &&
                                     transaction.begin(environment, named_database, sysdb_access::create) == 0 &&
                                     transaction.put(key, value) == 0 && transaction.commit() == 0;
                std::_Exit(written ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
    }

    std::filesystem::path folder_;
};

TEST_F(live_database, absent_appearing_later_and_made_anew) {
    database source(folder_);
    const reading absent = source.read();
    EXPECT_FALSE(absent.cell);
    EXPECT_THAT(absent.problem, HasSubstr("Database not there yet: " + folder_.string()));

    write("GPIO", "GPIO_TEMP", 41.5);
    EXPECT_THAT(source.read().problem, HasSubstr("Database not there yet")) << "without CELL there is nothing to see";

    write("CELL", "CELL_RSRP", -95);
    const reading there = source.read();
    ASSERT_TRUE(there.cell);
    EXPECT_EQ(*there.cell, (snapshot{{"CELL_RSRP", -95}}));
    ASSERT_TRUE(there.seconds_since_commit);
    EXPECT_LT(*there.seconds_since_commit, 60);

    write("CELL", "CELL_SINR", 12.5);
    const reading later = source.read();
    EXPECT_NE(later.commits, there.commits);
    EXPECT_EQ(source.read().commits, later.commits);

    std::filesystem::remove_all(folder_);
    EXPECT_FALSE(source.read().cell);
    write("CELL", "CELL_RSRP", -80);
    EXPECT_EQ(*source.read().cell, (snapshot{{"CELL_RSRP", -80}}));
}

TEST_F(live_database, foreign_format_is_said_so) {
    std::filesystem::create_directory(folder_);
    std::ofstream(folder_ / "data.mdb") << std::string(20000, 'x');
    const reading foreign = database(folder_).read();
    EXPECT_FALSE(foreign.cell);
    EXPECT_THAT(foreign.problem, HasSubstr("Database not readable: " + folder_.string()));
}

TEST_F(live_database, record_of_a_time_that_cannot_be_is_none) {
    write("CELL", "CELL_RSRP", -95);
    const auto now = std::filesystem::file_time_type::clock::now();
    for (const auto shift : {std::chrono::hours(24 * 365), std::chrono::hours(-24 * 365)}) {
        std::filesystem::last_write_time(folder_ / "data.mdb", now + shift);
        EXPECT_FALSE(database(folder_).read().seconds_since_commit) << shift.count();
    }
}

}  // namespace
