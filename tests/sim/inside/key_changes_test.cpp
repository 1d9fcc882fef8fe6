#include "sim/inside/key_changes.h"

#include <gtest/gtest.h>

namespace {

struct change_row {
    const char *why;
    cell_values before;
    cell_values now;
    const char *text;
    bool for_people;
};

TEST(key_changes, each_says_what_became_of_its_key) {
    const std::string long_text(25, 'x');
    const change_row rows[] = {
        {"a new key", {}, {{"K", {"int", "-95"}}}, "K = -95", true},
        {"a new key without a value", {}, {{"K", {"int", "-999"}}}, "K = -999", false},
        {"the same as a real", {}, {{"K", {"real", "-999.0"}}}, "K = -999.0", false},
        {"another value", {{"K", {"int", "-97"}}}, {{"K", {"int", "-95"}}}, "K = -95  (was -97)", true},
        {"a value that goes", {{"K", {"int", "5"}}}, {{"K", {"int", "-999"}}}, "K = -999  (was 5)", true},
        {"another type alone", {{"K", {"int", "1"}}}, {{"K", {"string", "1"}}}, "K = 1  (was 1)", true},
        {"a long text", {{"K", {"string", long_text}}}, {{"K", {"string", "y"}}}, "K = y", true},
        {"a key that goes", {{"K", {"int", "5"}}}, {}, "K deleted  (was 5)", true},
    };
    for (const change_row &row : rows) {
        const auto changes = key_changes(row.before, row.now);
        ASSERT_EQ(changes.size(), 1U) << row.why;
        EXPECT_EQ(changes[0].text, row.text) << row.why;
        EXPECT_EQ(changes[0].for_people, row.for_people) << row.why;
    }
}

TEST(key_changes, nothing_changed) {
    EXPECT_TRUE(key_changes({{"K", {"int", "1"}}}, {{"K", {"int", "1"}}}).empty());
}

TEST(key_changes, numbers_of_a_real_card_are_not_told) {
    const typed_value hidden{"string", "(not shown)"};
    EXPECT_EQ(without_subscriber({{"CELL_IMSI", {"string", "001010123456789"}},
                                  {"CELL_MDN", {"string", "15550100"}},
                                  {"CELL_ICCID", {"int", "8901"}},
                                  {"CELL_RSRP", {"int", "-95"}}}),
              (cell_values{{"CELL_IMSI", hidden},
                           {"CELL_MDN", hidden},
                           {"CELL_ICCID", {"int", "(not shown)"}},
                           {"CELL_RSRP", {"int", "-95"}}}));
    EXPECT_TRUE(without_subscriber({}).empty());
}

}  // namespace
