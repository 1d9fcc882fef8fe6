// The exchanges that complete a WCDMA or GSM line: the band, and signal strength with its quality.
#include "base/run_flag.h"
#include "decode/follow_up_queries.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *QNWINFO = R"(+QNWINFO: "HSPA+","310410","WCDMA 850",4385)";

struct query {
    const char *command;
    void (*run)();
    const char *begin_log;
    const char *failure_log;
    const char *operation;
    const char *good_answer;
};

constexpr query QUERIES[] = {
    {"at+qnwinfo", get_band_for_wcdma, "info: Getting band for WCDMA", "debug: Failed to get QNWINFO",
     "get_band_for_wcdma", QNWINFO},
    {"at+csq", get_rssi_for_gsm, "info: Getting RSSI for GSM", "debug: Failed to get CSQ", "get_rssi_for_gsm",
     "+CSQ: 10,99"},
};

class follow_up_queries : public decoding_test {
protected:
    static strings band_of(const std::string &answer) {
        fake::reset();
        fake::platform().at_answers["at+qnwinfo"] = {{1, answer}};
        get_band_for_wcdma();
        return published();
    }

    static strings strength_of(const std::string &answer) {
        fake::reset();
        fake::platform().at_answers["at+csq"] = {{1, answer}};
        get_rssi_for_gsm();
        return published();
    }
};

TEST_F(follow_up_queries, journal_of_the_band_query_is_in_the_written_order) {
    fake::platform().at_answers["at+qnwinfo"] = {{1, QNWINFO}};
    get_band_for_wcdma();
    EXPECT_THAT(published(), ElementsAre("CELL_BAND int 850"));
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Getting band for WCDMA", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "ser_write_and_wait_for_txt_get_line 7 at+qnwinfo", "ser_close 7",
                            "delete_file /tmp/zelt.cli", std::string("log debug: QNWINFO:") + QNWINFO,
                            "log debug: Parsed out 850"));
}

TEST_F(follow_up_queries, journal_of_the_strength_query_is_in_the_written_order) {
    fake::platform().at_answers["at+csq"] = {{1, "+CSQ: 10,99"}};
    taken_updates();
    get_rssi_for_gsm();
    EXPECT_THAT(taken_updates(), ElementsAre("CELL_RSSI -93", "CELL_SQI 30"));
    EXPECT_THAT(published(), ElementsAre("CELL_RSSI int -93", "CELL_SQI int 30"));
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Getting RSSI for GSM", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "ser_write_and_wait_for_txt_get_line 7 at+csq", "ser_close 7",
                            "delete_file /tmp/zelt.cli", "log debug: CSQ:+CSQ: 10,99", "log debug: Parsed out 10"));
}

TEST_F(follow_up_queries, ask_with_their_own_prefix_and_buffer) {
    get_band_for_wcdma();
    get_rssi_for_gsm();
    const auto &asked = fake::platform().at_exchanges;
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0].command, "at+qnwinfo\r");
    EXPECT_THAT(asked[0].texts, ElementsAre("+QNWINFO:", "OK", "ERROR"));
    EXPECT_EQ(asked[0].buffer_size, 64U);
    EXPECT_EQ(asked[1].command, "at+csq\r");
    EXPECT_THAT(asked[1].texts, ElementsAre("+CSQ:", "OK", "ERROR"));
    EXPECT_EQ(asked[1].buffer_size, 32U);
}

TEST_F(follow_up_queries, a_port_that_cannot_be_opened_is_silent) {
    for (const query &each : QUERIES) {
        SCOPED_TRACE(each.operation);
        fake::reset();
        fake::fail("ser_open");
        each.run();
        EXPECT_THAT(fake::log_lines(), ElementsAre(each.begin_log));
        EXPECT_THAT(published(), IsEmpty());
        EXPECT_FALSE(fake::platform().files.contains("/tmp/zelt.cli"));
    }
}

TEST_F(follow_up_queries, a_closed_port_is_noticed_whatever_the_buffer_holds) {
    for (const query &each : QUERIES) {
        SCOPED_TRACE(each.operation);
        fake::reset();
        fake::platform().at_answers[each.command] = {{0, each.good_answer}};
        each.run();
        EXPECT_THAT(fake::log_lines(), ElementsAre(each.begin_log, "notice: Port closed!"));
        EXPECT_THAT(published(), IsEmpty());
    }
}

TEST_F(follow_up_queries, any_other_result_is_a_failed_exchange) {
    for (const query &each : QUERIES) {
        for (const unsigned int result : {2U, 3U, 0xFFFFFFFFU}) {
            SCOPED_TRACE(std::string(each.operation) + " " + std::to_string(result));
            fake::reset();
            fake::platform().at_answers[each.command] = {{result, each.good_answer}};
            each.run();
            EXPECT_THAT(fake::log_lines(), ElementsAre(each.begin_log, each.failure_log));
            EXPECT_THAT(published(), IsEmpty());
            EXPECT_THAT(fake::journal_of({"ser_close", "delete_file"}),
                        ElementsAre("ser_close 7", "delete_file /tmp/zelt.cli"));
        }
    }
}

TEST_F(follow_up_queries, an_exception_is_logged_under_the_operation_s_name) {
    for (const query &each : QUERIES) {
        SCOPED_TRACE(each.operation);
        fake::reset();
        fake::platform().at_answers[each.command] = {{1, each.good_answer}};
        throw_at_log_line(2);
        each.run();
        EXPECT_EQ(fake::log_lines().back(), std::string("alert: exception no memory in ") + each.operation);
        EXPECT_THAT(published(), IsEmpty());
    }
}

TEST_F(follow_up_queries, the_band_is_the_digits_of_the_third_field) {
    struct row {
        const char *why;
        const char *answer;
        strings values;
    };
    const row rows[] = {
        {"WCDMA", QNWINFO, {"CELL_BAND int 850"}},
        {"four digits", R"(+QNWINFO: "HSPA+","23203","WCDMA 2100",10836)", {"CELL_BAND int 2100"}},
        {"operator without quotes", R"(+QNWINFO: "HSPA+",25002,"WCDMA 2100",10687)", {"CELL_BAND int 2100"}},
        {"nothing in quotes", "+QNWINFO: TDD LTE,46000,LTE BAND 41,40936  OK", {"CELL_BAND int 41"}},
        {"no blank behind the prefix", R"(+QNWINFO:"HSPA+","1","WCDMA 900",2938)", {"CELL_BAND int 900"}},
        {"three fields are enough", R"(+QNWINFO: "HSPA+","1","WCDMA 900")", {"CELL_BAND int 900"}},
        {"empty fields keep their place", "+QNWINFO: ,,WCDMA 900", {"CELL_BAND int 900"}},
        {"a name without a digit is an empty value", R"(+QNWINFO: "HSPA+","1","WCDMA",1)", {"CELL_BAND int -999"}},
        {"an empty name is an empty value", R"(+QNWINFO: "HSPA+","1",,1)", {"CELL_BAND int -999"}},
        {"a letter ends no field", R"(+QNWINFO: "HSxA+","1","WCDMA x900",2938)", {"CELL_BAND int 900"}},
        {"every digit counts, wherever it stands", R"(+QNWINFO: "","","1 x 2-3",)", {"CELL_BAND int 123"}},
        {"30 digits", "+QNWINFO: ,,123456789012345678901234567890", {"CELL_BAND int 2147483647"}},
        {"two fields only", R"(+QNWINFO: "HSPA+","310410")", {}},
        {"two fields and a comma", R"(+QNWINFO: "HSPA+","310410",)", {}},
        {"no service", "+QNWINFO: No Service", {}},
        {"prefix alone", "+QNWINFO:", {}},
        {"shorter than the prefix", "+QNW", {}},
        {"empty", "", {}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(band_of(each.answer), each.values);
    }
}

TEST_F(follow_up_queries, an_answer_without_a_band_is_logged_but_not_parsed_out) {
    band_of(R"(+QNWINFO: "HSPA+","310410")");
    EXPECT_THAT(fake::log_lines(),
                ElementsAre("info: Getting band for WCDMA", R"(debug: QNWINFO:+QNWINFO: "HSPA+","310410")"));
}

TEST_F(follow_up_queries, a_band_beyond_63_characters_is_cut) {
    const std::string head = "+QNWINFO: a,";
    EXPECT_THAT(band_of(head + std::string(63 - head.size() - 3, 'b') + ",8500"), ElementsAre("CELL_BAND int 85"));
    EXPECT_THAT(band_of(head + std::string(63 - head.size() - 1, 'b') + ",8500"), IsEmpty());
}

TEST_F(follow_up_queries, strength_is_minus_113_dbm_and_2_db_a_step) {
    struct row {
        const char *why;
        const char *answer;
        const char *rssi;
        const char *sqi;
    };
    static constexpr row ROWS[] = {
        {"weakest", "+CSQ: 0,99", "-113", "0"},
        {"step 1", "+CSQ: 1,99", "-111", "0"},
        {"last below the range", "+CSQ: 3,99", "-107", "0"},
        {"lower limit -105", "+CSQ: 4,99", "-105", "0"},
        {"first step above it", "+CSQ: 5,99", "-103", "5"},
        {"10", "+CSQ: 10,99", "-93", "30"},
        {"20", "+CSQ: 20,99", "-73", "80"},
        {"last below the upper limit", "+CSQ: 23,99", "-67", "95"},
        {"upper limit -65", "+CSQ: 24,99", "-65", "100"},
        {"strongest", "+CSQ: 31,99", "-51", "100"},
        {"beyond the standard's range", "+CSQ: 37,20", "-39", "100"},
        {"last that is a level", "+CSQ: 98,99", "83", "100"},
        {"not known", "+CSQ: 99,99", "-999", "0"},
        {"more than not known", "+CSQ: 100,99", "-999", "0"},
        {"highest of 32 bits", "+CSQ: 2147483647,99", "-999", "0"},
        {"20 digits", "+CSQ: 99999999999999999999", "-999", "0"},
        {"negative", "+CSQ: -1,99", "-115", "0"},
        {"lowest of 32 bits does not wrap", "+CSQ: -2147483648", "-2147483648", "0"},
        {"20 digits, negative", "+CSQ: -99999999999999999999", "-2147483648", "0"},
        {"no number counts as 0", "+CSQ: x,99", "-113", "0"},
        {"empty first field counts as 0", "+CSQ: ,99", "-113", "0"},
        {"no comma", "+CSQ: 18", "-77", "70"},
        {"without the blank the first digit is lost", "+CSQ:18,99", "-97", "20"},
        {"two blanks", "+CSQ:  18,99", "-77", "70"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_THAT(strength_of(each.answer),
                    ElementsAre(std::string("CELL_RSSI int ") + each.rssi, std::string("CELL_SQI int ") + each.sqi));
    }
}

TEST_F(follow_up_queries, an_answer_without_a_level_writes_nothing) {
    for (const char *answer : {"", "+CSQ", "+CSQ:", "+CSQ: "}) {
        SCOPED_TRACE(answer);
        EXPECT_THAT(strength_of(answer), IsEmpty());
        EXPECT_EQ(fake::log_lines().back(), std::string("debug: CSQ:") + answer);
    }
}

TEST_F(follow_up_queries, a_stopping_daemon_asks_nothing) {
    keep_running = false;
    for (const query &each : QUERIES) {
        SCOPED_TRACE(each.operation);
        fake::reset();
        each.run();
        EXPECT_THAT(fake::platform().journal, ElementsAre(std::string("log ") + each.begin_log));
    }
    keep_running = true;
}

}  // namespace
