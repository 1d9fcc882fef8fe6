// The cell statistics: conversion by kind, which keys go out in which order, and what a failed publication keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "stats/cell_catalogue.h"
#include "stats/cell_stats_map.h"
#include "stats/clear_sysdb_values.h"
#include "stats/sysdb_transaction.h"
#include "tests/fake_platform/fake_platform.h"
#include "tests/stats/clearing_journal.h"
#include "tests/support/allocations.h"

namespace {

using fake::platform;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::string> publish() {
    platform().journal.clear();
    save_cell_stats_map_to_sysdb();
    return fake::journal_of({"sysdb_write_int", "sysdb_write_dbl", "sysdb_write_str"});
}

// --- Conversion ---

TEST(cell_value, conversion_by_kind_at_the_limits_of_32_bits) {
    struct row {
        const char *why;
        const char *key;
        const char *text;
        const char *stored;
    };
    static constexpr row ROWS[] = {
        {"integer, empty: the default", "CELL_RSRP", "", "int -999"},
        {"integer with its unit", "CELL_RSRP", "-95dBm", "int -95"},
        {"integer without a number", "CELL_RSRP", "abc", "int 0"},
        {"integer, white space is no empty text", "CELL_RSRP", " ", "int 0"},
        {"integer, leading white space", "CELL_RSRP", " -80", "int -80"},
        {"integer, fraction is cut", "CELL_RSRP", "-80.9", "int -80"},
        {"integer, highest", "CELL_CID", "2147483647", "int 2147483647"},
        {"integer, one past the highest", "CELL_CID", "2147483648", "int 2147483647"},
        {"integer, lowest", "CELL_CID", "-2147483648", "int -2147483648"},
        {"integer, one past the lowest", "CELL_CID", "-2147483649", "int -2147483648"},
        {"integer, beyond 64 bits", "CELL_CID", "99999999999999999999", "int 2147483647"},
        {"integer with default 0, empty", "CELL_LAC", "", "int 0"},
        {"network type number, empty", "CELL_NET_TYPE_INT", "", "int 0"},
        {"cell id, empty", "CELL_CID", "", "int 0"},
        {"real, empty: the default", "CELL_SINR", "", "real -999.0"},
        {"real", "CELL_SINR", "12.4", "real 12.4"},
        {"real, negative", "CELL_SINR", "-0.5", "real -0.5"},
        {"real without a fraction", "CELL_SINR", "7", "real 7.0"},
        {"real with its unit", "CELL_LTE_SINR", "12.5dB", "real 12.5"},
        {"real without a number", "CELL_NR5G_SINR", "abc", "real 0.0"},
        {"string keeps leading zeros", "CELL_MCC", "001", "string 001"},
        {"string keeps white space", "CELL_MNC", " 01 ", "string  01 "},
        {"string, empty", "CELL_MCC", "", "string "},
        {"bandwidth stays text", "CELL_CHAN_BW_DL", "1.4", "string 1.4"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        update_cell_stats_map(each.key, each.text);
        EXPECT_THAT(publish(), SizeIs(1));
        EXPECT_EQ(fake::cell(each.key), each.stored);
    }
}

TEST(cell_value, an_empty_string_update_replaces_an_earlier_text) {
    update_cell_stats_map("CELL_MCC", "310");
    update_cell_stats_map("CELL_MCC", "");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_str CELL_MCC string "));
}

TEST(cell_value, a_null_key_is_logged_and_changes_nothing) {
    update_cell_stats_map(nullptr, "7");
    ASSERT_THAT(fake::log_lines(), SizeIs(1));
    EXPECT_THAT(fake::log_lines().front(), StartsWith("alert: exception "));
    EXPECT_THAT(fake::log_lines().front(), testing::EndsWith(" in update_cell_stats_map"));
    EXPECT_THAT(publish(), IsEmpty());
}

// --- Catalogue ---

struct catalogue_row {
    const char *key;
    const char *after_empty_update;
};

// clang-format off
constexpr catalogue_row CATALOGUE[] = {
    {"CELL_ARFCN", "int -999"},
    {"CELL_BAND", "int -999"},
    {"CELL_BSIC", "int -999"},
    {"CELL_CHANNEL", "int -999"},
    {"CELL_CHAN_BW_DL", "string "},
    {"CELL_CHAN_BW_UL", "string "},
    {"CELL_CID", "int 0"},
    {"CELL_EARFCN", "int -999"},
    {"CELL_ECIO", "int -999"},
    {"CELL_LAC", "int 0"},
    {"CELL_LTE_BAND", "int -999"},
    {"CELL_LTE_RSRP", "int -999"},
    {"CELL_LTE_RSRQ", "int -999"},
    {"CELL_LTE_RSSI", "int -999"},
    {"CELL_LTE_SINR", "real -999.0"},
    {"CELL_LTE_SQI", "int -999"},
    {"CELL_MCC", "string "},
    {"CELL_MNC", "string "},
    {"CELL_NET_TYPE", "string "},
    {"CELL_NET_TYPE_INT", "int 0"},
    {"CELL_NR5G_BAND", "int -999"},
    {"CELL_NR5G_RSRP", "int -999"},
    {"CELL_NR5G_RSRQ", "int -999"},
    {"CELL_NR5G_SINR", "real -999.0"},
    {"CELL_NR5G_SQI", "int -999"},
    {"CELL_PCID", "int -999"},
    {"CELL_RAC", "int -999"},
    {"CELL_RSRP", "int -999"},
    {"CELL_RSRQ", "int -999"},
    {"CELL_RSSI", "int -999"},
    {"CELL_RXLEV", "int -999"},
    {"CELL_SINR", "real -999.0"},
    {"CELL_SQI", "int -999"},
    {"CELL_TAC", "int -999"},
    {"CELL_TXP", "int -999"},
    {"CELL_UARFCN", "int -999"},
};
// clang-format on

bool in_expected_catalogue(const std::string &key) {
    return std::ranges::any_of(CATALOGUE, [&key](const catalogue_row &row) { return row.key == key; });
}

TEST(cell_catalogue, has_the_36_keys_in_bytewise_order) {
    ASSERT_EQ(CELL_CATALOGUE.size(), 36U);
    ASSERT_EQ(std::size(CATALOGUE), 36U);
    for (std::size_t i = 0; i < CELL_CATALOGUE.size(); ++i) {
        EXPECT_STREQ(CELL_CATALOGUE.at(i).name, CATALOGUE[i].key);
    }
}

TEST(cell_catalogue, every_key_has_its_kind_and_default) {
    for (const catalogue_row &row : CATALOGUE) {
        SCOPED_TRACE(row.key);
        update_cell_stats_map(row.key, "7");
        update_cell_stats_map(row.key, "");
        EXPECT_THAT(publish(), SizeIs(1));
        EXPECT_EQ(fake::cell(row.key), row.after_empty_update);
    }
}

// Most of its use is at compile time, where a wrong answer would only let a misspelt key through.
TEST(cell_catalogue, knows_its_keys_whole_and_no_others) {
    for (const ::catalogue_row &row : CELL_CATALOGUE) {
        EXPECT_STREQ(CELL_CATALOGUE.at(cell_catalogue_index(row.name)).name, row.name);
    }
    for (const char *other : {"", "CELL_", "CELL_MC", "CELL_MCCC", "cell_mcc", "CELL_RSCP"}) {
        EXPECT_EQ(cell_catalogue_index(other), CELL_CATALOGUE.size()) << other;
    }
}

// One letter less and one more than each key, and the neighbours of the first and the last in bytewise order.
TEST(cell_catalogue, a_key_just_beside_each_one_is_unknown) {
    std::vector<std::string> strangers{"",          "CELL_",     "CELL_ARFCM", "CELL_ARFC", "CELL_UARFCO",
                                       "cell_rsrp", "CELL_RSRP "};
    for (const catalogue_row &row : CATALOGUE) {
        const std::string key = row.key;
        for (const std::string &candidate : {key.substr(0, key.size() - 1), key + "0", key + "_"}) {
            if (!in_expected_catalogue(candidate)) {
                strangers.push_back(candidate);
            }
        }
    }
    for (const std::string &key : strangers) {
        SCOPED_TRACE(key);
        EXPECT_EQ(cell_catalogue_index(key), CELL_CATALOGUE.size());
        update_cell_stats_map(key.c_str(), "7");
        EXPECT_THAT(publish(), IsEmpty());
    }
    EXPECT_THAT(fake::log_lines(), IsEmpty());
}

TEST(cell_catalogue, rscp_is_dropped_without_a_trace) {
    update_cell_stats_map("CELL_RSCP", "-70");
    EXPECT_THAT(platform().journal, IsEmpty());
    EXPECT_THAT(publish(), IsEmpty());
    EXPECT_EQ(fake::cell("CELL_RSCP"), "");
}

TEST(cell_value, of_an_unknown_kind_is_neither_changed_nor_marked) {
    cell_stat &stat = cell_stats_map.at(cell_catalogue_index("CELL_LAC"));
    stat.kind = static_cast<value_kind>(1);
    update_cell_stats_map("CELL_LAC", "5");
    EXPECT_FALSE(stat.updated);
    EXPECT_EQ(stat.int_value, 0);
    stat.updated = true;
    save_cell_stats_map_to_sysdb();
    EXPECT_EQ(fake::cell("CELL_LAC"), "");
}

TEST(cell_catalogue, nothing_is_marked_at_the_start) {
    EXPECT_THAT(publish(), IsEmpty());
}

// --- Publication ---

TEST(publication, all_keys_go_out_in_bytewise_order) {
    for (const catalogue_row &row : CATALOGUE) {
        update_cell_stats_map(row.key, "1");
    }
    std::vector<std::string> keys;
    for (const std::string &line : publish()) {
        keys.push_back(line.substr(line.find(' ') + 1, line.find(' ', line.find(' ') + 1) - line.find(' ') - 1));
    }
    EXPECT_THAT(keys, ElementsAre("CELL_ARFCN", "CELL_BAND", "CELL_BSIC", "CELL_CHANNEL", "CELL_CHAN_BW_DL",
                                  "CELL_CHAN_BW_UL", "CELL_CID", "CELL_EARFCN", "CELL_ECIO", "CELL_LAC",
                                  "CELL_LTE_BAND", "CELL_LTE_RSRP", "CELL_LTE_RSRQ", "CELL_LTE_RSSI", "CELL_LTE_SINR",
                                  "CELL_LTE_SQI", "CELL_MCC", "CELL_MNC", "CELL_NET_TYPE", "CELL_NET_TYPE_INT",
                                  "CELL_NR5G_BAND", "CELL_NR5G_RSRP", "CELL_NR5G_RSRQ", "CELL_NR5G_SINR",
                                  "CELL_NR5G_SQI", "CELL_PCID", "CELL_RAC", "CELL_RSRP", "CELL_RSRQ", "CELL_RSSI",
                                  "CELL_RXLEV", "CELL_SINR", "CELL_SQI", "CELL_TAC", "CELL_TXP", "CELL_UARFCN"));
}

TEST(publication, is_one_transaction_with_only_the_keys_updated_since_the_last) {
    update_cell_stats_map("CELL_CHANNEL", "5230");
    update_cell_stats_map("CELL_BSIC", "12");
    update_cell_stats_map("CELL_BAND", "2");
    publish();
    EXPECT_THAT(platform().journal,
                ElementsAre("sysdb_init 0", "sysdb_txn_start CELL 0", "sysdb_write_int CELL_BAND int 2",
                            "sysdb_write_int CELL_BSIC int 12", "sysdb_write_int CELL_CHANNEL int 5230",
                            "sysdb_txn_end", "sysdb_exit"));
    update_cell_stats_map("CELL_BSIC", "13");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_BSIC int 13"));
    EXPECT_THAT(publish(), IsEmpty());
    EXPECT_EQ(fake::cell("CELL_BAND"), "int 2");
}

TEST(publication, two_updates_of_a_key_publish_the_last_value_once) {
    update_cell_stats_map("CELL_RSRP", "-95");
    update_cell_stats_map("CELL_RSRP", "-96");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -96"));
}

TEST(publication, the_same_value_again_is_published_again) {
    update_cell_stats_map("CELL_RSRP", "-95");
    publish();
    update_cell_stats_map("CELL_RSRP", "-95");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
}

TEST(publication, a_database_that_cannot_be_opened_keeps_the_marks_in_silence) {
    update_cell_stats_map("CELL_RSRP", "-95");
    fake::fail("sysdb_init");
    publish();
    EXPECT_THAT(platform().journal, ElementsAre("sysdb_init 0"));
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
}

TEST(publication, a_transaction_that_does_not_start_keeps_the_marks_and_closes_the_session) {
    update_cell_stats_map("CELL_RSRP", "-95");
    fake::fail("sysdb_txn_start");
    publish();
    EXPECT_THAT(platform().journal, ElementsAre("sysdb_init 0", "sysdb_txn_start CELL 0", "sysdb_exit"));
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
}

TEST(publication, a_failed_commit_keeps_the_marks) {
    update_cell_stats_map("CELL_RSRP", "-95");
    update_cell_stats_map("CELL_SINR", "3");
    fake::fail("sysdb_txn_end");
    publish();
    EXPECT_EQ(fake::cell("CELL_RSRP"), "");
    EXPECT_THAT(fake::log_lines(), IsEmpty());
    update_cell_stats_map("CELL_RSRP", "-96");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -96", "sysdb_write_dbl CELL_SINR real 3.0"));
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -96");
    EXPECT_THAT(publish(), IsEmpty());
}

TEST(publication, any_value_but_0_of_the_database_is_a_failure) {
    platform().failure = 1;
    for (const char *operation : {"sysdb_init", "sysdb_txn_start", "sysdb_txn_end"}) {
        SCOPED_TRACE(operation);
        update_cell_stats_map("CELL_RSRP", "-95");
        fake::fail(operation);
        publish();
        EXPECT_EQ(fake::cell("CELL_RSRP"), "");
        EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
        platform().databases.clear();
    }
}

TEST(publication, a_failed_write_of_one_key_is_silent_and_the_others_go_out) {
    update_cell_stats_map("CELL_BAND", "2");
    update_cell_stats_map("CELL_BSIC", "12");
    fake::fail("sysdb_write_int");
    publish();
    EXPECT_EQ(fake::cell("CELL_BSIC"), "int 12");
    EXPECT_THAT(fake::log_lines(), IsEmpty());
}

TEST(publication, the_atomic_half_writes_into_the_callers_transaction_only) {
    update_cell_stats_map("CELL_RSRP", "-95");
    sysdb_handle handle{};
    sysdb_init(&handle, 0);
    sysdb_txn_start(&handle, "CELL", 0);
    platform().journal.clear();
    save_cell_stats_map_to_sysdb_atomic(&handle);
    EXPECT_THAT(platform().journal, ElementsAre("sysdb_write_int CELL_RSRP int -95"));
    sysdb_txn_end(&handle);
    sysdb_exit(&handle);
    EXPECT_THAT(publish(), IsEmpty());
}

// Of a publication that failed, only what it wrote itself is marked again.
TEST(publication, what_another_transaction_took_along_stays_taken_when_a_later_one_fails) {
    update_cell_stats_map("CELL_RSRP", "-95");
    sysdb_handle handle{};
    sysdb_init(&handle, 0);
    sysdb_txn_start(&handle, "CELL", 0);
    save_cell_stats_map_to_sysdb_atomic(&handle);
    sysdb_txn_end(&handle);
    sysdb_exit(&handle);
    fake::fail("sysdb_init");
    publish();
    EXPECT_THAT(publish(), IsEmpty());
}

TEST(publication, of_two_failed_commits_nothing_is_marked_twice) {
    update_cell_stats_map("CELL_RSRP", "-95");
    fake::fail("sysdb_txn_end", 1);
    fake::fail("sysdb_txn_end", 2);
    publish();
    publish();
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
    fake::fail("sysdb_init");
    publish();
    EXPECT_THAT(publish(), IsEmpty());
}

// --- Exceptions ---

TEST(publication, an_exception_of_a_write_is_logged_and_what_was_not_reached_stays_marked) {
    update_cell_stats_map("CELL_BAND", "2");
    update_cell_stats_map("CELL_BSIC", "12");
    update_cell_stats_map("CELL_CHANNEL", "5230");
    fake::before("sysdb_write_int", 2, [] { throw std::runtime_error("full"); });
    publish();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception full in save_cell_stats_map_to_sysdb_atomic"));
    EXPECT_THAT(fake::journal_of({"sysdb_txn_end", "sysdb_exit"}), ElementsAre("sysdb_txn_end", "sysdb_exit"));
    EXPECT_EQ(fake::cell("CELL_BAND"), "int 2");
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_CHANNEL int 5230"));
}

class publication_exception : public testing::TestWithParam<const char *> {};

TEST_P(publication_exception, is_logged_and_keeps_the_marks) {
    update_cell_stats_map("CELL_RSRP", "-95");
    fake::before(GetParam(), 1, [] { throw std::runtime_error("broken"); });
    publish();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception broken in save_cell_stats_map_to_sysdb"));
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_RSRP int -95"));
}

INSTANTIATE_TEST_SUITE_P(of, publication_exception,
                         testing::Values("sysdb_init", "sysdb_txn_start", "sysdb_txn_end", "sysdb_exit"),
                         [](const auto &test) { return std::string(test.param); });

TEST(database_transaction, tells_whether_everything_was_committed) {
    const auto write = [](sysdb_handle *handle) { sysdb_write_int(handle, "CELL_RSRP", -95, 0); };
    for (const char *operation : {"sysdb_init", "sysdb_txn_start", "sysdb_txn_end"}) {
        SCOPED_TRACE(operation);
        fake::fail(operation);
        EXPECT_FALSE(in_sysdb_transaction("CELL", 0, write));
        EXPECT_EQ(fake::cell("CELL_RSRP"), "");
    }
    EXPECT_TRUE(in_sysdb_transaction("CELL", 0, write));
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -95");
}

// --- Group resets ---

TEST(group_reset, lte_values_get_their_defaults_and_nothing_else_does) {
    reset_lte_values();
    EXPECT_THAT(publish(),
                ElementsAre("sysdb_write_int CELL_LTE_BAND int -999", "sysdb_write_int CELL_LTE_RSRP int -999",
                            "sysdb_write_int CELL_LTE_RSRQ int -999", "sysdb_write_int CELL_LTE_RSSI int -999",
                            "sysdb_write_dbl CELL_LTE_SINR real -999.0", "sysdb_write_int CELL_LTE_SQI int -999"));
}

TEST(group_reset, nr5g_values_get_their_defaults_and_nothing_else_does) {
    reset_nr5g_values();
    EXPECT_THAT(publish(),
                ElementsAre("sysdb_write_int CELL_NR5G_BAND int -999", "sysdb_write_int CELL_NR5G_RSRP int -999",
                            "sysdb_write_int CELL_NR5G_RSRQ int -999", "sysdb_write_dbl CELL_NR5G_SINR real -999.0",
                            "sysdb_write_int CELL_NR5G_SQI int -999"));
}

TEST(group_reset, signal_values_get_their_defaults_and_nothing_else_does) {
    reset_signal_values();
    EXPECT_THAT(publish(), ElementsAre("sysdb_write_int CELL_BAND int -999", "sysdb_write_int CELL_RSRP int -999",
                                       "sysdb_write_int CELL_RSRQ int -999", "sysdb_write_int CELL_RSSI int -999",
                                       "sysdb_write_dbl CELL_SINR real -999.0", "sysdb_write_int CELL_SQI int -999"));
}

// The keys that a reset updates, in its order, which nothing that leaves the map shows: each key gets a default text of
// a length of its own, and copying that allocates just so much.
std::vector<std::string> keys_in_order_of(void (*reset)()) {
    constexpr std::size_t LENGTH_OF_FIRST = 100;
    auto original = cell_stats_map;
    std::vector<std::string> keys;
    for (cell_stat &stat : cell_stats_map) {
        stat.kind = VALUE_STRING;
        stat.default_text.assign(LENGTH_OF_FIRST + keys.size(), 'x');
        keys.emplace_back(stat.key);
    }
    static std::vector<std::size_t> sizes;
    sizes.clear();
    sizes.reserve(keys.size());
    before_allocation = [](std::size_t size) { sizes.push_back(size); };
    reset();
    before_allocation = nullptr;
    std::vector<std::string> order;
    order.reserve(sizes.size());
    for (const std::size_t size : sizes) {
        order.push_back(keys.at(size - LENGTH_OF_FIRST - 1));
    }
    cell_stats_map.swap(original);
    return order;
}

TEST(group_reset, each_has_its_order) {
    EXPECT_THAT(keys_in_order_of(reset_lte_values), ElementsAre("CELL_LTE_RSRP", "CELL_LTE_SQI", "CELL_LTE_SINR",
                                                                "CELL_LTE_RSRQ", "CELL_LTE_BAND", "CELL_LTE_RSSI"));
    EXPECT_THAT(keys_in_order_of(reset_nr5g_values),
                ElementsAre("CELL_NR5G_RSRP", "CELL_NR5G_SQI", "CELL_NR5G_SINR", "CELL_NR5G_RSRQ", "CELL_NR5G_BAND"));
    EXPECT_THAT(keys_in_order_of(reset_signal_values),
                ElementsAre("CELL_RSRP", "CELL_RSRQ", "CELL_RSSI", "CELL_SQI", "CELL_SINR", "CELL_BAND"));
}

// --- Clearing ---

TEST(database_clearing, whole_journal) {
    clear_sysdb_values();
    EXPECT_THAT(platform().journal, ElementsAreArray(journal_of_clearing_the_database()));
}

TEST(database_clearing, other_pending_values_go_out_with_it) {
    update_cell_stats_map("CELL_CID", "4711");
    update_cell_stats_map("CELL_RSRP", "-95");
    clear_sysdb_values();
    EXPECT_EQ(fake::cell("CELL_CID"), "int 4711");
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -999");
    EXPECT_THAT(fake::journal_of({"sysdb_txn_end"}), SizeIs(7));  // one for all values, one for each carrier
    EXPECT_THAT(publish(), IsEmpty());
}

TEST(database_clearing, cell_identity_keeps_its_last_values_while_the_signal_keys_do_not) {
    for (const char *key : {"CELL_CID", "CELL_LAC", "CELL_CHANNEL", "CELL_RSRP", "CELL_LTE_RSRP", "CELL_NR5G_RSRP"}) {
        update_cell_stats_map(key, "77");
    }
    update_cell_stats_map("CELL_NET_TYPE", "LTE");
    publish();
    clear_sysdb_values();
    EXPECT_EQ(fake::cell("CELL_CID"), "int 77");
    EXPECT_EQ(fake::cell("CELL_LAC"), "int 77");
    EXPECT_EQ(fake::cell("CELL_CHANNEL"), "int 77");
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string LTE");
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -999");
    EXPECT_EQ(fake::cell("CELL_LTE_RSRP"), "int -999");
    EXPECT_EQ(fake::cell("CELL_NR5G_RSRP"), "int -999");
}

TEST(database_clearing, carrier_keys_are_deleted) {
    for (const char *key : {"CELL_BAND_SCC_1", "CELL_SINR_SCC_6", "CELL_CHAN_BW_DL_SCC_3"}) {
        platform().databases["CELL"][key] = 1;
    }
    clear_sysdb_values();
    EXPECT_EQ(fake::cell("CELL_BAND_SCC_1"), "");
    EXPECT_EQ(fake::cell("CELL_SINR_SCC_6"), "");
    EXPECT_EQ(fake::cell("CELL_CHAN_BW_DL_SCC_3"), "");
}

TEST(database_clearing, a_database_that_cannot_be_opened_still_deletes_the_carriers_and_keeps_the_marks) {
    fake::fail("sysdb_init");
    clear_sysdb_values();
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "");
    EXPECT_THAT(fake::journal_of({"sysdb_del"}), SizeIs(42));
    EXPECT_THAT(fake::log_lines(), IsEmpty());
    EXPECT_THAT(publish(), SizeIs(17));
}

TEST(database_clearing, a_transaction_that_does_not_start_closes_the_session_and_deletes_the_carriers) {
    fake::fail("sysdb_txn_start");
    clear_sysdb_values();
    const std::vector<std::string> journal = platform().journal;
    EXPECT_EQ(std::vector<std::string>(journal.begin(), journal.begin() + 3),
              (std::vector<std::string>{"sysdb_init 0", "sysdb_txn_start CELL 0", "sysdb_exit"}));
    EXPECT_THAT(fake::journal_of({"sysdb_del"}), SizeIs(42));
    EXPECT_THAT(publish(), SizeIs(17));
}

TEST(database_clearing, a_failed_commit_keeps_the_marks) {
    fake::fail("sysdb_txn_end");
    clear_sysdb_values();
    EXPECT_EQ(fake::cell("CELL_RSRP"), "");
    EXPECT_THAT(publish(), SizeIs(17));
}

class clearing_exception : public testing::TestWithParam<const char *> {};

TEST_P(clearing_exception, is_logged_under_the_name_of_the_clearing_and_skips_the_carriers) {
    fake::before(GetParam(), 1, [] { throw std::runtime_error("broken"); });
    clear_sysdb_values();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception broken in clear_sysdb_values"));
    EXPECT_THAT(fake::journal_of({"sysdb_del"}), IsEmpty());
    EXPECT_THAT(publish(), SizeIs(17));
}

// The first integers and strings are the registration, connection and address keys, which are no part of the map.
INSTANTIATE_TEST_SUITE_P(of, clearing_exception,
                         testing::Values("sysdb_init", "sysdb_txn_start", "sysdb_write_int", "sysdb_write_str",
                                         "sysdb_txn_end", "sysdb_exit"),
                         [](const auto &test) { return std::string(test.param); });

}  // namespace
