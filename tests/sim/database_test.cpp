// What the box reads of the system database, in the words of `sysdb list`.
#include "sim/database.h"

#include "tests/store/store_fixture.h"

namespace {

class box_cell : public store_test {};

TEST_F(box_cell, is_told_as_sysdb_list_prints_it) {
    other_puts({{"INT", -95}, {"REAL", -999.0}, {"TEXT", "a\x1b\t\xc2\x9b\\"}, {"KEY\x9b", -__builtin_nan("")}});
    box_database database;
    EXPECT_EQ(database.cell(), (cell_values{{"INT", {"int", "-95"}},
                                            {"REAL", {"real", "-999.0"}},
                                            {"TEXT", {"string", R"(a\x1B\t\xC2\x9B\\)"}},
                                            {R"(KEY\x9B)", {"real", "nan"}}}));
}

TEST_F(box_cell, follows_other_programs_and_its_own_writes) {
    box_database database;
    EXPECT_TRUE(database.cell().empty()) << "nobody wrote yet";
    EXPECT_EQ(database.write({"CELL", {"K", {"string", R"(a\x1B)"}}}), "");
    EXPECT_EQ(database.cell(), (cell_values{{"K", {"string", R"(a\x1B)"}}}));
    other_puts({{"K", 5}});
    EXPECT_EQ(database.cell(), (cell_values{{"K", {"int", "5"}}}));
    std::filesystem::remove_all(directory_);
    EXPECT_TRUE(database.cell().empty());
}

}  // namespace
