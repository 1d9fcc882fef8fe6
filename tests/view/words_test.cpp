#include "view/words.h"

#include "view/duration.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using namespace view;

TEST(words, numbers_have_one_decimal_at_most) {
    struct row {
        const char *why;
        double value;
        const char *expected;
    };
    const row rows[] = {
        {"whole", -95, "-95"},
        {"one decimal", 12.4, "12.4"},
        {"more decimals", 12.25, "12.2"},
        {"as good as whole", 11.96, "12"},
        {"no minus before nothing", -0.04, "0"},
        {"a number that no page has room for", 1e10, "out of range"},
        {"no number", std::numeric_limits<double>::quiet_NaN(), "out of range"},
    };
    for (const row &one : rows) {
        EXPECT_EQ(digits(one.value), one.expected) << one.why;
    }
}

TEST(words, missing_is_one_of_three_kinds) {
    EXPECT_EQ(words(number{}), "unknown");
    EXPECT_EQ(words(phrase{presence::not_reported, {}}), "not reported");
    const signal_value no_measurement{{quantity::rsrp, "CELL_RSRP"}, {presence::out_of_range, 0}};
    EXPECT_EQ(words(no_measurement), "out of range");
    EXPECT_STREQ(rating_word(no_measurement), "out of range");
}

TEST(words, signal_has_its_unit_and_rating) {
    const signal_value fair{{quantity::rsrp, "CELL_RSRP"}, {presence::known, -95}};
    EXPECT_EQ(words(fair), "-95 dBm");
    EXPECT_STREQ(rating_word(fair), "fair");
}

TEST(words, identity_is_in_hexadecimal_too) {
    const fact_key id{"id", "id", "CELL_CID"};
    EXPECT_EQ(words(fact{id, number{presence::known, 27447297}}), "27447297 = 0x1A2D001");
    EXPECT_EQ(words(fact{id, number{presence::known, -5}}), "-5");
    EXPECT_EQ(words(fact{id, number{presence::not_reported, 0}}), "not reported");
}

TEST(words, band_has_its_frequency_and_duplex) {
    fact one{{"band", "band", "CELL_BAND", showing::always, "", "", band_plan::lte}, number{presence::known, 3}};
    EXPECT_EQ(words(one), "3 (1800 MHz, FDD)");
    EXPECT_EQ(words(one, band_form::frequency), "3 (1800 MHz)");
    EXPECT_EQ(words(one, band_form::bare), "3");
    one.value = number{presence::known, 255};
    EXPECT_EQ(words(one), "255") << "no band of the table";
    one.value = number{presence::not_reported, 0};
    EXPECT_EQ(words(one), "not reported");
    one.plan = band_plan::nr;
    one.value = number{presence::known, 78};
    EXPECT_EQ(words(one), "n78 (3500 MHz, TDD)");
}

TEST(words, durations_are_in_the_unit_that_matters) {
    struct row {
        const char *why;
        double seconds;
        const char *expected;
    };
    const row rows[] = {
        {"nothing", 0, "0 s"},
        {"a clock that stepped back", -5, "0 s"},
        {"parts of a second are left out", 7.9, "7 s"},
        {"last second", 59, "59 s"},
        {"first minute", 60, "1 min"},
        {"minutes", 725, "12 min 5 s"},
        {"first hour", 3600, "1 h"},
        {"hours", 3725, "1 h 2 min"},
        {"first day", 86400, "1 d"},
        {"days", 190800, "2 d 5 h"},
        {"beyond every calendar", std::numeric_limits<double>::infinity(), "37037 d"},
    };
    for (const row &one : rows) {
        EXPECT_EQ(duration(one.seconds), one.expected) << one.why;
    }
}

}  // namespace
