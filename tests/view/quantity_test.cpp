#include "view/quantity.h"

#include <cmath>

#include <gtest/gtest.h>

namespace {

using namespace view;

TEST(quantity, words_change_at_the_limits) {
    struct row {
        const char *why;
        quantity what;
        double value;
        const char *expected;
    };
    const row rows[] = {
        {"RSRP at the limit of good", quantity::rsrp, -90, "good"},
        {"RSRP below good", quantity::rsrp, -91, "fair"},
        {"RSRP at the limit of fair", quantity::rsrp, -105, "fair"},
        {"RSRP below fair", quantity::rsrp, -106, "weak"},
        {"RSRP at the limit of weak", quantity::rsrp, -120, "weak"},
        {"RSRP below weak", quantity::rsrp, -121, "bad"},
        {"RSRQ", quantity::rsrq, -15, "fair"},
        {"SINR 0 dB still carries", quantity::sinr, 0, "weak"},
        {"SINR below the noise", quantity::sinr, -0.1, "bad"},
        {"RSSI of a wide channel", quantity::rssi, -85, "weak"},
        {"the same power in a GSM channel is plenty", quantity::gsm_rssi, -85, "good"},
        {"RSCP", quantity::rscp, -96, "weak"},
        {"Ec/Io", quantity::ecio, -15, "weak"},
        {"quality of RSRP -90", quantity::sqi, 68, "good"},
        {"quality of RSRP -91", quantity::sqi, 66, "fair"},
        {"quality of RSRP -105", quantity::sqi, 44, "fair"},
        {"quality of RSRP -120", quantity::sqi, 20, "weak"},
        {"quality of RSRP -121", quantity::sqi, 19, "bad"},
    };
    for (const row &one : rows) {
        EXPECT_STREQ(word(rate(one.what, one.value)), one.expected) << one.why;
    }
}

TEST(quantity, what_no_receiver_measures_is_out_of_range) {
    EXPECT_FALSE(measurable(quantity::rsrp, 0)) << "a column that held no number";
    EXPECT_FALSE(measurable(quantity::rsrp, -32768)) << "a module's mark";
    EXPECT_FALSE(measurable(quantity::sinr, std::nan("")));
    EXPECT_FALSE(measurable(quantity::sqi, 101));
    EXPECT_TRUE(measurable(quantity::sqi, 100));
    EXPECT_TRUE(measurable(quantity::rsrp, -156));
    EXPECT_FALSE(measurable(quantity::rsrp, -157));
}

TEST(quantity, bars_are_empty_and_full_at_their_ends) {
    EXPECT_DOUBLE_EQ(fill(quantity::rsrp, -133), 0);
    EXPECT_DOUBLE_EQ(fill(quantity::rsrp, -101), 0.5);
    EXPECT_DOUBLE_EQ(fill(quantity::rsrp, -69), 1);
    EXPECT_DOUBLE_EQ(fill(quantity::rsrp, -140), 0);
    EXPECT_DOUBLE_EQ(fill(quantity::rsrp, -40), 1);
    EXPECT_DOUBLE_EQ(fill(quantity::sqi, 25), 0.25);
}

}  // namespace
