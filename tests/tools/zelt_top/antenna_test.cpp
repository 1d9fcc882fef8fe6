#include "tools/zelt_top/antenna.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/zelt_top/page_text.h"
#include "tests/view/samples.h"

namespace {

using namespace view;
using namespace zelt_top;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using samples::picture_of;
using samples::text_of;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const runtime_state PAUSED{runtime_state::process::running, true, true, {}};

snapshot with_rsrp(int rsrp) {
    return samples::lte() + snapshot{{"CELL_RSRP", rsrp}};
}

page page_of_size(std::size_t width, std::size_t height) {
    page on;
    on.width = width;
    on.height = height;
    on.antenna = true;
    return on;
}

std::string antenna_page(const snapshot &cell, const page &on) {
    best_signals best;
    best.note(picture_of(with_rsrp(-91)));
    best.note(picture_of(cell));
    return text_of(lay_out_antenna(picture_of(cell), best, on));
}

TEST(antenna, only_a_better_strength_is_an_improvement) {
    best_signals best;
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-95)))) << "the first one";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-95)))) << "the same";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-101)))) << "worse";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-99)))) << "better than the last, not than the best";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-95) + snapshot{{"CELL_SINR", 25.0}}))) << "the quality";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(-80), PAUSED))) << "an old value";
    EXPECT_FALSE(best.note(picture_of(with_rsrp(0)))) << "no measurement";
    EXPECT_TRUE(best.note(picture_of(with_rsrp(-94))));
    EXPECT_EQ(best.of(picture_of(samples::lte()).legs[0], quantity::rsrp), -94);
}

TEST(antenna, each_leg_has_its_own_best) {
    best_signals best;
    best.note(picture_of(samples::nsa()));
    EXPECT_TRUE(best.note(picture_of(samples::nsa() + snapshot{{"CELL_NR5G_RSRP", -84}})));
    EXPECT_TRUE(best.note(picture_of(samples::nsa() + snapshot{{"CELL_LTE_RSRP", -94}})));
    EXPECT_FALSE(best.note(picture_of(samples::nsa())));
}

TEST(antenna, large_digits_on_forty_by_ten) {
    EXPECT_EQ(antenna_page(with_rsrp(-103), page_of_size(40, 10)), " LTE   Example Net\n"
                                                                   " Registered at home. Updated 2 s ago.\n"
                                                                   " RSRP dBm            SINR dB\n"
                                                                   "       # ### ###       # ###   # #\n"
                                                                   "       # # #   #       #   #   # #\n"
                                                                   " ###   # # # ###       # ###   ###\n"
                                                                   "       # # #   #       # #       #\n"
                                                                   "       # ### ###       # ### #   #\n"
                                                                   " best -91 (-12)      best 12.4 (0)\n"
                                                                   " A new value every 4 to 5 s.\n");
}

TEST(antenna, block_characters_where_the_terminal_has_them) {
    page on = page_of_size(80, 24);
    on.utf8 = true;
    const std::string page = antenna_page(with_rsrp(-103), on);
    EXPECT_THAT(page, HasSubstr("\n ███   █ █ █ ███ "));
    EXPECT_THAT(page, Not(HasSubstr("#")));
    EXPECT_THAT(page, EndsWith("\n A new value every 4 to 5 s. The bell rings for a better RSRP.\n"));
}

TEST(antenna, both_legs_side_by_side_or_below_each_other) {
    EXPECT_THAT(antenna_page(samples::nsa(), page_of_size(80, 24)),
                HasSubstr("\n LTE anchor RSRP dBm LTE anchor SINR dB  NR leg RSRP dBm     NR leg SINR dB\n"));
    const std::string narrow = antenna_page(samples::nsa(), page_of_size(40, 24));
    EXPECT_THAT(narrow, HasSubstr("\n LTE anchor RSRP dBm LTE anchor SINR dB\n"));
    EXPECT_THAT(narrow, HasSubstr("\n NR leg RSRP dBm     NR leg SINR dB\n"));
}

TEST(antenna, plain_numbers_where_there_is_no_room) {
    EXPECT_EQ(antenna_page(samples::nsa(), page_of_size(40, 10)), " 5G NSA   Example Net\n"
                                                                  " Registered at home. Updated 2 s ago.\n"
                                                                  " LTE anchor RSRP -95 dBm  best -91 (-4)\n"
                                                                  " LTE anchor SINR 12.4 dB  best 12.4 (0)\n"
                                                                  " NR leg RSRP -85 dBm  best -85 (0)\n"
                                                                  " NR leg SINR 20 dB  best 20 (0)\n"
                                                                  " A new value every 4 to 5 s.\n");
}

TEST(antenna, window_of_twenty_by_five_shows_both_legs) {
    const snapshot weak = samples::nsa() + snapshot{{"CELL_LTE_RSRP", -104}};
    EXPECT_EQ(antenna_page(weak, page_of_size(20, 5)), " 5G NSA   Examp...\n"
                                                       " Registered at home.\n"
                                                       " LTE RSRP -104 (-13)\n"
                                                       " NR RSRP -85 (0)\n"
                                                       " ... more\n");
    // Two lines for values: the strengths have them.
    EXPECT_EQ(antenna_page(weak, page_of_size(20, 4)), " 5G NSA   Examp...\n"
                                                       " Registered at home.\n"
                                                       " LTE RSRP -104 (-13)\n"
                                                       " NR RSRP -85 (0)\n");
    EXPECT_EQ(antenna_page(with_rsrp(-999), page_of_size(20, 5)), " LTE   Example Net\n"
                                                                  " Registered at home.\n"
                                                                  " RSRP -\n"
                                                                  " SINR 12.4 (0)\n"
                                                                  " New every 4 to 5 s.\n");
}

TEST(antenna, wide_window_without_the_height_says_what_is_cut) {
    EXPECT_EQ(antenna_page(samples::nsa(), page_of_size(60, 5)), " 5G NSA   Example Net\n"
                                                                 " Registered at home. Updated 2 s ago.\n"
                                                                 " LTE anchor RSRP -95 dBm  best -91 (-4)\n"
                                                                 " NR leg RSRP -85 dBm  best -85 (0)\n"
                                                                 " ... more in a taller window\n");
}

TEST(antenna, other_technologies_show_what_they_have) {
    EXPECT_THAT(antenna_page(samples::wcdma(), page_of_size(80, 24)), HasSubstr("\n RSCP dBm"));
    EXPECT_THAT(antenna_page({}, page_of_size(80, 24)), HasSubstr("\n No signal values yet.\n"));
    EXPECT_THAT(antenna_page(with_rsrp(-999), page_of_size(80, 24)), HasSubstr("\n not reported"));
}

TEST(antenna, never_wider_or_higher_than_the_page) {
    for (const snapshot &cell : {snapshot(), samples::lte(), samples::crowded(), with_rsrp(-999)}) {
        for (const std::size_t width : {1U, 2U, 20U, 39U, 40U, 41U, 79U, 80U, 300U}) {
            for (const std::size_t height : {1U, 2U, 9U, 10U, 16U, 24U}) {
                const std::vector<line> lines =
                    lay_out_antenna(picture_of(cell), best_signals(), page_of_size(width, height));
                ASSERT_LE(lines.size(), height);
                for (const line &one : lines) {
                    ASSERT_LE(one.width(), width) << one.plain_text();
                }
            }
        }
    }
}

}  // namespace
