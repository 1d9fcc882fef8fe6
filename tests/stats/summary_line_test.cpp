// The summary line: 29 fields at fixed places, each from a key that may be missing, unreadable or of any content.
#include "stats/summary_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "tests/fake_platform/fake_platform.h"

namespace {

using strings = std::vector<std::string>;
using testing::ElementsAre;

constexpr std::size_t FIELDS = 29;

// "No radio", 12 empty fields, "no roam", 15 empty fields.
const std::string NOTHING_KNOWN = "No radio, , , , , , , , , , , , , no roam, , , , , , , , , , , , , , , ";

class summary_line : public testing::Test {
protected:
    // The maps keep the last reading over the tests of one process; an empty one begins each.
    summary_line() {
        fake::reset();
        fake::platform().databases["CELL"];
        fake::platform().databases["GPIO"];
        update_rssimon_sysdb_values();
        fake::reset();
    }

    static std::string line() {
        fake::platform().journal.clear();
        update_rssimon_sysdb_values();
        const std::string stored = fake::cell("CELL_RSSIMON");
        return stored.substr(std::min(stored.size(), std::string("string ").size()));
    }

    static fake::database &cell() { return fake::platform().databases["CELL"]; }

    static fake::database &gpio() { return fake::platform().databases["GPIO"]; }

    static strings fields_of(const std::string &text) {
        strings fields;
        std::size_t begin = 0;
        for (std::size_t end = text.find(", "); end != std::string::npos; end = text.find(", ", begin)) {
            fields.push_back(text.substr(begin, end - begin));
            begin = end + 2;
        }
        fields.push_back(text.substr(begin));
        return fields;
    }

    // By its position, counted from 1.
    static std::string field(std::size_t position) {
        const strings fields = fields_of(line());
        EXPECT_EQ(fields.size(), FIELDS);
        return fields.at(position - 1);
    }
};

TEST_F(summary_line, with_nothing_known_says_no_radio) {
    cell();
    gpio();
    EXPECT_EQ(line(), NOTHING_KNOWN);
}

TEST_F(summary_line, any_value_but_0_says_that_a_key_cannot_be_read) {
    fake::platform().failure = 1;
    cell();
    gpio();
    EXPECT_EQ(line(), NOTHING_KNOWN);
}

TEST_F(summary_line, with_both_databases_missing_says_no_radio) {
    EXPECT_EQ(line(), NOTHING_KNOWN);
}

TEST_F(summary_line, journal_of_a_reading_is_in_the_written_order) {
    cell();
    gpio();
    update_rssimon_sysdb_values();
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("sysdb_init 131072", "sysdb_txn_start CELL 131072", "sysdb_txn_end", "sysdb_exit",
                            "sysdb_init 131072", "sysdb_txn_start GPIO 131072", "sysdb_txn_end", "sysdb_exit",
                            "sysdb_namedb_write_str CELL CELL_RSSIMON string " + NOTHING_KNOWN));
}

TEST_F(summary_line, has_every_field_at_its_place) {
    cell() = {{"CELL_MODEL", "EC25"},    {"CELL_SQI", 60},
              {"CELL_RSSI", -65},        {"CELL_RSCP", -80},
              {"CELL_RSRP", -95},        {"CELL_RSRQ", -11},
              {"CELL_ECIO", -7},         {"CELL_SINR", 12},
              {"CELL_CHANNEL", 5230},    {"CELL_BAND", 2},
              {"CELL_CHAN_BW_DL", "20"}, {"CELL_NET_TYPE", "LTE"},
              {"CELL_ROAMING", 1},       {"CELL_CID", 27447297},
              {"CELL_TAC", 31500},       {"CELL_LAC", 11101},
              {"CELL_MCC", "310"},       {"CELL_MNC", "00"},
              {"CELL_RSSI_SCC_1", -68},  {"CELL_RSRP_SCC_1", -99},
              {"CELL_BAND_SCC_1", 66},   {"CELL_CHAN_BW_DL_SCC_1", "1.4"},
              {"CELL_ICCID", "8901260"}, {"CELL_SIM_SEL", 1}};
    gpio() = {{"GPIO_TEMP", 41.5}};
    EXPECT_EQ(line(), "EC25, SQI: 60%, RSSI: -65 dBm, RSCP: -80 dBm, RSRP: -95 dBm, RSRQ: -11 dB, Ec/Io: -7 dBm, "
                      "SNR: 12 dB, Chan: 5230, TxChan: 5230, Band: 2, BW: 20, RAT: LTE, ROAMING, , , , "
                      "Cell-ID: 27447297, TAC: 31500, LAC: 11101, MCC: 310, MNC: 00, 2nd RSSI: -68 dBm, "
                      "RSRP2: -99 dBm, 2nd Band: 66, 2nd BW: 1.4, ICCID: 8901260, SIM: 1, Temp: 41.500000");
}

struct field_row {
    std::size_t position;
    const char *key;
    fake::value stored;
    const char *text;
    const char *missing;
};

// Each alone, so that a field that took its neighbour's key would show.
const std::array<field_row, 26> EACH_FIELD{{
    {1, "CELL_MODEL", "RM520N", "RM520N", "No radio"},
    {2, "CELL_SQI", 100, "SQI: 100%", ""},
    {3, "CELL_RSSI", -999, "RSSI: -999 dBm", ""},
    {4, "CELL_RSCP", -999, "RSCP: -999 dBm", ""},
    {5, "CELL_RSRP", -44, "RSRP: -44 dBm", ""},
    {6, "CELL_RSRQ", -3, "RSRQ: -3 dB", ""},
    {7, "CELL_ECIO", -24, "Ec/Io: -24 dBm", ""},
    {8, "CELL_SINR", -20, "SNR: -20 dB", ""},
    {9, "CELL_CHANNEL", 1300, "Chan: 1300", ""},
    {10, "CELL_CHANNEL", 1300, "TxChan: 1300", ""},
    {11, "CELL_BAND", 3, "Band: 3", ""},
    {12, "CELL_CHAN_BW_DL", "-999", "BW: -999", ""},
    {13, "CELL_NET_TYPE", "5G NSA", "RAT: 5G NSA", ""},
    {14, "CELL_ROAMING", 1, "ROAMING", "no roam"},
    {18, "CELL_CID", 2147483647, "Cell-ID: 2147483647", ""},
    {19, "CELL_TAC", 0, "TAC: 0", ""},
    {20, "CELL_LAC", -2147483647 - 1, "LAC: -2147483648", ""},
    {21, "CELL_MCC", "001", "MCC: 001", ""},
    {22, "CELL_MNC", "", "MNC: ", ""},
    {23, "CELL_RSSI_SCC_1", -70, "2nd RSSI: -70 dBm", ""},
    {24, "CELL_RSRP_SCC_1", -90, "RSRP2: -90 dBm", ""},
    {25, "CELL_BAND_SCC_1", 1, "2nd Band: 1", ""},
    {26, "CELL_CHAN_BW_DL_SCC_1", "15", "2nd BW: 15", ""},
    {27, "CELL_ICCID", "89", "ICCID: 89", ""},
    {28, "CELL_SIM_SEL", 2, "SIM: 2", ""},
    {29, "GPIO_TEMP", -0.25, "Temp: -0.250000", ""},
}};

TEST_F(summary_line, a_key_alone_fills_its_own_field_only_and_a_deleted_one_leaves_it) {
    const strings nothing_known = fields_of(NOTHING_KNOWN);
    for (const field_row &each : EACH_FIELD) {
        SCOPED_TRACE(each.key);
        fake::platform().databases = {{"CELL", {}}, {"GPIO", {}}};
        (each.position == FIELDS ? gpio() : cell())[each.key] = each.stored;
        strings fields = fields_of(line());
        ASSERT_EQ(fields.size(), FIELDS);
        EXPECT_EQ(fields[each.position - 1], each.text);
        fields[each.position - 1] = each.missing;
        if (std::string(each.key) == "CELL_CHANNEL") {
            fields[8] = fields[9] = "";
        }
        EXPECT_EQ(fields, nothing_known);

        (each.position == FIELDS ? gpio() : cell()).erase(each.key);
        EXPECT_EQ(line(), NOTHING_KNOWN);
    }
}

TEST_F(summary_line, a_reading_that_fails_leaves_the_field_empty_although_the_value_is_there) {
    // Reading goes through the keys in bytewise order: the first integer is CELL_BAND, the first text CELL_CHAN_BW_DL.
    cell() = {{"CELL_BAND", 3}, {"CELL_BAND_SCC_1", 1}, {"CELL_CHAN_BW_DL", "20"}, {"CELL_CHAN_BW_DL_SCC_1", "10"}};
    gpio() = {{"GPIO_TEMP", 20.0}};
    line();
    for (const auto &[operation, position] :
         {std::pair("sysdb_read_int", 11), {"sysdb_read_str", 12}, {"sysdb_read_dbl", 29}}) {
        SCOPED_TRACE(operation);
        fake::fail(operation, 1);
        strings with_failure = fields_of(line());
        EXPECT_EQ(with_failure[static_cast<std::size_t>(position) - 1], "");
        strings next = fields_of(line());
        EXPECT_NE(next[static_cast<std::size_t>(position) - 1], "");
        next[static_cast<std::size_t>(position) - 1] = "";
        EXPECT_EQ(with_failure, next) << "no other field is touched";
    }
}

TEST_F(summary_line, an_unreadable_model_is_no_radio_and_unreadable_roaming_is_no_roam) {
    cell() = {{"CELL_MODEL", 25}, {"CELL_ROAMING", "1"}};
    EXPECT_EQ(field(1), "No radio");
    EXPECT_EQ(field(14), "no roam");
}

TEST_F(summary_line, roaming_is_any_number_but_zero) {
    struct row {
        const char *why;
        int stored;
        const char *text;
    };
    static constexpr row ROWS[] = {
        {"at home", 0, "no roam"},      {"roaming", 1, "ROAMING"},         {"other number", 2, "ROAMING"},
        {"negative", -1, "ROAMING"},    {"not reported", -999, "ROAMING"}, {"highest", 2147483647, "ROAMING"},
        {"back at home", 0, "no roam"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        cell()["CELL_ROAMING"] = each.stored;
        EXPECT_EQ(field(14), each.text);
    }
}

TEST_F(summary_line, roaming_that_was_true_and_vanished_is_no_roam) {
    cell()["CELL_ROAMING"] = 1;
    EXPECT_EQ(field(14), "ROAMING");
    cell().erase("CELL_ROAMING");
    EXPECT_EQ(field(14), "no roam");
}

TEST_F(summary_line, sinr_is_published_as_a_real_and_shown_in_whole_decibels) {
    cell()["CELL_SINR"] = 12.4;
    EXPECT_EQ(field(8), "SNR: 12 dB");
    cell()["CELL_SINR"] = -999.0;
    EXPECT_EQ(field(8), "SNR: -999 dB");
}

TEST_F(summary_line, a_field_is_cut_to_63_characters_with_its_label) {
    struct row {
        const char *why;
        std::size_t position;
        const char *key;
        std::size_t length;
        std::size_t shown;
    };
    static constexpr row ROWS[] = {
        {"model, one less", 1, "CELL_MODEL", 62, 62},
        {"model, just fits", 1, "CELL_MODEL", 63, 63},
        {"model, one more", 1, "CELL_MODEL", 64, 63},
        {"model, more than the database reads", 1, "CELL_MODEL", 500, 63},
        {"label of 5 and 58", 21, "CELL_MCC", 58, 58},
        {"label of 5 and 59", 21, "CELL_MCC", 59, 58},
        {"label of 7 and 57", 27, "CELL_ICCID", 57, 56},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        fake::platform().databases = {{"CELL", {{each.key, std::string(each.length, 'x')}}}, {"GPIO", {}}};
        const std::string shown = field(each.position);
        EXPECT_EQ(std::count(shown.begin(), shown.end(), 'x'), each.shown);
    }
}

TEST_F(summary_line, a_temperature_has_six_decimals) {
    struct row {
        const char *why;
        double stored;
        std::string text;
    };
    const row rows[] = {
        {"half a degree", 41.5, "Temp: 41.500000"},
        {"rounded at the sixth", 0.1234567, "Temp: 0.123457"},
        {"zero", 0.0, "Temp: 0.000000"},
        {"not reported", -999.0, "Temp: -999.000000"},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        gpio()["GPIO_TEMP"] = each.stored;
        EXPECT_EQ(field(29), each.text);
    }
}

TEST_F(summary_line, an_integer_temperature_is_shown_as_the_real_that_it_is) {
    gpio()["GPIO_TEMP"] = 41;
    EXPECT_EQ(field(29), "Temp: 41.000000");
}

TEST_F(summary_line, reads_each_key_by_its_kind_and_texts_into_128_bytes) {
    cell();
    gpio();
    fake::platform().reads.clear();
    update_rssimon_sysdb_values();
    EXPECT_THAT(fake::platform().reads,
                ElementsAre("sysdb_read_int CELL_BAND", "sysdb_read_int CELL_BAND_SCC_1", "sysdb_read_int CELL_CHANNEL",
                            "sysdb_read_str CELL_CHAN_BW_DL 128", "sysdb_read_str CELL_CHAN_BW_DL_SCC_1 128",
                            "sysdb_read_int CELL_CID", "sysdb_read_int CELL_ECIO", "sysdb_read_str CELL_ICCID 128",
                            "sysdb_read_int CELL_LAC", "sysdb_read_str CELL_MCC 128", "sysdb_read_str CELL_MNC 128",
                            "sysdb_read_str CELL_MODEL 128", "sysdb_read_str CELL_NET_TYPE 128",
                            "sysdb_read_int CELL_ROAMING", "sysdb_read_int CELL_RSCP", "sysdb_read_int CELL_RSRP",
                            "sysdb_read_int CELL_RSRP_SCC_1", "sysdb_read_int CELL_RSRQ", "sysdb_read_int CELL_RSSI",
                            "sysdb_read_int CELL_RSSI_SCC_1", "sysdb_read_int CELL_SIM_SEL", "sysdb_read_int CELL_SINR",
                            "sysdb_read_int CELL_SQI", "sysdb_read_int CELL_TAC", "sysdb_read_dbl GPIO_TEMP"));
}

TEST_F(summary_line, the_longest_line_is_stored_whole) {
    const std::string longest(63, 'x');
    for (const char *key : {"CELL_MODEL", "CELL_CHAN_BW_DL", "CELL_NET_TYPE", "CELL_MCC", "CELL_MNC",
                            "CELL_CHAN_BW_DL_SCC_1", "CELL_ICCID"}) {
        cell()[key] = longest;
    }
    for (const char *key : {"CELL_SQI", "CELL_RSSI", "CELL_RSSI_SCC_1", "CELL_RSCP", "CELL_ECIO", "CELL_SINR",
                            "CELL_RSRP", "CELL_RSRP_SCC_1", "CELL_RSRQ", "CELL_CHANNEL", "CELL_ROAMING", "CELL_BAND",
                            "CELL_BAND_SCC_1", "CELL_CID", "CELL_TAC", "CELL_LAC", "CELL_SIM_SEL"}) {
        cell()[key] = -2147483647 - 1;
    }
    gpio()["GPIO_TEMP"] = -1e300;
    const std::string text = line();
    const strings fields = fields_of(text);
    ASSERT_EQ(fields.size(), FIELDS);
    for (const std::size_t full : {1U, 12U, 13U, 21U, 22U, 26U, 27U, 29U}) {
        EXPECT_EQ(fields[full - 1].size(), 63U) << full;
    }
    EXPECT_LE(text.size(), 1883U) << "29 fields of 63 characters and 28 separators of 2";
    EXPECT_EQ(fields[9], "TxChan: -2147483648");
}

TEST_F(summary_line, a_session_that_cannot_be_opened_repeats_the_last_values) {
    cell()["CELL_MODEL"] = "EC25";
    gpio()["GPIO_TEMP"] = 1.0;
    const std::string before = line();
    struct row {
        const char *why;
        const char *operation;
        int nth;
        const char *model;
        const char *temperature;
        strings sessions;
    };
    const row rows[] = {
        {"no session for CELL",
         "sysdb_init",
         1,
         "EC25",
         "Temp: 2.000000",
         {"sysdb_init 131072", "sysdb_init 131072", "sysdb_txn_start GPIO 131072", "sysdb_txn_end", "sysdb_exit"}},
        {"no transaction for CELL",
         "sysdb_txn_start",
         1,
         "EC25",
         "Temp: 2.000000",
         {"sysdb_init 131072", "sysdb_txn_start CELL 131072", "sysdb_exit", "sysdb_init 131072",
          "sysdb_txn_start GPIO 131072", "sysdb_txn_end", "sysdb_exit"}},
        {"no session for GPIO",
         "sysdb_init",
         2,
         "EC21",
         "Temp: 1.000000",
         {"sysdb_init 131072", "sysdb_txn_start CELL 131072", "sysdb_txn_end", "sysdb_exit", "sysdb_init 131072"}},
        {"no transaction for GPIO",
         "sysdb_txn_start",
         2,
         "EC21",
         "Temp: 1.000000",
         {"sysdb_init 131072", "sysdb_txn_start CELL 131072", "sysdb_txn_end", "sysdb_exit", "sysdb_init 131072",
          "sysdb_txn_start GPIO 131072", "sysdb_exit"}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        cell()["CELL_MODEL"] = "EC25";
        gpio()["GPIO_TEMP"] = 1.0;
        EXPECT_EQ(line(), before);
        cell()["CELL_MODEL"] = "EC21";
        gpio()["GPIO_TEMP"] = 2.0;
        fake::fail(each.operation, each.nth);
        const strings fields = fields_of(line());
        EXPECT_EQ(fields.front(), each.model);
        EXPECT_EQ(fields.back(), each.temperature);
        EXPECT_EQ(fake::journal_of({"sysdb_init", "sysdb_txn_start", "sysdb_txn_end", "sysdb_exit"}), each.sessions);
    }
}

TEST_F(summary_line, every_cycle_stores_a_line_even_an_equal_one) {
    line();
    EXPECT_EQ(fake::journal_of({"sysdb_namedb_write_str"}).size(), 1U);
    line();
    EXPECT_EQ(fake::journal_of({"sysdb_namedb_write_str"}).size(), 1U);
}

TEST_F(summary_line, a_line_that_cannot_be_stored_is_silent) {
    cell()["CELL_RSSIMON"] = "older";
    fake::fail("sysdb_namedb_write_str");
    EXPECT_EQ(line(), "older");
    EXPECT_THAT(fake::log_lines(), ElementsAre());
}

TEST_F(summary_line, an_exception_is_logged_under_its_name_and_the_session_is_closed) {
    cell();
    fake::before("sysdb_read_int", 1, [] { throw std::runtime_error("no memory"); });
    line();
    EXPECT_THAT(fake::platform().journal, ElementsAre("sysdb_init 131072", "sysdb_txn_start CELL 131072", "sysdb_exit",
                                                      "log alert: exception no memory in update_rssimon_sysdb_values"));
}

TEST_F(summary_line, a_reading_that_throws_leaves_no_old_value_valid) {
    cell()["CELL_BAND"] = 3;
    EXPECT_EQ(field(11), "Band: 3");
    fake::before("sysdb_read_int", 1, [] { throw std::runtime_error("no memory"); });  // CELL_BAND, the first in order
    line();
    fake::fail("sysdb_init");  // the line is built from what the maps hold
    EXPECT_EQ(field(11), "");
}

TEST_F(summary_line, an_exception_of_another_type_passes_through) {
    fake::before("sysdb_init", 1, [] { throw 42; });
    EXPECT_THROW(update_rssimon_sysdb_values(), int);
}

TEST_F(summary_line, texts_are_data_not_formats) {
    cell()["CELL_MODEL"] = "%s%n%d";
    cell()["CELL_MCC"] = "%%";
    EXPECT_EQ(field(1), "%s%n%d");
    EXPECT_EQ(field(21), "MCC: %%");
}

}  // namespace
