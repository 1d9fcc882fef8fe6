// The serving-cell query of both module families: the exchange, and which decoder gets which part of the answer.
#include "base/run_flag.h"
#include "decode/serving_cell.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *COMMAND = "at+qeng=\"servingcell\"";
constexpr const char *LTE_PART = R"("LTE","FDD",262,01,1929500,321,1300,3,5,5,34BA,-75,-7,-48,25,15,100,-)";
constexpr const char *NSA_PART = R"("NR5G-NSA",262,01,774,-82,30,-11,431070,1,3,0)";
constexpr const char *SA_PART = R"("NR5G-SA","TDD",310,260,105FB012D,153,A80000,501390,41,12,-76,-10,26,1,-)";

const std::string STATE_LINE = "+QENG: \"servingcell\",\"NOCONN\"\r\n";
const std::string LTE_LINE = std::string("+QENG: ") + LTE_PART + "\r\n";
const std::string NSA_LINE = std::string("+QENG: ") + NSA_PART + "\r\n";
const std::string SA_LINE = std::string("+QENG: \"servingcell\",\"NOCONN\",") + SA_PART + "\r\n";
const std::string OK = "\r\nOK\r\n";

const strings NR_KEYS_WITHDRAWN{"CELL_NR5G_BAND int -999", "CELL_NR5G_RSRP int -999", "CELL_NR5G_RSRQ int -999",
                                "CELL_NR5G_SINR real -999.0", "CELL_NR5G_SQI int -999"};

class serving_cell : public decoding_test {
protected:
    static void answer(unsigned int result, const std::string &text) {
        fake::platform().at_answers[COMMAND] = {{result, text}};
    }

    // The tags that were given to a decoder and the follow-up queries, in the order of their first log lines.
    static strings called() {
        strings names;
        for (const std::string &line : fake::log_lines()) {
            if (line.starts_with("debug: Parsing ")) {
                const std::size_t tag = line.find('"') + 1;
                names.push_back(line.substr(tag, line.find('"', tag) - tag));
            } else if (line.starts_with("info: Getting ")) {
                names.push_back(line.substr(line.find("Getting")));
            }
        }
        return names;
    }
};

using serving_cell_5g = serving_cell;
using serving_cell_4g = serving_cell;

TEST_F(serving_cell_5g, journal_of_an_en_dc_answer_is_in_the_written_order) {
    answer(0, STATE_LINE + LTE_LINE + NSA_LINE + OK);
    parse_rm5XX_stats();
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Parsing RM5XX stats", "create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3",
                            "ser_write_and_get_all_response_until_searchtxt 7 at+qeng=\"servingcell\"", "ser_close 7",
                            "delete_file /tmp/zelt.cli",
                            "log debug: SERVINGCELL:" + STATE_LINE + LTE_LINE + NSA_LINE + OK,
                            std::string("log debug: Parsing LTE:") + LTE_PART + "\r",
                            "log debug: parse_lte_catm: update cell net type LTE",
                            std::string("log debug: Parsing 5G-NSA:") + NSA_PART + "\r"));
}

TEST_F(serving_cell_5g, asks_for_all_lines_into_512_bytes) {
    parse_rm5XX_stats();
    const auto &asked = fake::platform().at_exchanges;
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].command, "at+qeng=\"servingcell\"\r");
    EXPECT_THAT(asked[0].texts, ElementsAre("OK", "ERROR"));
    EXPECT_EQ(asked[0].buffer_size, 512U);
}

TEST_F(serving_cell_5g, with_both_radios_up_the_nr_values_replace_the_anchor_s) {
    answer(1, STATE_LINE + LTE_LINE + NSA_LINE + OK);
    parse_rm5XX_stats();
    // NR: RSRP -82 is 51 * 1.587 = 80.937; LTE: RSRP -75 is 58 * 1.587 = 92.046.
    EXPECT_THAT(published(),
                ElementsAre("CELL_BAND int 1", "CELL_CHANNEL int 1300", "CELL_CHAN_BW_DL string 20",
                            "CELL_CHAN_BW_UL string 20", "CELL_CID int 26383616", "CELL_EARFCN int 1300",
                            "CELL_LTE_BAND int 3", "CELL_LTE_RSRP int -75", "CELL_LTE_RSRQ int -7",
                            "CELL_LTE_RSSI int -48", "CELL_LTE_SINR real 25.0", "CELL_LTE_SQI int 92",
                            "CELL_MCC string 262", "CELL_MNC string 01", "CELL_NET_TYPE string 5G NSA",
                            "CELL_NET_TYPE_INT int 25", "CELL_NR5G_BAND int 1", "CELL_NR5G_RSRP int -82",
                            "CELL_NR5G_RSRQ int -11", "CELL_NR5G_SINR real 30.0", "CELL_NR5G_SQI int 80",
                            "CELL_PCID int 774", "CELL_RSRP int -82", "CELL_RSRQ int -11", "CELL_RSSI int -48",
                            "CELL_SINR real 30.0", "CELL_SQI int 80", "CELL_TAC int 13498"));
}

TEST_F(serving_cell_5g, the_anchor_is_decoded_whole_before_the_nr_leg) {
    answer(0, STATE_LINE + LTE_LINE + NSA_LINE + OK);
    taken_updates();
    parse_rm5XX_stats();
    const strings updates = taken_updates();
    ASSERT_EQ(updates.size(), 23U + 15U);
    EXPECT_EQ(updates[22], "CELL_NET_TYPE_INT 20");
    EXPECT_EQ(updates[23], "CELL_MCC 262");
    EXPECT_EQ(updates[37], "CELL_NET_TYPE_INT 25");
}

TEST_F(serving_cell_5g, within_one_line_the_order_is_lte_nsa_sa) {
    char line[] = R"("NR5G-SA",x,1,"NR5G-NSA",2,"LTE",3)";
    parse_servingcell_en_dc_mode(line);
    EXPECT_THAT(called(), ElementsAre("LTE", "NR5G-NSA", "NR5G-SA"));
}

TEST_F(serving_cell_5g, an_nsa_line_cut_behind_the_cell_id_keeps_the_signal_of_the_lte_line) {
    answer(0, STATE_LINE + LTE_LINE + "+QENG: \"NR5G-NSA\",262,02,774\r\n" + OK);
    parse_rm5XX_stats();
    published();
    for (const auto &[key, value] : {std::pair{"CELL_NET_TYPE", "string 5G NSA"},
                                     {"CELL_NET_TYPE_INT", "int 25"},
                                     {"CELL_MNC", "string 02"},
                                     {"CELL_PCID", "int 774"},
                                     {"CELL_RSRP", "int -75"},
                                     {"CELL_SQI", "int 92"},
                                     {"CELL_SINR", "real 25.0"},
                                     {"CELL_RSRQ", "int -7"},
                                     {"CELL_RSSI", "int -48"},
                                     {"CELL_BAND", "int 3"},
                                     {"CELL_NR5G_RSRP", "int -999"},
                                     {"CELL_NR5G_BAND", "int -999"}}) {
        EXPECT_EQ(fake::cell(key), value) << key;
    }
}

TEST_F(serving_cell_5g, an_nr_leg_that_is_not_attached_leaves_the_lte_values) {
    answer(0, STATE_LINE + LTE_LINE + "+QENG: \"NR5G-NSA\",262,01,65535,-32768,-32768,-32768\r\n" + OK);
    parse_rm5XX_stats();
    published();
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string LTE");
    EXPECT_EQ(fake::cell("CELL_NET_TYPE_INT"), "int 20");
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -75");
    EXPECT_EQ(fake::cell("CELL_PCID"), "int 321");
    EXPECT_EQ(fake::cell("CELL_NR5G_RSRP"), "int -999");
    EXPECT_EQ(fake::cell("CELL_NR5G_SQI"), "int -999");
    EXPECT_EQ(fake::cell("CELL_NR5G_SINR"), "real -999.0");
    EXPECT_EQ(fake::cell("CELL_NR5G_RSRQ"), "int -999");
    EXPECT_EQ(fake::cell("CELL_NR5G_BAND"), "int -999");
}

TEST_F(serving_cell_5g, on_lte_only_the_nr_keys_are_withdrawn_and_the_whole_answer_is_searched) {
    const std::string text = std::string("+QENG: \"servingcell\",\"NOCONN\",") + LTE_PART + "\r\n" + OK;
    answer(0, text);
    parse_rm5XX_stats();
    // From the tag to the end of the answer: it was not split into lines.
    EXPECT_EQ(fake::log_lines()[2], "debug: Parsing LTE:" + text.substr(text.find("\"LTE\"")));
    const strings values = published();
    for (const std::string &each : NR_KEYS_WITHDRAWN) {
        EXPECT_THAT(values, testing::Contains(each));
    }
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string LTE");
}

TEST_F(serving_cell_5g, standalone_runs_its_decoder_alone) {
    answer(0, "\r\n" + SA_LINE + OK);
    parse_rm5XX_stats();
    EXPECT_THAT(called(), ElementsAre("NR5G-SA"));
    published();
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string 5G SA");
    EXPECT_EQ(fake::cell("CELL_CHANNEL"), "") << "channel, cell identity and area code are not NR's";
}

// Any NR5G makes it an answer of several lines, in which an older technology has no decoder.
TEST_F(serving_cell_5g, nr_text_without_a_quoted_tag_decodes_nothing_but_withdraws) {
    for (const std::string text :
         {"+QENG: NR5G-NSA,262,01,774,-82\r\n\r\nOK\r\n", "+QENG: \"NR5G-XX\",1,2\r\n\r\nOK\r\n",
          "+QENG: \"NR5G\"\r\n+QENG: \"WCDMA\",310,410,1,1\r\n\r\nOK\r\n",
          "+QENG: NR5G,\"GSM\",250,99,DC51,B919\r\n\r\nOK\r\n", "+QENG: \"NR5G-NSA2\",262,01,774\r\n",
          "+QENG: \"NR5G-SA2\",\"TDD\",310\r\n", "+QENG: NR5G-NSA\",262,01,774\r\n"}) {
        SCOPED_TRACE(text);
        fake::reset();
        answer(0, text);
        parse_rm5XX_stats();
        EXPECT_THAT(called(), IsEmpty());
        EXPECT_EQ(published(), NR_KEYS_WITHDRAWN);
    }
}

TEST_F(serving_cell_5g, the_search_for_nr_minds_the_case) {
    answer(0, "+QENG: \"nr5g-nsa\",262,01,774,-82\r\n" + LTE_LINE + OK);
    parse_rm5XX_stats();
    EXPECT_THAT(called(), ElementsAre("LTE"));
}

TEST_F(serving_cell_5g, falls_back_to_the_older_technologies_with_their_follow_up_query) {
    answer(0, "+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",310,410,DEA6,2883C,4385,84,254,-98,-7\r\n" + OK);
    parse_rm5XX_stats();
    EXPECT_THAT(called(), ElementsAre("WCDMA", "Getting band for WCDMA"));
}

TEST_F(serving_cell_5g, a_searching_module_only_withdraws_the_nr_keys) {
    answer(0, "+QENG: \"servingcell\",\"SEARCH\"\r\n" + OK);
    parse_rm5XX_stats();
    EXPECT_EQ(fake::log_lines().size(), 2U) << "nothing is logged but the answer";
    EXPECT_EQ(published(), NR_KEYS_WITHDRAWN);
}

TEST_F(serving_cell_5g, a_result_above_1_is_a_failure_whatever_the_buffer_holds) {
    for (const unsigned int result : {2U, 3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(result);
        fake::reset();
        answer(result, LTE_LINE);
        parse_rm5XX_stats();
        EXPECT_THAT(fake::log_lines(), ElementsAre("info: Parsing RM5XX stats", "debug: SERVINGCELL:" + LTE_LINE,
                                                   "debug: Failed to get servingcell"));
        EXPECT_EQ(published(), NR_KEYS_WITHDRAWN);
    }
}

TEST_F(serving_cell_5g, an_empty_answer_is_an_error) {
    for (const unsigned int result : {0U, 1U}) {
        fake::reset();
        answer(result, "");
        parse_rm5XX_stats();
        EXPECT_THAT(fake::log_lines(), ElementsAre("info: Parsing RM5XX stats",
                                                   "debug: SERVINGCELL:", "debug: Error in servingcell response"));
        EXPECT_EQ(published(), NR_KEYS_WITHDRAWN);
    }
}

TEST_F(serving_cell_5g, a_port_that_cannot_be_opened_leaves_everything) {
    fake::fail("ser_open");
    parse_rm5XX_stats();
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Parsing RM5XX stats"));
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(serving_cell_5g, only_the_first_511_characters_of_an_answer_are_seen) {
    answer(0, std::string(511 - LTE_LINE.size(), ' ') + LTE_LINE + NSA_LINE + OK);
    parse_rm5XX_stats();
    EXPECT_THAT(called(), ElementsAre("LTE"));
}

TEST_F(serving_cell_5g, the_nr_keys_are_withdrawn_before_the_answer_is_logged) {
    answer(0, LTE_LINE);
    throw_at_log_line(2);
    parse_rm5XX_stats();
    EXPECT_EQ(published(), NR_KEYS_WITHDRAWN);
}

TEST_F(serving_cell_5g, an_exception_is_logged_under_its_name) {
    throw_at_log_line(1);
    parse_rm5XX_stats();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_rm5XX_stats");
}

TEST_F(serving_cell_4g, journal_of_one_answer_is_in_the_written_order) {
    const std::string text = std::string("+QENG: \"servingcell\",\"NOCONN\",") + LTE_PART;
    answer(1, text);
    parse_4g_module_stats();
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Parsing non-5G module stats", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "ser_write_and_wait_for_txt_get_line 7 at+qeng=\"servingcell\"",
                            "ser_close 7", "delete_file /tmp/zelt.cli", "log debug: SERVINGCELL:" + text,
                            std::string("log debug: Parsing LTE:") + LTE_PART,
                            "log debug: parse_lte_catm: update cell net type LTE"));
    EXPECT_THAT(keys_of(published()), testing::Not(testing::Contains(testing::StartsWith("CELL_NR5G"))));
}

TEST_F(serving_cell_4g, asks_for_one_line_into_256_bytes) {
    parse_4g_module_stats();
    const auto &asked = fake::platform().at_exchanges;
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].command, "at+qeng=\"servingcell\"\r");
    EXPECT_THAT(asked[0].texts, ElementsAre("+QENG:", "OK", "ERROR"));
    EXPECT_EQ(asked[0].buffer_size, 256U);
}

TEST_F(serving_cell_4g, result_0_is_a_closed_port_even_with_text_in_the_buffer) {
    answer(0, LTE_LINE);
    parse_4g_module_stats();
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Parsing non-5G module stats", "debug: SERVINGCELL:" + LTE_LINE,
                                               "notice: Port closed!"));
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(serving_cell_4g, any_result_but_1_is_a_failure) {
    for (const unsigned int result : {2U, 3U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(result);
        fake::reset();
        answer(result, LTE_LINE);
        parse_4g_module_stats();
        EXPECT_THAT(fake::log_lines(),
                    ElementsAre("info: Parsing non-5G module stats", "debug: SERVINGCELL:" + LTE_LINE,
                                "debug: Failed to get QENG servingcell"));
        EXPECT_THAT(published(), IsEmpty());
    }
}

TEST_F(serving_cell_4g, a_port_that_cannot_be_opened_leaves_everything) {
    fake::fail("ser_open");
    parse_4g_module_stats();
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Parsing non-5G module stats"));
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(serving_cell_4g, an_exception_is_logged_under_its_name) {
    throw_at_log_line(1);
    parse_4g_module_stats();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_4g_module_stats");
}

TEST_F(serving_cell, the_first_technology_in_the_order_of_preference_is_decoded) {
    struct row {
        const char *why;
        const char *answer;
        strings calls;
    };
    const row rows[] = {
        {"LTE alone", R"("LTE","FDD")", {"LTE"}},
        {"LTE before CAT-M", R"("LTE",x"CAT-M",)", {"LTE"}},
        {"LTE stands behind CAT-M", R"("CAT-M",x,"LTE")", {"LTE"}},
        {"LTE stands behind all others", "\"GSM\"\n\"WCDMA\"\n\"CAT-M\"\n\"LTE\"", {"LTE"}},
        {"CAT-M before WCDMA", R"("WCDMA","CAT-M")", {"CAT-M"}},
        {"WCDMA before GSM, with its query", R"("GSM","WCDMA")", {"WCDMA", "Getting band for WCDMA"}},
        {"GSM with its query", R"("GSM")", {"GSM", "Getting RSSI for GSM"}},
        {"a tag needs its quotes", "LTE,WCDMA,GSM", {}},
        {"a tag needs its case", R"("lte","gsm")", {}},
        {"LTE is no part of a longer tag", R"("LTE-M")", {}},
        {"CAT-M is no part of a longer tag", R"("CAT-M1")", {}},
        {"WCDMA is no part of a longer tag", R"("WCDMA+")", {}},
        {"GSM is no part of a longer tag", R"("GSM900")", {}},
        {"nor the end of one", R"("LTE CAT-M","TD-WCDMA","EGSM")", {}},
        {"an unknown technology", R"("NTN NBIoT","FDD",901)", {}},
        {"narrow-band LTE is no CAT-M", R"("CAT-NB","FDD",460)", {}},
        {"searching", R"(+QENG: "servingcell","SEARCH")", {}},
        {"empty", "", {}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        fake::reset();
        parse_servingcell_none_5g_mode(each.answer);
        EXPECT_EQ(called(), each.calls);
        if (each.calls.empty()) {
            EXPECT_THAT(fake::platform().journal, IsEmpty());
            EXPECT_THAT(published(), IsEmpty());
        }
        published();
    }
}

TEST_F(serving_cell, catm_is_decoded_as_catm) {
    parse_servingcell_none_5g_mode(R"(+QENG: "servingcell","CONNECT","CAT-M","FDD",262)");
    EXPECT_THAT(published(),
                ElementsAre("CELL_MCC string 262", "CELL_NET_TYPE string CAT-M", "CELL_NET_TYPE_INT int 10"));
}

TEST_F(serving_cell, a_gsm_line_without_cell_identity_still_asks_for_the_strength) {
    fake::platform().at_answers["at+csq"] = {{1, "+CSQ: 20,99"}};
    parse_servingcell_none_5g_mode(R"(+QENG: "servingcell","NOCONN","GSM",250,99,DC51,,26,50,900,-73,255)");
    EXPECT_THAT(published(), ElementsAre("CELL_LAC int 56401", "CELL_MCC string 250", "CELL_MNC string 99",
                                         "CELL_RSSI int -73", "CELL_SQI int 80"));
    EXPECT_THAT(fake::journal_of({"log", "ser_open", "ser_close"}),
                ElementsAre("log debug: Parsing GSM:\"GSM\",250,99,DC51,,26,50,900,-73,255",
                            "log alert: exception stol in parse_gsm", "log info: Getting RSSI for GSM",
                            "ser_open /dev/ttyQSB3", "ser_close 7", "log debug: CSQ:+CSQ: 20,99",
                            "log debug: Parsed out 20"));
}

TEST_F(serving_cell, a_wcdma_line_that_stops_still_asks_for_the_band) {
    fake::platform().at_answers["at+qnwinfo"] = {{1, R"(+QNWINFO: "HSPA+","310410","WCDMA 850",4385)"}};
    parse_servingcell_none_5g_mode(R"("WCDMA",310,410,-,1,4385,84,254,-98,-7)");
    EXPECT_THAT(published(), ElementsAre("CELL_BAND int 850", "CELL_MCC string 310", "CELL_MNC string 410"));
}

TEST_F(serving_cell, a_failed_band_query_leaves_the_quality_from_the_rscp) {
    parse_servingcell_none_5g_mode(R"("WCDMA",310,410,1,1,4385,84,254,-95,-7)");
    published();
    EXPECT_EQ(fake::cell("CELL_SQI"), "int 50");
    EXPECT_EQ(fake::cell("CELL_BAND"), "");
}

TEST_F(serving_cell, of_several_lines_each_tag_is_decoded_once_in_the_order_of_the_lines) {
    struct row {
        const char *why;
        std::string answer;
        strings calls;
    };
    const row rows[] = {
        {"LTE, then NSA", LTE_LINE + NSA_LINE, {"LTE", "NR5G-NSA"}},
        {"NSA, then LTE", NSA_LINE + LTE_LINE, {"NR5G-NSA", "LTE"}},
        {"two SA lines: the first counts", SA_LINE + SA_LINE, {"NR5G-SA"}},
        {"two of each", LTE_LINE + NSA_LINE + LTE_LINE + NSA_LINE, {"LTE", "NR5G-NSA"}},
        {"all three", SA_LINE + NSA_LINE + LTE_LINE, {"NR5G-SA", "NR5G-NSA", "LTE"}},
        {"behind all three nothing more is decoded",
         SA_LINE + NSA_LINE + LTE_LINE + LTE_LINE + SA_LINE,
         {"NR5G-SA", "NR5G-NSA", "LTE"}},
        {"in one line: LTE, NSA, SA, wherever they stand",
         std::string(SA_PART) + "," + NSA_PART + "," + LTE_PART,
         {"LTE", "NR5G-NSA", "NR5G-SA"}},
        {"empty lines are skipped", "\n\n" + LTE_LINE + "\n\n\n" + NSA_LINE, {"LTE", "NR5G-NSA"}},
        {"plain line ends", "\"LTE\",\"FDD\"\n\"NR5G-NSA\",262\n", {"LTE", "NR5G-NSA"}},
        {"a carriage return alone ends no line", "\"LTE\",\"FDD\"\r\"NR5G-NSA\"", {"LTE", "NR5G-NSA"}},
        {"CAT-M is not looked for", "\"CAT-M\",\"FDD\"\n", {}},
        {"only line ends", "\r\n\r\n", {}},
        {"nothing", "", {}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        fake::reset();
        std::string text = each.answer;
        parse_servingcell_en_dc_mode(text.data());
        EXPECT_EQ(called(), each.calls);
        published();
    }
}

TEST_F(serving_cell, an_exception_out_of_a_decoder_ends_the_scan_of_the_lines) {
    throw_at_log_line(1);
    throw_at_log_line(2);  // the decoder's own report of the first
    std::string text = LTE_LINE + NSA_LINE;
    parse_servingcell_en_dc_mode(text.data());
    EXPECT_EQ(fake::log_lines().size(), 3U);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_servingcell_en_dc_mode");
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(serving_cell, an_exception_out_of_a_single_decoder_is_logged_under_the_dispatch_s_name) {
    throw_at_log_line(1);
    throw_at_log_line(2);
    parse_servingcell_none_5g_mode(R"("GSM",250)");
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_servingcell_none_5g_mode");
    EXPECT_THAT(fake::journal_of({"ser_open"}), IsEmpty()) << "the follow-up query is not reached";
}

TEST_F(serving_cell, an_exception_of_another_type_passes_through) {
    answer(1, LTE_LINE);
    fake::before("syslog", 3, [] { throw 42; });
    EXPECT_THROW(parse_4g_module_stats(), int);
}

TEST_F(serving_cell, a_stopping_daemon_asks_nothing_and_resets_nothing) {
    keep_running = false;
    parse_rm5XX_stats();
    parse_4g_module_stats();
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Parsing RM5XX stats", "log info: Parsing non-5G module stats"));
    EXPECT_THAT(published(), IsEmpty());
    keep_running = true;
}

}  // namespace
