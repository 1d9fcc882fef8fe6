#include "view/line.h"

#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none

TEST(line, each_technology_has_the_values_that_its_decoder_writes) {
    struct row {
        const char *why;
        snapshot cell;
        const char *expected;
    };
    const row rows[] = {
        {"LTE", samples::lte(),
         "LTE  band 3 (1800 MHz, FDD)  channel 1300 (EARFCN)  RSRP -95 dBm  RSRQ -11 dB  SINR 12.4 dB  SQI 60 %  "
         "registered"},
        {"LTE-M is LTE with another name", samples::cat_m(),
         "CAT-M  band 3 (1800 MHz, FDD)  channel 1300 (EARFCN)  RSRP -95 dBm  RSRQ -11 dB  SINR 12.4 dB  SQI 60 %  "
         "registered"},
        {"NSA: each leg has its own values", samples::nsa(),
         "5G NSA  LTE channel 1300 (EARFCN)  LTE anchor band 3 (1800 MHz, FDD) + NR leg band n78 (3500 MHz, TDD)"
         "  RSRP -95 dBm + -85 dBm  RSRQ -11 dB + -16 dB  SINR 12.4 dB + 20 dB  SQI 60 % + 76 %  registered"},
        {"SA: the LTE band in the database is an older cell's", samples::sa(),
         "5G SA  band n78 (3500 MHz, TDD)  RSRP -85 dBm  RSRQ -16 dB  SINR 20 dB  SQI 76 %  registered"},
        {"WCDMA", samples::wcdma(),
         "WCDMA  band 900  channel 3037 (UARFCN)  RSCP -95 dBm (from SQI)  Ec/Io -15 dB  SQI 50 %  registered"},
        {"GSM", samples::gsm(), "GSM  channel 50 (ARFCN)  RSSI -93 dBm  SQI 30 %  registered"},
        {"no technology", {}, "no cell"},
        {"an unfamiliar one", {{"CELL_NET_TYPE", std::string("6G")}, {"CELL_RSRP", -95}}, "6G  RSRP -95 dBm"},
    };
    for (const row &one : rows) {
        EXPECT_EQ(line_of(one.cell), one.expected) << one.why;
    }
}

TEST(line, leaves_out_what_nobody_told) {
    EXPECT_EQ(line_of({{"CELL_NET_TYPE", std::string("LTE")},
                       {"CELL_BAND", -999},
                       {"CELL_RSRP", -999},
                       {"CELL_SINR", -999.0},
                       {"CELL_SQI", 0}}),
              "LTE  SQI 0 %");
}

TEST(line, leg_that_does_not_tell_keeps_its_place) {
    const snapshot cell =
        samples::nsa() + snapshot{{"CELL_NR5G_BAND", -999},  {"CELL_NR5G_RSRP", -999}, {"CELL_NR5G_RSRQ", 0},
                                  {"CELL_LTE_SINR", -999.0}, {"CELL_LTE_SQI", -999},   {"CELL_NR5G_SQI", -999}};
    EXPECT_EQ(
        line_of(cell),
        "5G NSA  LTE channel 1300 (EARFCN)  LTE anchor band 3 (1800 MHz, FDD) + NR leg  RSRP -95 dBm + not reported"
        "  RSRQ -11 dB + 0 dB  SINR not reported + 20 dB  registered");
}

TEST(line, says_how_it_is_registered) {
    struct row {
        const char *why;
        snapshot changes;
        const char *end;
    };
    const row rows[] = {
        {"roaming", {{"CELL_ROAMING", 1}}, "  registered, roaming"},
        {"not at all", {{"CELL_REGISTERED", 0}}, "  not registered"},
        {"an old flag says nothing without a network",
         {{"CELL_REGISTERED", 0}, {"CELL_ROAMING", 1}},
         "  not registered"},
    };
    for (const row &one : rows) {
        EXPECT_TRUE(line_of(samples::gsm() + one.changes).ends_with(one.end)) << one.why;
    }
}

TEST(line, nothing_in_it_steers_a_terminal) {
    EXPECT_EQ(line_of({{"CELL_NET_TYPE", std::string("\x1b[2J\n")}}), "?[2J?");
}

}  // namespace
