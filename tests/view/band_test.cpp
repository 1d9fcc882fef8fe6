#include "view/band.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using namespace view;

TEST(band, numbers_ascend_and_stand_once) {
    for (const band_plan plan : {band_plan::lte, band_plan::nr}) {
        const auto all = bands(plan);
        ASSERT_FALSE(all.empty());
        for (std::size_t i = 1; i < all.size(); ++i) {
            EXPECT_LT(all[i - 1].number, all[i].number);
        }
        for (const band &one : all) {
            EXPECT_TRUE(one.megahertz >= 400 && one.megahertz < 6000) << one.number;
        }
    }
    EXPECT_EQ(bands(band_plan::lte).back().number, 88);
    EXPECT_LE(bands(band_plan::nr).back().number, 104);
    EXPECT_TRUE(bands(band_plan::none).empty());
}

TEST(band, known_ones_are_where_the_operators_have_them) {
    struct row {
        band_plan plan;
        int number;
        int megahertz;
        const char *shared;
    };
    const row rows[] = {
        {band_plan::lte, 1, 2100, "FDD"},  {band_plan::lte, 3, 1800, "FDD"},  {band_plan::lte, 7, 2600, "FDD"},
        {band_plan::lte, 8, 900, "FDD"},   {band_plan::lte, 20, 800, "FDD"},  {band_plan::lte, 28, 700, "FDD"},
        {band_plan::lte, 32, 1500, "SDL"}, {band_plan::lte, 38, 2600, "TDD"}, {band_plan::lte, 40, 2300, "TDD"},
        {band_plan::lte, 41, 2500, "TDD"}, {band_plan::lte, 66, 1700, "FDD"}, {band_plan::lte, 71, 600, "FDD"},
        {band_plan::nr, 1, 2100, "FDD"},   {band_plan::nr, 28, 700, "FDD"},   {band_plan::nr, 41, 2500, "TDD"},
        {band_plan::nr, 71, 600, "FDD"},   {band_plan::nr, 77, 3700, "TDD"},  {band_plan::nr, 78, 3500, "TDD"},
        {band_plan::nr, 79, 4700, "TDD"},  {band_plan::nr, 76, 1500, "SDL"},
    };
    for (const row &one : rows) {
        const band *found = find_band(one.plan, one.number);
        ASSERT_NE(found, nullptr) << one.number;
        EXPECT_EQ(found->megahertz, one.megahertz) << one.number;
        EXPECT_STREQ(word(found->shared), one.shared) << one.number;
    }
}

// What has a number in both plans is the same piece of the spectrum.
TEST(band, both_plans_agree) {
    for (const band &lte : bands(band_plan::lte)) {
        if (const band *nr = find_band(band_plan::nr, lte.number)) {
            EXPECT_EQ(nr->megahertz, lte.megahertz) << lte.number;
            EXPECT_EQ(nr->shared, lte.shared) << lte.number;
        }
    }
}

TEST(band, a_number_that_is_none_has_no_frequency) {
    EXPECT_EQ(find_band(band_plan::lte, 0), nullptr);
    EXPECT_EQ(find_band(band_plan::lte, 78), nullptr);
    EXPECT_EQ(find_band(band_plan::lte, 3.5), nullptr);
    EXPECT_EQ(find_band(band_plan::nr, 541), nullptr);
    EXPECT_EQ(find_band(band_plan::none, 3), nullptr);
}

}  // namespace
