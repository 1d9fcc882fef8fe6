#include "view/picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/view/samples.h"
#include "view/words.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using samples::picture_of;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names_of(const std::vector<fact> &facts) {
    std::vector<std::string> names;
    names.reserve(facts.size());
    for (const fact &one : facts) {
        names.emplace_back(one.name);
    }
    return names;
}

std::vector<std::string> signals_of(const leg &one) {
    std::vector<std::string> names;
    for (const signal_value &each : one.signals) {
        names.emplace_back(scale_of(each.what).label);
    }
    return names;
}

TEST(picture, each_technology_has_the_values_that_its_decoder_writes) {
    struct row {
        const char *why;
        snapshot cell;
        std::vector<std::string> cell_facts;
        std::vector<std::string> radio_facts;
        std::vector<std::vector<std::string>> signals;
    };
    const std::vector<std::string> lte_signals{"RSRP", "RSRQ", "SINR", "RSSI", "SQI"};
    const std::vector<std::string> nr_signals{"RSRP", "RSRQ", "SINR", "SQI"};
    const std::vector<std::string> lte_radio{"band", "channel", "bandwidth_down_mhz", "bandwidth_up_mhz"};
    const row rows[] = {
        {"LTE", samples::lte(), {"id", "pci", "tac"}, lte_radio, {lte_signals}},
        {"LTE-M is LTE with another name", samples::cat_m(), {"id", "pci", "tac"}, lte_radio, {lte_signals}},
        {"NSA: PCI is the NR leg's, bands stand with the legs",
         samples::nsa(),
         {"id", "tac"},
         {"channel", "bandwidth_down_mhz", "bandwidth_up_mhz"},
         {lte_signals, nr_signals}},
        {"SA: identity and channel in the database are an older LTE cell's",
         samples::sa(),
         {"pci"},
         {"band"},
         {nr_signals}},
        {"WCDMA has no RSRP, whatever LTE left",
         samples::wcdma(),
         {"id", "lac", "rac"},
         {"band", "channel"},
         {{"RSCP", "Ec/Io", "SQI"}}},
        {"GSM", samples::gsm(), {"id", "lac", "bsic"}, {"band", "channel", "tx_level"}, {{"RSSI", "RXLEV", "SQI"}}},
        {"an empty database has nothing to show", {}, {}, {}, {{}}},
    };
    for (const row &one : rows) {
        const picture known = picture_of(one.cell);
        EXPECT_EQ(names_of(known.cell), one.cell_facts) << one.why;
        EXPECT_EQ(names_of(known.radio), one.radio_facts) << one.why;
        std::vector<std::vector<std::string>> signals;
        for (const leg &each : known.legs) {
            signals.push_back(signals_of(each));
        }
        EXPECT_EQ(signals, one.signals) << one.why;
    }
}

TEST(picture, nsa_keeps_the_legs_apart) {
    const picture known = picture_of(samples::nsa());
    ASSERT_EQ(known.legs.size(), 2U);
    EXPECT_EQ(known.legs[0].signals[0].value.value, -95);
    EXPECT_EQ(known.legs[1].signals[0].value.value, -85);
    EXPECT_THAT(names_of(known.legs[0].facts), ElementsAre("band"));
    EXPECT_THAT(names_of(known.legs[1].facts), ElementsAre("band", "pci"));
}

TEST(picture, nr_leg_without_values_does_not_show_those_of_lte) {
    // A line cut short: the generic key keeps LTE's value.
    const picture known = picture_of(samples::nsa() + snapshot{{"CELL_NR5G_RSRP", -999}, {"CELL_RSRP", -95}});
    EXPECT_EQ(known.legs[1].signals[0].value.state, presence::not_reported);
}

TEST(picture, rscp_shows_when_another_program_publishes_it) {
    const picture known = picture_of(samples::wcdma() + snapshot{{"CELL_RSCP", -95}});
    EXPECT_THAT(signals_of(known.legs[0]), ElementsAre("RSCP", "Ec/Io", "SQI"));
    EXPECT_FALSE(known.legs[0].signals[0].derived);
}

TEST(picture, rscp_is_worked_out_from_the_quality_index) {
    struct row {
        const char *why;
        int index;
        const char *expected;
    };
    const row rows[] = {
        {"the index of RSCP -98", 44, "-98 dBm (from SQI)"},
        {"the weakest that has an index of its own", 2, "-119 dBm (from SQI)"},
        {"the index ends here: so weak or weaker", 0, "<= -120 dBm (from SQI)"},
        {"and here: so strong or stronger", 100, ">= -70 dBm (from SQI)"},
    };
    for (const row &one : rows) {
        const picture known = picture_of(samples::wcdma() + snapshot{{"CELL_SQI", one.index}});
        EXPECT_EQ(words(known.legs[0].signals[0]), one.expected) << one.why;
    }
    const picture without = picture_of(samples::wcdma() + snapshot{{"CELL_SQI", -999}});
    EXPECT_THAT(signals_of(without.legs[0]), ElementsAre("Ec/Io", "SQI"));
}

TEST(picture, station_and_sector_come_from_an_lte_identity) {
    struct row {
        const char *why;
        snapshot cell;
        std::string expected;  // empty: none
    };
    const row rows[] = {
        {"0x1A2D000", samples::lte(), "107216/0"},
        {"0x1A2E103", samples::lte() + snapshot{{"CELL_CID", 27451651}}, "107233/3"},
        {"all 28 bits", samples::lte() + snapshot{{"CELL_CID", 268435455}}, "1048575/255"},
        {"29 bits are no LTE identity", samples::lte() + snapshot{{"CELL_CID", 268435456}}, ""},
        {"not reported", samples::lte() + snapshot{{"CELL_CID", -999}}, ""},
        {"LTE-M has LTE's identities", samples::cat_m(), "107216/0"},
        {"the anchor of a 5G connection too", samples::nsa(), "107216/0"},
        {"SA: an older LTE cell's", samples::sa(), ""},
        {"WCDMA splits its identities in another way", samples::wcdma(), ""},
    };
    for (const row &one : rows) {
        const picture known = picture_of(one.cell);
        EXPECT_EQ(known.lte_station ? words(*known.lte_station) : "", one.expected) << one.why;
    }
}

TEST(picture, tells_missing_from_not_reported) {
    const picture known = picture_of(samples::lte() + snapshot{{"CELL_RSRP", -999},
                                                               {"CELL_SINR", -999.0},
                                                               {"CELL_CHAN_BW_DL", std::string("-999")},
                                                               {"CELL_CHAN_BW_UL", std::string("-")},
                                                               {"CELL_MNC", std::string()}});
    EXPECT_EQ(known.legs[0].signals[0].value.state, presence::not_reported);
    EXPECT_EQ(known.legs[0].signals[2].value.state, presence::not_reported);
    EXPECT_EQ(std::get<phrase>(known.radio[2].value).state, presence::not_reported);
    EXPECT_EQ(std::get<phrase>(known.radio[3].value).state, presence::not_reported);
    EXPECT_EQ(known.mnc.state, presence::unknown);
    snapshot without = samples::lte();
    without.erase("CELL_RSRP");
    EXPECT_EQ(picture_of(without).legs[0].signals[0].value.state, presence::unknown);
}

TEST(picture, column_that_held_no_number_is_no_measurement) {
    const signal_value rsrp = picture_of(samples::lte() + snapshot{{"CELL_RSRP", 0}}).legs[0].signals[0];
    EXPECT_EQ(rsrp.value.state, presence::out_of_range);
    EXPECT_EQ(rsrp.value.value, 0) << "as it was published, for programs";
}

TEST(picture, unfamiliar_technology_shows_what_is_there) {
    const picture known = picture_of({{"CELL_NET_TYPE", std::string("6G")}, {"CELL_RSRP", -95}, {"CELL_BAND", -999}});
    EXPECT_EQ(known.technology, "6G");
    EXPECT_THAT(signals_of(known.legs[0]), ElementsAre("RSRP"));
    EXPECT_THAT(known.radio, IsEmpty());
}

TEST(picture, carriers_come_with_the_primary_one_in_front) {
    const picture known = picture_of(samples::lte() + samples::secondary(1, "20", 3050, 7, -101, -13, -70, 8) +
                                     samples::secondary(2, "-999", 300, 1, -999, -999, -999, -999));
    ASSERT_EQ(known.carriers.size(), 3U);
    EXPECT_EQ(known.carriers[0].name, "primary");
    EXPECT_EQ(known.carriers[0].signals[0].value.value, -95);
    EXPECT_EQ(known.carriers[1].name, "SCC 1");
    EXPECT_THAT(names_of(known.carriers[1].facts), ElementsAre("band", "channel", "bandwidth_down_mhz"));
    EXPECT_EQ(std::get<number>(known.carriers[1].facts[1].value).value, 3050);
    EXPECT_EQ(known.carriers[2].signals[0].value.state, presence::not_reported);
    EXPECT_EQ(std::get<phrase>(known.carriers[2].facts[2].value).state, presence::not_reported);
}

TEST(picture, primary_carrier_of_nsa_is_the_anchor) {
    const picture known = picture_of(samples::nsa() + samples::secondary(1, "20", 3050, 7, -101, -13, -70, 8));
    EXPECT_EQ(std::get<number>(known.carriers[0].facts[0].value).value, 3);
    EXPECT_EQ(known.carriers[0].signals[0].value.value, -95);
}

TEST(picture, no_aggregation_no_table) {
    EXPECT_THAT(picture_of(samples::lte()).carriers, IsEmpty());
}

TEST(picture, foreign_keys_and_types_are_set_apart) {
    const picture known = picture_of(samples::lte() + snapshot{{"CELL_RSRP", std::string("-95")},
                                                               {"CELL_SINR", 12},
                                                               {"CELL_MCC", 262},
                                                               {"CELL_NEW", 1},
                                                               {"CELL_BAND_SCC_7", 3},
                                                               {"CELL_BAND_SCC_0", 3},
                                                               {"CELL_BAND_SCC_11", 3}});
    std::vector<std::string> keys;
    for (const auto &[key, stored] : known.other) {
        keys.push_back(key);
    }
    EXPECT_THAT(keys, ElementsAre("CELL_BAND_SCC_0", "CELL_BAND_SCC_11", "CELL_BAND_SCC_7", "CELL_MCC", "CELL_NEW",
                                  "CELL_RSRP", "CELL_SINR"));
    EXPECT_EQ(known.legs[0].signals[0].value.state, presence::unknown);
    EXPECT_EQ(known.mcc.state, presence::unknown);
    EXPECT_THAT(known.carriers, IsEmpty());
}

TEST(picture, state_says_the_first_thing_that_is_wrong) {
    const auto process_gone = runtime_state::process::gone;
    const auto no_pid_file = runtime_state::process::no_pid_file;
    struct row {
        const char *why;
        snapshot changes;
        runtime_state around;
        double written;
        condition state;
        const char *sentence;
    };
    const row rows[] = {
        {"all is well", {}, {}, 2, condition::well, "Registered at home."},
        {"roaming", {{"CELL_ROAMING", 1}}, {}, 2, condition::well, "Registered, roaming."},
        {"no network",
         {{"CELL_REGISTERED", 0}},
         {},
         2,
         condition::not_registered,
         "Not registered in a network. Last known values."},
        {"three cycles without a commit are still bearable", {}, {}, 15, condition::well, "Registered at home."},
        {"a silent daemon",
         {},
         {},
         16,
         condition::stale,
         "No news for 16 s: the daemon hangs or waits for the module."},
        {"module unplugged",
         {{"CELL_REGISTERED", 0}},
         {runtime_state::process::running, false, false, {}},
         60,
         condition::module_gone,
         "Module gone (no /dev/ttyQSB3)."},
        {"paused, and the module gone besides",
         {},
         {runtime_state::process::running, true, false, {}},
         60,
         condition::paused,
         "Daemon paused (no /tmp/zstats.running)."},
        {"never started",
         {},
         {no_pid_file, true, false, {}},
         60,
         condition::daemon_absent,
         "Daemon not running (no /var/run/zelt-stats.pid)."},
        {"killed",
         {},
         {process_gone, false, true, {}},
         1,
         condition::daemon_absent,
         "Daemon not running: its process has gone."},
    };
    for (const row &one : rows) {
        const picture known = picture_of(samples::lte() + one.changes, one.around, {one.written, {}, {}});
        EXPECT_EQ(known.state, one.state) << one.why;
        EXPECT_EQ(known.sentence, one.sentence) << one.why;
    }
}

TEST(picture, without_database_the_reader_says_why) {
    reading nothing;
    nothing.problem = "Database not there yet: /run/sysdb.";
    const picture known = build_picture(nothing, {}, {});
    EXPECT_EQ(known.state, condition::no_database);
    EXPECT_EQ(known.sentence, "Database not there yet: /run/sysdb.");
}

TEST(picture, registration_that_nobody_published_is_not_called_lost) {
    EXPECT_EQ(picture_of({}).sentence, "Registration not known yet.");
}

TEST(picture, cleared_address_is_none) {
    EXPECT_EQ(picture_of(samples::lte() + snapshot{{"CELL_IPV4", std::string("0.0.0.0")}}).address.state,
              presence::unknown);
}

TEST(picture, summary_loses_empty_places_and_marks) {
    const picture known = picture_of({{"CELL_RSSIMON", std::string("EC25, SQI: -999%, , RSRP: -999 dBm, , , no roam, "
                                                                   "SNR: -99 dB, , ")}});
    EXPECT_EQ(known.summary.value, "EC25, SQI: not reported, RSRP: not reported, no roam, SNR: -99 dB");
}

TEST(picture, no_text_carries_control_characters) {
    const picture known = picture_of(samples::lte() + snapshot{{"CELL_CARRIER", std::string("\x1b]0;owned\a")},
                                                               {"CELL_MCC", std::string("2\x9b")},
                                                               {"CELL_NET_TYPE", std::string("\x1b[2J")},
                                                               {"CELL_IPV4", std::string("\r\n")},
                                                               {"CELL_RSSIMON", std::string("a\x1b[H, b")}});
    EXPECT_EQ(known.carrier_name.value, "?]0;owned?");
    EXPECT_EQ(known.mcc.value, "2?");
    EXPECT_EQ(known.technology, "?[2J");
    EXPECT_EQ(known.address.value, "??");
    EXPECT_EQ(known.summary.value, "a?[H, b");
}

}  // namespace
