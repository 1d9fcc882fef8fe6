// The LTE and LTE-M decoder: which column reaches which keys, and where a broken line stops.
#include <algorithm>

#include "decode/lte.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using lte_decoder = decoding_test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *LINE = R"("LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37)";

strings sample_values(const char *type, const char *number) {
    return {
        "CELL_BAND int 2",
        "CELL_CHANNEL int 5230",
        "CELL_CHAN_BW_DL string 20",
        "CELL_CHAN_BW_UL string 20",
        "CELL_CID int 27447297",
        "CELL_EARFCN int 5230",
        "CELL_LTE_BAND int 2",
        "CELL_LTE_RSRP int -95",
        "CELL_LTE_RSRQ int -11",
        "CELL_LTE_RSSI int -65",
        "CELL_LTE_SINR real 12.0",
        "CELL_LTE_SQI int 60",
        "CELL_MCC string 310",
        "CELL_MNC string 260",
        std::string("CELL_NET_TYPE string ") + type,
        std::string("CELL_NET_TYPE_INT int ") + number,
        "CELL_PCID int 123",
        "CELL_RSRP int -95",
        "CELL_RSRQ int -11",
        "CELL_RSSI int -65",
        "CELL_SINR real 12.0",
        "CELL_SQI int 60",
        "CELL_TAC int 31500",
    };
}

TEST_F(lte_decoder, every_column_reaches_its_keys) {
    parse_lte_catm(LINE, true);
    EXPECT_EQ(published(), sample_values("LTE", "20"));
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing LTE:") + LINE,
                                               "debug: parse_lte_catm: update cell net type LTE"));
}

TEST_F(lte_decoder, updates_come_in_the_order_of_the_columns_and_the_type_s_name_before_its_number) {
    taken_updates();
    parse_lte_catm(LINE, true);
    EXPECT_THAT(taken_updates(),
                ElementsAre("CELL_MCC 310", "CELL_MNC 260", "CELL_CID 27447297", "CELL_PCID 123", "CELL_EARFCN 5230",
                            "CELL_CHANNEL 5230", "CELL_BAND 2", "CELL_LTE_BAND 2", "CELL_CHAN_BW_UL 20",
                            "CELL_CHAN_BW_DL 20", "CELL_TAC 31500", "CELL_RSRP -95", "CELL_LTE_RSRP -95", "CELL_SQI 60",
                            "CELL_LTE_SQI 60", "CELL_RSRQ -11", "CELL_LTE_RSRQ -11", "CELL_RSSI -65",
                            "CELL_LTE_RSSI -65", "CELL_SINR 12", "CELL_LTE_SINR 12", "CELL_NET_TYPE LTE",
                            "CELL_NET_TYPE_INT 20"));
}

TEST_F(lte_decoder, the_same_columns_as_catm_end_with_catm_and_10) {
    parse_lte_catm(LINE, false);
    EXPECT_EQ(published(), sample_values("CAT-M", "10"));
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing LTE:") + LINE,
                                               "debug: parse_lte_catm: update cell net type CAT-M"));
}

TEST_F(lte_decoder, columns_behind_the_last_known_one_are_ignored) {
    parse_lte_catm(R"("LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12)", true);
    EXPECT_EQ(published(), sample_values("LTE", "20"));
    parse_lte_catm(R"("LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,-,-,-,-,"-",x)", true);
    EXPECT_EQ(published(), sample_values("LTE", "20"));
}

TEST_F(lte_decoder, a_carriage_return_at_the_end_changes_no_number) {
    parse_lte_catm("\"LTE\",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12\r", true);
    EXPECT_EQ(published(), sample_values("LTE", "20"));
}

TEST_F(lte_decoder, a_column_that_is_not_hexadecimal_stops_the_line_there) {
    const strings until_mnc{"CELL_MCC string 310", "CELL_MNC string 260"};
    const strings until_bandwidth{
        "CELL_BAND int 2",     "CELL_CHANNEL int 5230", "CELL_CHAN_BW_DL string 20", "CELL_CHAN_BW_UL string 20",
        "CELL_CID int 1",      "CELL_EARFCN int 5230",  "CELL_LTE_BAND int 2",       "CELL_MCC string 310",
        "CELL_MNC string 260", "CELL_PCID int 123",
    };
    struct row {
        const char *why;
        const char *cell_identity;
        const char *area_code;
        const char *message;
        int column;
        const strings &values;
    };
    const row rows[] = {
        {"cell identity is a dash", "-", "7B0C", "stol", 4, until_mnc},
        {"cell identity is empty", "", "7B0C", "stol", 4, until_mnc},
        {"cell identity is a word", "none", "7B0C", "stol", 4, until_mnc},
        {"cell identity is one past 32 bits signed", "80000000", "7B0C", "stol", 4, until_mnc},
        {"cell identity is not reported", "FFFFFFFF", "7B0C", "stol", 4, until_mnc},
        {"cell identity has 9 digits", "105FB012D", "7B0C", "stol", 4, until_mnc},
        {"cell identity is beyond 64 bits", "FFFFFFFFFFFFFFFFF", "7B0C", "stol", 4, until_mnc},
        {"area code is a dash", "1", "-", "stoi", 10, until_bandwidth},
        {"area code is empty", "1", "", "stoi", 10, until_bandwidth},
        {"area code is one past 32 bits signed", "1", "80000000", "stoi", 10, until_bandwidth},
        {"area code has 9 digits", "1", "105FB012D", "stoi", 10, until_bandwidth},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        const std::string line = std::string(R"("LTE","FDD",310,260,)") + each.cell_identity + ",123,5230,2,5,5," +
                                 each.area_code + ",-95,-11,-65,12";
        fake::platform().journal.clear();
        parse_lte_catm(line.c_str(), true);
        EXPECT_EQ(published(), each.values);
        EXPECT_THAT(fake::log_lines(),
                    ElementsAre("debug: Parsing LTE:" + line, std::string("alert: exception ") + each.message +
                                                                  " in parse_lte_catm LTE string: " + line +
                                                                  ", column number:" + std::to_string(each.column)));
    }
}

TEST_F(lte_decoder, a_stopped_line_leaves_the_older_values_and_the_next_line_works) {
    parse_lte_catm(LINE, true);
    published();
    parse_lte_catm(R"("LTE","FDD",262,01,-,7,1,1,1,1,1,-1,-1,-1,1)", false);
    EXPECT_THAT(published(), ElementsAre("CELL_MCC string 262", "CELL_MNC string 01"));
    EXPECT_EQ(fake::cell("CELL_CID"), "int 27447297");
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string LTE");
    parse_lte_catm(LINE, false);
    EXPECT_EQ(published(), sample_values("CAT-M", "10"));
}

TEST_F(lte_decoder, hexadecimal_columns_reach_up_to_32_bits_signed) {
    parse_lte_catm(R"("LTE","FDD",310,260,7FFFFFFF,123,5230,2,5,5,7FFFFFFF)", true);
    published();
    EXPECT_EQ(fake::cell("CELL_CID"), "int 2147483647");
    EXPECT_EQ(fake::cell("CELL_TAC"), "int 2147483647");
}

TEST_F(lte_decoder, a_decimal_beyond_32_bits_is_clamped) {
    struct row {
        const char *why;
        const char *field;
        const char *number;
        const char *sqi;
    };
    static constexpr row ROWS[] = {
        {"highest", "2147483647", "int 2147483647", "int 100"},
        {"one past the highest", "2147483648", "int 2147483647", "int 100"},
        {"lowest", "-2147483648", "int -2147483648", "int 0"},
        {"one past the lowest", "-2147483649", "int -2147483648", "int 0"},
        {"2 to the 32nd less 95 does not wrap to -95", "4294967201", "int 2147483647", "int 100"},
        {"30 digits", "123456789012345678901234567890", "int 2147483647", "int 100"},
        {"30 digits, negative", "-123456789012345678901234567890", "int -2147483648", "int 0"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        const std::string line = std::string(R"("LTE","FDD",310,260,1,2,3,4,5,5,6,)") + each.field;
        parse_lte_catm(line.c_str(), true);
        published();
        for (const char *key : {"CELL_RSRP", "CELL_LTE_RSRP"}) {
            EXPECT_EQ(fake::cell(key), each.number);
        }
        for (const char *key : {"CELL_SQI", "CELL_LTE_SQI"}) {
            EXPECT_EQ(fake::cell(key), each.sqi);
        }
    }
}

TEST_F(lte_decoder, bandwidth_codes_outside_the_table_are_not_reported) {
    struct row {
        const char *why;
        const char *code;
        const char *text;
    };
    static constexpr row ROWS[] = {
        {"below the table", "-1", "string -999"},
        {"first", "0", "string 1.4"},
        {"last", "5", "string 20"},
        {"past the table", "6", "string -999"},
        {"no number is code 0", "-", "string 1.4"},
        {"empty is code 0", "", "string 1.4"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        const std::string head = R"("LTE","FDD",310,260,1,2,3,4,)";
        parse_lte_catm((head + each.code + ",3,1").c_str(), true);
        published();
        EXPECT_EQ(fake::cell("CELL_CHAN_BW_UL"), each.text);
        EXPECT_EQ(fake::cell("CELL_CHAN_BW_DL"), "string 10");
        parse_lte_catm((head + "3," + each.code + ",1").c_str(), true);
        published();
        EXPECT_EQ(fake::cell("CELL_CHAN_BW_UL"), "string 10");
        EXPECT_EQ(fake::cell("CELL_CHAN_BW_DL"), each.text);
    }
}

TEST_F(lte_decoder, an_empty_column_is_an_empty_value_and_shifts_nothing) {
    parse_lte_catm(R"("LTE",,,,1A2D001,,,,,,7B0C,,,,,)", true);
    EXPECT_THAT(published(), ElementsAre("CELL_BAND int -999", "CELL_CHANNEL int -999", "CELL_CHAN_BW_DL string 1.4",
                                         "CELL_CHAN_BW_UL string 1.4", "CELL_CID int 27447297", "CELL_EARFCN int -999",
                                         "CELL_LTE_BAND int -999", "CELL_LTE_RSRP int -999", "CELL_LTE_RSRQ int -999",
                                         "CELL_LTE_RSSI int -999", "CELL_LTE_SINR real -999.0", "CELL_LTE_SQI int 100",
                                         "CELL_MCC string ", "CELL_MNC string ", "CELL_NET_TYPE string LTE",
                                         "CELL_NET_TYPE_INT int 20", "CELL_PCID int -999", "CELL_RSRP int -999",
                                         "CELL_RSRQ int -999", "CELL_RSSI int -999", "CELL_SINR real -999.0",
                                         "CELL_SQI int 100", "CELL_TAC int 31500"));
}

TEST_F(lte_decoder, a_dash_counts_as_zero_in_a_decimal_column) {
    parse_lte_catm(R"("LTE","FDD",-,-,1,-,-,-,-,-,1,-,-,-,-)", true);
    EXPECT_THAT(published(),
                ElementsAre("CELL_BAND int 0", "CELL_CHANNEL int 0", "CELL_CHAN_BW_DL string 1.4",
                            "CELL_CHAN_BW_UL string 1.4", "CELL_CID int 1", "CELL_EARFCN int 0", "CELL_LTE_BAND int 0",
                            "CELL_LTE_RSRP int 0", "CELL_LTE_RSRQ int 0", "CELL_LTE_RSSI int 0",
                            "CELL_LTE_SINR real 0.0", "CELL_LTE_SQI int 100", "CELL_MCC string -", "CELL_MNC string -",
                            "CELL_NET_TYPE string LTE", "CELL_NET_TYPE_INT int 20", "CELL_PCID int 0",
                            "CELL_RSRP int 0", "CELL_RSRQ int 0", "CELL_RSSI int 0", "CELL_SINR real 0.0",
                            "CELL_SQI int 100", "CELL_TAC int 1"));
}

TEST_F(lte_decoder, a_short_line_writes_the_columns_that_it_has_and_the_network_type) {
    struct row {
        const char *why;
        const char *line;
        strings values;
    };
    const row rows[] = {
        {"no column at all", "", {}},
        {"the tag alone", R"("LTE")", {}},
        {"the duplex mode is ignored", R"("LTE","FDD")", {}},
        {"country", R"("LTE","FDD",310)", {"CELL_MCC string 310"}},
        {"a comma at the end opens no column", R"("LTE","FDD",310,)", {"CELL_MCC string 310"}},
        {"a comma before the cell identity is no missing identity",
         R"("LTE","FDD",310,260,)",
         {"CELL_MCC string 310", "CELL_MNC string 260"}},
        {"cell identity",
         R"("LTE","FDD",310,260,1F)",
         {"CELL_CID int 31", "CELL_MCC string 310", "CELL_MNC string 260"}},
        {"one more comma",
         R"("LTE","FDD",310,260,1F,,)",
         {"CELL_CID int 31", "CELL_MCC string 310", "CELL_MNC string 260", "CELL_PCID int -999"}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        strings expected = each.values;
        const auto behind_mnc =
            std::find_if(expected.begin(), expected.end(), [](const auto &v) { return v > "CELL_NET_TYPE"; });
        expected.insert(behind_mnc, {"CELL_NET_TYPE string LTE", "CELL_NET_TYPE_INT int 20"});
        parse_lte_catm(each.line, true);
        EXPECT_EQ(published(), expected);
    }
}

TEST_F(lte_decoder, columns_beyond_127_characters_are_not_seen) {
    // From RSRP's first character on, so many characters stay in front of the cut.
    const std::string tail = ",310,260,1,2,3,4,5,5,6,-95,-11,-65,12";
    const std::size_t before_rsrp = tail.find("-95");
    struct row {
        const char *why;
        std::size_t kept;
        const char *rsrp;
        const char *rsrq;
        const char *sinr;
    };
    static constexpr row ROWS[] = {
        {"cut before RSRP", 0, "", "", ""},
        {"cut inside RSRP", 2, "int -9", "", ""},
        {"cut behind RSRP", 3, "int -95", "", ""},
        {"a comma at the cut opens no column", 4, "int -95", "", ""},
        {"cut inside SINR", 13, "int -95", "int -11", "real 1.0"},
        {"the last character just fits", 14, "int -95", "int -11", "real 12.0"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        fake::reset();
        std::string line = R"("LTE",)";
        line.append(127 - line.size() - before_rsrp - each.kept, 'F');
        line += tail;
        parse_lte_catm(line.c_str(), true);
        published();
        EXPECT_EQ(fake::cell("CELL_RSRP"), each.rsrp);
        EXPECT_EQ(fake::cell("CELL_RSRQ"), each.rsrq);
        EXPECT_EQ(fake::cell("CELL_SINR"), each.sinr);
        EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string LTE");
        EXPECT_EQ(fake::log_lines().front(), "debug: Parsing LTE:" + line) << "the log shows the whole line";
    }
}

TEST_F(lte_decoder, a_failure_while_the_network_type_is_written_names_the_last_column) {
    throw_at_log_line(2);
    parse_lte_catm(LINE, true);
    EXPECT_EQ(fake::log_lines().back(),
              std::string("alert: exception no memory in parse_lte_catm LTE string: ") + LINE + ", column number:15");
    EXPECT_THAT(keys_of(published()), testing::Not(testing::Contains("CELL_NET_TYPE")));
}

TEST_F(lte_decoder, a_failure_before_the_first_column_names_column_0) {
    throw_at_log_line(1);
    parse_lte_catm(LINE, true);
    EXPECT_EQ(fake::log_lines().back(),
              std::string("alert: exception no memory in parse_lte_catm LTE string: ") + LINE + ", column number:0");
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(lte_decoder, an_exception_of_another_type_passes_through) {
    fake::before("syslog", 1, [] { throw 42; });
    EXPECT_THROW(parse_lte_catm(LINE, true), int);
}

}  // namespace
