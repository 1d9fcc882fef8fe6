#include "tools/zelt_top/database.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace view;
using namespace zelt_top;
using testing::HasSubstr;

class Database : public testing::Test {
protected:
    // In a process of its own: LMDB opens an environment once in a process.
    void write(const char *named_database, const char *key, const sysdb_value &value) const {
        other_process writer([&] {
            sysdb_environment environment;
            sysdb_transaction transaction;
            const bool written = environment.open(folder_, sysdb_access::create) == 0 &&
                                 transaction.begin(environment, named_database, sysdb_access::create) == 0 &&
                                 transaction.put(key, value) == 0 && transaction.commit() == 0;
            return written ? 0 : 1;
        });
        EXPECT_EQ(writer.wait(), 0);
    }

    temporary_folder base_;
    std::filesystem::path folder_ = base_.path("sysdb");
};

TEST_F(Database, AbsentAppearingLaterAndMadeAnew) {
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

TEST_F(Database, ForeignFormatIsSaidSo) {
    std::filesystem::create_directory(folder_);
    std::ofstream(folder_ / "data.mdb") << std::string(20000, 'x');
    const reading foreign = database(folder_).read();
    EXPECT_FALSE(foreign.cell);
    EXPECT_THAT(foreign.problem, HasSubstr("Database not readable: " + folder_.string()));
}

TEST_F(Database, RecordOfATimeThatCannotBeIsNone) {
    write("CELL", "CELL_RSRP", -95);
    const auto now = std::filesystem::file_time_type::clock::now();
    for (const auto shift : {std::chrono::hours(24 * 365), std::chrono::hours(-24 * 365)}) {
        std::filesystem::last_write_time(folder_ / "data.mdb", now + shift);
        EXPECT_FALSE(database(folder_).read().seconds_since_commit) << shift.count();
    }
}

}  // namespace
