// Carrier aggregation: which lines of the answer are carriers, and the sessions in which their keys come and go.
#include "decode/carrier_aggregation.h"
#include "stats/carriers.h"

#include <new>

#include "base/run_flag.h"
#include "tests/decode/decoding_test.h"
#include "tests/support/allocations.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *PCC = "+QCAINFO: \"PCC\",2850,100,\"LTE BAND 7\",1,52,-103,-12,-70,7\r\n";
constexpr const char *BAND_3 = "+QCAINFO: \"SCC\",1350,100,\"LTE BAND 3\",1,240,-95,-18,-68,-10,0,-,-\r\n";
constexpr const char *BAND_1 = "+QCAINFO: \"SCC\",326,25,\"LTE BAND 1\",1,167,-87,-9,-69,4,0,-,-\r\n";
constexpr const char *NR_41 = "+QCAINFO: \"SCC\",528030,8,\"NR5G BAND 41\",262,-91,-11,2681\r\n";
const std::string OK = "\r\nOK\r\n";

strings session(const std::string &operation, const strings &keys, int number) {
    strings lines{"sysdb_init 0", "sysdb_txn_start CELL 0"};
    for (const std::string &key : keys) {
        std::string line = operation;
        line += key;
        line.replace(line.find('#'), 1, std::to_string(number));
        lines.push_back(line);
    }
    lines.insert(lines.end(), {"sysdb_txn_end", "sysdb_exit"});
    return lines;
}

strings deletion_of(int first) {
    strings lines;
    for (int number = first; number <= 6; ++number) {
        const strings one = session("sysdb_del ",
                                    {"CELL_CHAN_BW_DL_SCC_#", "CELL_CHANNEL_SCC_#", "CELL_BAND_SCC_#",
                                     "CELL_RSRP_SCC_#", "CELL_RSRQ_SCC_#", "CELL_RSSI_SCC_#", "CELL_SINR_SCC_#"},
                                    number);
        lines.insert(lines.end(), one.begin(), one.end());
    }
    return lines;
}

strings band_3_as(int number) {
    return session("",
                   {"sysdb_write_str CELL_CHAN_BW_DL_SCC_# string 20", "sysdb_write_int CELL_CHANNEL_SCC_# int 1350",
                    "sysdb_write_int CELL_BAND_SCC_# int 3", "sysdb_write_int CELL_RSRP_SCC_# int -95",
                    "sysdb_write_int CELL_RSRQ_SCC_# int -18", "sysdb_write_int CELL_RSSI_SCC_# int -68",
                    "sysdb_write_dbl CELL_SINR_SCC_# real -10.0"},
                   number);
}

strings band_1_as(int number) {
    return session("",
                   {"sysdb_write_str CELL_CHAN_BW_DL_SCC_# string 5", "sysdb_write_int CELL_CHANNEL_SCC_# int 326",
                    "sysdb_write_int CELL_BAND_SCC_# int 1", "sysdb_write_int CELL_RSRP_SCC_# int -87",
                    "sysdb_write_int CELL_RSRQ_SCC_# int -9", "sysdb_write_int CELL_RSSI_SCC_# int -69",
                    "sysdb_write_dbl CELL_SINR_SCC_# real 4.0"},
                   number);
}

strings joined(std::initializer_list<strings> parts) {
    strings all;
    for (const strings &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Stands first: afterwards the six records are there and nothing is allocated.
TEST(carrier_aggregation_start, an_allocation_that_fails_is_logged) {
    fake::reset();
    fake::platform().journal.reserve(8);
    before_allocation = [](std::size_t) {
        before_allocation = nullptr;
        throw std::bad_alloc();
    };
    init_ca_vector();
    EXPECT_EQ(before_allocation, nullptr) << "nothing was allocated";
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception std::bad_alloc in init_ca_vector"));
}

class carrier_aggregation : public testing::Test {
protected:
    carrier_aggregation() {
        fake::reset();
        init_ca_vector();
    }

    static void query(unsigned int result, const std::string &text) {
        fake::platform().at_answers["at+qcainfo"] = {{result, text}};
        fake::platform().journal.clear();
        save_carrier_aggregation_to_sysdb();
    }

    static int count_of(const std::string &answer) {
        std::string text = answer;
        return parse_ca_values_and_return_num_of_scc_info(text.data());
    }

    static strings database_calls() {
        return fake::journal_of({"sysdb_init", "sysdb_txn_start", "sysdb_write_str", "sysdb_write_int",
                                 "sysdb_write_dbl", "sysdb_del", "sysdb_txn_end", "sysdb_exit"});
    }

    // The seven values of carrier 1, as the line alone gives them.
    static strings values_of(const std::string &line) {
        query(0, line + OK);
        strings values;
        for (const char *key : {"CELL_CHAN_BW_DL_SCC_1", "CELL_CHANNEL_SCC_1", "CELL_BAND_SCC_1", "CELL_RSRP_SCC_1",
                                "CELL_RSRQ_SCC_1", "CELL_RSSI_SCC_1", "CELL_SINR_SCC_1"}) {
            values.push_back(fake::cell(key));
        }
        return values;
    }
};

TEST_F(carrier_aggregation, journal_of_two_carriers_is_in_the_written_order) {
    const std::string answer = std::string(PCC) + BAND_3 + BAND_1 + OK;
    query(0, answer);
    const strings expected = joined({
        {
            "log info: Getting carrier aggregation",
            "create_empty_file /tmp/zelt.cli",
            "ser_open /dev/ttyQSB3",
            "ser_write_and_get_all_response_until_searchtxt 7 at+qcainfo",
            "ser_close 7",
            "delete_file /tmp/zelt.cli",
            "log debug: QCAINFO:" + answer,
            R"(log debug: Found SCC 1:+QCAINFO: "SCC",1350,100,"LTE BAND 3",1,240,-95,-18,-68,-10,0,-,-)",
            R"(log debug: Found SCC 2:+QCAINFO: "SCC",326,25,"LTE BAND 1",1,167,-87,-9,-69,4,0,-,-)",
        },
        band_3_as(1),
        band_1_as(2),
        deletion_of(3),
    });
    EXPECT_EQ(fake::platform().journal, expected);
}

TEST_F(carrier_aggregation, asks_for_all_lines_into_512_bytes) {
    query(0, "OK");
    const auto &asked = fake::platform().at_exchanges;
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].command, "at+qcainfo\r");
    EXPECT_THAT(asked[0].texts, ElementsAre("OK", "ERROR"));
    EXPECT_EQ(asked[0].buffer_size, 512U);
}

TEST_F(carrier_aggregation, a_primary_carrier_alone_deletes_all_numbers) {
    query(0, PCC + OK);
    EXPECT_EQ(database_calls(), deletion_of(1));
}

TEST_F(carrier_aggregation, an_error_answer_that_counts_as_completed_deletes_all_numbers) {
    for (const unsigned int result : {0U, 1U}) {
        query(result, "\r\nERROR\r\n");
        EXPECT_EQ(database_calls(), deletion_of(1));
    }
}

TEST_F(carrier_aggregation, a_failed_exchange_leaves_the_keys) {
    query(0, BAND_3 + OK);
    for (const unsigned int result : {2U, 3U, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(result);
        query(result, BAND_1);
        EXPECT_THAT(fake::log_lines(),
                    ElementsAre("info: Getting carrier aggregation", std::string("debug: QCAINFO:") + BAND_1,
                                "debug: Failed to get qcainfo"));
        EXPECT_THAT(database_calls(), IsEmpty());
        EXPECT_EQ(fake::cell("CELL_BAND_SCC_1"), "int 3");
    }
}

TEST_F(carrier_aggregation, an_empty_answer_leaves_the_keys) {
    query(0, BAND_3 + OK);
    for (const unsigned int result : {0U, 1U}) {
        query(result, "");
        EXPECT_THAT(fake::log_lines(), ElementsAre("info: Getting carrier aggregation", "debug: QCAINFO:"));
        EXPECT_THAT(database_calls(), IsEmpty());
        EXPECT_EQ(fake::cell("CELL_BAND_SCC_1"), "int 3");
    }
}

TEST_F(carrier_aggregation, a_failed_exchange_without_an_answer_is_logged_as_failed) {
    query(2, "");
    EXPECT_THAT(fake::log_lines(),
                ElementsAre("info: Getting carrier aggregation", "debug: QCAINFO:", "debug: Failed to get qcainfo"));
}

TEST_F(carrier_aggregation, a_port_that_cannot_be_opened_is_silent) {
    fake::fail("ser_open");
    query(0, BAND_3 + OK);
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Getting carrier aggregation"));
    EXPECT_THAT(database_calls(), IsEmpty());
}

TEST_F(carrier_aggregation, a_stopping_daemon_asks_nothing) {
    keep_running = false;
    query(0, BAND_3 + OK);
    EXPECT_THAT(fake::platform().journal, ElementsAre("log info: Getting carrier aggregation"));
    keep_running = true;
}

TEST_F(carrier_aggregation, of_seven_carriers_the_first_six_are_published_and_nothing_is_deleted) {
    std::string answer;
    for (int channel = 1; channel <= 7; ++channel) {
        answer += "+QCAINFO: \"SCC\"," + std::to_string(channel) + ",6,\"LTE BAND 3\"\r\n";
    }
    query(0, answer + OK);
    for (int number = 1; number <= 6; ++number) {
        EXPECT_EQ(fake::cell("CELL_CHANNEL_SCC_" + std::to_string(number)), "int " + std::to_string(number));
    }
    EXPECT_EQ(fake::cell("CELL_CHANNEL_SCC_7"), "");
    EXPECT_EQ(fake::journal_of({"sysdb_txn_end"}).size(), 6U);
    EXPECT_THAT(fake::journal_of({"sysdb_del"}), IsEmpty());
    EXPECT_THAT(fake::log_lines(), testing::Not(testing::Contains(testing::StartsWith("debug: Found SCC 7"))));
}

TEST_F(carrier_aggregation, counts_from_none_to_six) {
    std::string answer;
    for (int count = 0; count <= 9; ++count) {
        SCOPED_TRACE(count);
        EXPECT_EQ(count_of(answer + "OK\r\n"), std::min(count, 6));
        answer += "\"SCC\",1,,LTE\r\n";
    }
}

TEST_F(carrier_aggregation, a_line_counts_when_it_has_the_word_in_quotes_and_lte) {
    struct row {
        const char *why;
        const char *line;
        int count;
    };
    static constexpr row ROWS[] = {
        {"as modules print it", BAND_3, 1},
        {"lower case word", R"(+QCAINFO: "scc",1300,50,"LTE BAND 3",1,422,-105,-12,-75,10)", 1},
        {"lower case band", R"(+QCAINFO: "SCC",1300,50,"lte band 3")", 1},
        {"without the prefix", R"("SCC",1300,50,"LTE BAND 3")", 1},
        {"without it in lower case", R"("scc",1300,50,"lte band 3")", 1},
        {"the technology first", R"(LTE,"SCC",50)", 1},
        {"the technology first in lower case", R"(lte,"scc",50)", 1},
        {"both in lower case", R"(+QCAINFO: "scc",1300,50,"lte band 3")", 1},
        {"mixed case word", R"(+QCAINFO: "Scc",1300,50,"LTE BAND 3")", 0},
        {"mixed case band", R"(+QCAINFO: "SCC",1300,50,"Lte BAND 3")", 0},
        {"word without quotes", "+QCAINFO: SCC,1300,50,\"LTE BAND 3\"", 0},
        {"longer word", R"(+QCAINFO: "SCC1",1300,50,"LTE BAND 3")", 0},
        {"longer word at its front", R"(+QCAINFO: "XSCC",1300,50,"LTE BAND 3")", 0},
        {"longer word in lower case", R"(+QCAINFO: "scc1",1300,50,"lte band 3")", 0},
        {"longer word in lower case at its front", R"(+QCAINFO: "xscc",1300,50,"lte band 3")", 0},
        {"shorter band", R"(+QCAINFO: "SCC",1300,50,"LT BAND 3")", 0},
        {"shorter band in lower case", R"(+QCAINFO: "scc",1300,50,"lt band 3")", 0},
        {"primary", PCC, 0},
        {"primary in lower case", R"(+QCAINFO: "pcc",100,50,"LTE BAND 1",1,422,-99,-10,-71,16)", 0},
        {"NR", NR_41, 0},
        {"NR in its short name", R"(+QCAINFO: "SCC",372750,20,"NR N3",2,431,-108,-7,-89,7)", 0},
        {"LTE anywhere", R"(+QCAINFO: "SCC",1,2,"BAND 3",,,,,,,LTE)", 1},
        {"LTE before the word", R"(LTE "SCC",1)", 1},
        {"no column", R"("SCC"LTE)", 0},
        {"columns 1 to 9 all empty", R"("SCC"LTE,,,,,,,,,)", 0},
        {"only columns that nobody decodes", R"("SCC"LTE,,,,1,240,,,,,0,-,-)", 0},
        {"column 1 alone", R"("SCC"LTE,1)", 1},
        {"column 2 alone", R"("SCC"LTE,,x)", 1},
        {"column 3 alone, without a digit", R"("SCC",,,"LTE")", 1},
        {"column 6 alone", R"("SCC"LTE,,,,,,-1)", 1},
        {"column 7 alone", R"("SCC"LTE,,,,,,,-1)", 1},
        {"column 8 alone", R"("SCC"LTE,,,,,,,,-1)", 1},
        {"column 9 alone", R"("SCC"LTE,,,,,,,,,-1)", 1},
        {"column 10 alone", R"("SCC"LTE,,,,,,,,,,-1)", 0},
        {"final result", "OK", 0},
        {"nothing", "", 0},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(count_of(each.line), each.count);
    }
}

TEST_F(carrier_aggregation, lines_end_with_any_line_end) {
    const std::string line = R"("SCC",1,6,"LTE")";
    for (const char *end : {"\r\n", "\n", "\r", "\r\r\n", "\n\n\n"}) {
        std::string answer = end;
        answer += line;
        answer += answer;
        EXPECT_EQ(count_of(answer), 2);
    }
}

TEST_F(carrier_aggregation, two_items_without_a_line_break_are_one_line) {
    EXPECT_EQ(count_of(R"(+QCAINFO: "SCC",1,6,"LTE BAND 1",1,93,0,-,-+QCAINFO: "SCC",2,6,"LTE BAND 2",1,153)"), 1);
}

TEST_F(carrier_aggregation, an_undecoded_line_is_logged_and_the_next_takes_its_number) {
    query(0, std::string("\"SCC\"LTE,,,,,,,,,\r\n") + BAND_3 + OK);
    const strings log = fake::log_lines();
    ASSERT_EQ(log.size(), 4U);
    EXPECT_EQ(log[2], "debug: Found SCC 1:\"SCC\"LTE,,,,,,,,,");
    EXPECT_THAT(log[3], testing::StartsWith("debug: Found SCC 1:+QCAINFO: \"SCC\",1350,"));
    EXPECT_EQ(database_calls(), joined({band_3_as(1), deletion_of(2)}));
}

TEST_F(carrier_aggregation, nr_carriers_between_lte_ones_take_no_number) {
    query(0, std::string(PCC) + NR_41 + BAND_3 + NR_41 + BAND_1 + OK);
    EXPECT_EQ(database_calls(), joined({band_3_as(1), band_1_as(2), deletion_of(3)}));
}

TEST_F(carrier_aggregation, what_a_line_does_not_report_is_published_as_minus_999) {
    struct row {
        const char *why;
        const char *line;
        strings values;
    };
    const row rows[] = {
        {"tag and two columns, LTE in the tag",
         R"("SCC" LTE,1350,100)",
         {"string 20", "int 1350", "int -999", "int -999", "int -999", "int -999", "real -999.0"}},
        {"first three columns behind the tag",
         R"("SCC",1350,100,"LTE BAND 66")",
         {"string 20", "int 1350", "int 66", "int -999", "int -999", "int -999", "real -999.0"}},
        {"five columns",
         R"("SCC",1450,75,"LTE BAND 7",2,300)",
         {"string 15", "int 1450", "int 7", "int -999", "int -999", "int -999", "real -999.0"}},
        {"empty columns",
         R"("SCC",,,"LTE BAND 7",,,,-7,,)",
         {"string -999", "int -999", "int 7", "int -999", "int -7", "int -999", "real -999.0"}},
        {"a dash is no number but is reported",
         R"("SCC",100,100,"LTE BAND 1",1,372,-111,-13,-,6)",
         {"string 20", "int 100", "int 1", "int -111", "int -13", "int 0", "real 6.0"}},
        {"only digits of the band count: the colon is the next character",
         R"("SCC",1,6,"LTE BAND: 3/",,,,,,)",
         {"string 1.4", "int 1", "int 3", "int -999", "int -999", "int -999", "real -999.0"}},
        {"a band that begins with its digits",
         R"("SCC" LTE,1,6,66)",
         {"string 1.4", "int 1", "int 66", "int -999", "int -999", "int -999", "real -999.0"}},
        {"a letter ends neither a column nor a line",
         R"("SCC",1,6,"LTExBAND 7",1,2,-95,-9,-68,4)",
         {"string 1.4", "int 1", "int 7", "int -95", "int -9", "int -68", "real 4.0"}},
        {"a band without digits",
         R"("SCC",1,6,"LTE BAND",,,,,,)",
         {"string 1.4", "int 1", "int 0", "int -999", "int -999", "int -999", "real -999.0"}},
        {"trailing text is ignored",
         R"("SCC",1x,6y,"LTE 3",1,2,-5dBm,-6 dB,-7.9,8z)",
         {"string 1.4", "int 1", "int 3", "int -5", "int -6", "int -7", "real 8.0"}},
        {"numbers beyond 32 bits are clamped",
         R"("SCC",2147483648,4294967302,"LTE 99999999999",1,2,-2147483649,99999999999999999999,-2147483648,-99999999999)",
         {"string -999", "int 2147483647", "int 2147483647", "int -2147483648", "int 2147483647", "int -2147483648",
          "real -2147483648.0"}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(values_of(each.line), each.values);
    }
}

TEST_F(carrier_aggregation, bandwidth_is_the_resource_block_s_table) {
    struct row {
        const char *why;
        const char *code;
        const char *mhz;
    };
    static constexpr row ROWS[] = {
        {"nothing", "0", "-999"},
        {"below the first", "5", "-999"},
        {"first", "6", "1.4"},
        {"above the first", "7", "-999"},
        {"3 MHz", "15", "3"},
        {"5 MHz", "25", "5"},
        {"between two", "45", "-999"},
        {"10 MHz", "50", "10"},
        {"15 MHz", "75", "15"},
        {"below the last", "99", "-999"},
        {"last", "100", "20"},
        {"above the last", "101", "-999"},
        {"negative", "-6", "-999"},
        {"no number", "x", "-999"},
        {"2 to the 32nd and 6 does not wrap", "4294967302", "-999"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(values_of(std::string("\"SCC\",1,") + each.code + ",\"LTE BAND 1\"").front(),
                  std::string("string ") + each.mhz);
    }
}

TEST_F(carrier_aggregation, a_carrier_does_not_inherit_from_the_last_answer) {
    query(0, BAND_3 + OK);
    query(0, "\"SCC\",,,\"LTE BAND 1\"\r\n" + OK);
    EXPECT_EQ(fake::cell("CELL_CHANNEL_SCC_1"), "int -999");
    EXPECT_EQ(fake::cell("CELL_RSRP_SCC_1"), "int -999");
}

TEST_F(carrier_aggregation, publishing_none_does_nothing) {
    fake::platform().journal.clear();
    for (const int count : {0, -1, -2147483647}) {
        save_ca_values_to_sysdb(count);
    }
    EXPECT_THAT(fake::platform().journal, IsEmpty());
}

TEST_F(carrier_aggregation, six_empty_carriers_are_ready_from_the_start) {
    save_ca_values_to_sysdb(6);
    for (int number = 1; number <= 6; ++number) {
        EXPECT_EQ(fake::cell("CELL_BAND_SCC_" + std::to_string(number)), "int -999");
        EXPECT_EQ(fake::cell("CELL_CHAN_BW_DL_SCC_" + std::to_string(number)), "string -999");
        EXPECT_EQ(fake::cell("CELL_SINR_SCC_" + std::to_string(number)), "real -999.0");
    }
}

TEST_F(carrier_aggregation, starts_with_exactly_six_empty_records_whatever_was_there) {
    for (const std::size_t earlier : {0U, 3U, 6U, 9U}) {
        SCOPED_TRACE(earlier);
        ca_vector.assign(earlier, scc_info{.band = 7});
        init_ca_vector();
        ASSERT_EQ(ca_vector.size(), 6U);
        for (const scc_info &scc : ca_vector) {
            EXPECT_EQ(scc.band, -999);
        }
    }
}

TEST_F(carrier_aggregation, takes_no_line_after_the_sixth_carrier) {
    std::string answer;
    for (int i = 0; i < 6; ++i) {
        answer += "+QCAINFO: \"SCC\",1,6,\"LTE BAND 3\"\n";
    }
    const std::size_t begin_of_the_rest = answer.size();
    answer += "one\nmore\n";
    EXPECT_EQ(parse_ca_values_and_return_num_of_scc_info(answer.data()), 6);
    EXPECT_EQ(answer.substr(begin_of_the_rest), "one\nmore\n") << "not even split";
}

TEST_F(carrier_aggregation, deletes_from_a_number_to_the_sixth) {
    for (const int first : {1, 2, 6, 7, 8, 2147483647}) {
        SCOPED_TRACE(first);
        fake::platform().journal.clear();
        clear_carrier_aggregation_values(first);
        EXPECT_EQ(fake::platform().journal, first > 6 ? strings() : deletion_of(first));
    }
}

TEST_F(carrier_aggregation, a_session_that_fails_skips_its_carrier_only) {
    fake::fail("sysdb_init", 1);  // of carrier 1
    fake::fail("sysdb_init", 4);  // of the deletion of number 4
    query(0, std::string(BAND_3) + BAND_1 + OK);
    strings deletions = deletion_of(3);
    const auto number_4 = deletions.begin() + 11;  // each is 11 lines long
    deletions.erase(number_4 + 1, number_4 + 11);  // all but its sysdb_init
    EXPECT_EQ(database_calls(), joined({{"sysdb_init 0"}, band_1_as(2), deletions}));
    EXPECT_EQ(fake::log_lines().size(), 4U) << "a failed session leaves no line of its own";
}

TEST_F(carrier_aggregation, a_transaction_that_cannot_start_closes_its_session) {
    fake::fail("sysdb_txn_start", 1);
    fake::fail("sysdb_txn_start", 3);  // of the deletion of number 3
    query(0, std::string(BAND_3) + BAND_1 + OK);
    const strings empty_session{"sysdb_init 0", "sysdb_txn_start CELL 0", "sysdb_exit"};
    EXPECT_EQ(database_calls(), joined({empty_session, band_1_as(2), empty_session, deletion_of(4)}));
}

TEST_F(carrier_aggregation, a_write_that_fails_stops_nothing) {
    fake::fail("sysdb_write_str");
    fake::fail("sysdb_write_int", 2);
    fake::fail("sysdb_del", 3);
    query(0, BAND_3 + OK);
    EXPECT_EQ(database_calls(), joined({band_3_as(1), deletion_of(2)}));
    EXPECT_EQ(fake::cell("CELL_CHAN_BW_DL_SCC_1"), "");
    EXPECT_EQ(fake::cell("CELL_RSRP_SCC_1"), "int -95");
}

TEST_F(carrier_aggregation, an_exception_of_the_decoder_is_logged_by_it_and_by_its_caller) {
    throw_at_log_line(3);  // "Found SCC"
    query(0, BAND_3 + OK);
    const strings log = fake::log_lines();
    ASSERT_EQ(log.size(), 5U);
    EXPECT_EQ(log[3], "alert: exception no memory in parse_ca_values_and_return_num_of_scc_info");
    EXPECT_EQ(log[4], "alert: exception no memory in save_carrier_aggregation_to_sysdb");
    EXPECT_THAT(database_calls(), IsEmpty());
}

TEST_F(carrier_aggregation, an_exception_while_publishing_is_logged_and_the_rest_is_still_deleted) {
    fake::before("sysdb_write_int", 1, [] { throw std::runtime_error("no memory"); });
    query(0, BAND_3 + OK);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in save_ca_values_to_sysdb");
    EXPECT_EQ(fake::journal_of({"sysdb_del"}).size(), 5U * 7U);
}

TEST_F(carrier_aggregation, an_exception_while_deleting_is_logged) {
    fake::before("sysdb_del", 1, [] { throw std::runtime_error("no memory"); });
    clear_carrier_aggregation_values(1);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no memory in clear_carrier_aggregation_values"));
    EXPECT_EQ(fake::journal_of({"sysdb_init"}).size(), 1U);
}

}  // namespace
