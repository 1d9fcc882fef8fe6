// The AT query cycle: who is asked what, in which order, and when the port is free again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "base/run_flag.h"
#include "daemon/at_queries.h"
#include "decode/carrier_aggregation.h"
#include "stats/carriers.h"
#include "tests/fake_platform/fake_platform.h"
#include "tests/stats/clearing_journal.h"
#include "wwan/connection.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;

constexpr const char *LTE_LINE =
    R"(+QENG: "servingcell","NOCONN","LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37)";

class at_query_cycle : public testing::Test {
protected:
    at_query_cycle() {
        fake::platform().at_answers["at+qeng=\"servingcell\""] = {{1, LTE_LINE}};
        fake::platform().at_answers["at+qcainfo"] = {{0, "OK"}};
        init_ca_vector();
    }

    void run_cycle(module_model model = MODULE_EC25) {
        fake::platform().journal.clear();
        at_queries(model, &at_result_, &health_counter_);
    }

    bool at_result_ = false;
    unsigned int health_counter_ = 0;
};

TEST_F(at_query_cycle, journal_of_one_lte_cycle_is_in_the_written_order) {
    fake::platform().registration_result = 0;
    fake::platform().registered = true;
    run_cycle();                                   // the first one also asks for the subscriber: six descriptors
    fake::platform().files["/tmp/zelt.cli"] = "";  // another program is at the port
    fake::before("usleep", 2, [] { fake::platform().files.erase("/tmp/zelt.cli"); });
    run_cycle();

    const std::vector<std::string> journal = fake::platform().journal;
    const std::vector<std::string> expected{
        "log info: Performing AT queries",
        "log info: Updating registration and roaming",
        "usleep 50000",
        "usleep 50000",
        "create_empty_file /tmp/zelt.cli",
        "ser_open /dev/ttyQSB3",
        "zelt_at_cmd_get_registration_and_roaming 13 false",
        "sysdb_namedb_write_int CELL CELL_REGISTERED int 1",
        "sysdb_namedb_write_int CELL CELL_ROAMING int 0",
        "ser_close 13",
        "delete_file /tmp/zelt.cli",
        "log info: Parsing non-5G module stats",
        "create_empty_file /tmp/zelt.cli",
        "ser_open /dev/ttyQSB3",
        "ser_write_and_wait_for_txt_get_line 14 at+qeng=\"servingcell\"",
        "ser_close 14",
        "delete_file /tmp/zelt.cli",
        std::string("log debug: SERVINGCELL:") + LTE_LINE,
        "log debug: Parsing LTE:\"LTE\",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37",
        "log debug: parse_lte_catm: update cell net type LTE",
        "sysdb_init 0",
        "sysdb_txn_start CELL 0",
        "sysdb_write_int CELL_BAND int 2",
        "sysdb_write_int CELL_CHANNEL int 5230",
        "sysdb_write_str CELL_CHAN_BW_DL string 20",
        "sysdb_write_str CELL_CHAN_BW_UL string 20",
        "sysdb_write_int CELL_CID int 27447297",
        "sysdb_write_int CELL_EARFCN int 5230",
        "sysdb_write_int CELL_LTE_BAND int 2",
        "sysdb_write_int CELL_LTE_RSRP int -95",
        "sysdb_write_int CELL_LTE_RSRQ int -11",
        "sysdb_write_int CELL_LTE_RSSI int -65",
        "sysdb_write_dbl CELL_LTE_SINR real 12.0",
        "sysdb_write_int CELL_LTE_SQI int 60",
        "sysdb_write_str CELL_MCC string 310",
        "sysdb_write_str CELL_MNC string 260",
        "sysdb_write_str CELL_NET_TYPE string LTE",
        "sysdb_write_int CELL_NET_TYPE_INT int 20",
        "sysdb_write_int CELL_PCID int 123",
        "sysdb_write_int CELL_RSRP int -95",
        "sysdb_write_int CELL_RSRQ int -11",
        "sysdb_write_int CELL_RSSI int -65",
        "sysdb_write_dbl CELL_SINR real 12.0",
        "sysdb_write_int CELL_SQI int 60",
        "sysdb_write_int CELL_TAC int 31500",
        "sysdb_txn_end",
        "sysdb_exit",
        "log info: Getting carrier aggregation",
        "create_empty_file /tmp/zelt.cli",
        "ser_open /dev/ttyQSB3",
        "ser_write_and_get_all_response_until_searchtxt 15 at+qcainfo",
        "ser_close 15",
        "delete_file /tmp/zelt.cli",
        "log debug: QCAINFO:OK",
    };
    ASSERT_GE(journal.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(journal.begin(), journal.begin() + static_cast<std::ptrdiff_t>(expected.size())),
              expected);
}

// Whether operator, IMSI and MDN were asked for in the cycle that the journal holds.
bool asked_for_the_subscriber() {
    const auto queries =
        fake::journal_of({"zelt_at_cmd_get_carrier_name", "zelt_at_cmd_get_imsi", "zelt_at_cmd_get_mdn"});
    EXPECT_TRUE(queries.empty() || queries.size() == 3);
    return !queries.empty();
}

TEST_F(at_query_cycle, operator_imsi_and_mdn_are_asked_for_in_cycles_1_3_and_5) {
    for (const bool asked : {true, false, true, false, true, false}) {
        run_cycle();
        EXPECT_EQ(asked_for_the_subscriber(), asked);
    }
}

TEST_F(at_query_cycle, subscriber_queries_stand_between_the_publication_and_the_carrier_aggregation) {
    run_cycle();
    EXPECT_THAT(fake::journal_of({"log info:"}),
                ElementsAre("log info: Performing AT queries", "log info: Updating registration and roaming",
                            "log info: Parsing non-5G module stats", "log info: Getting carrier name",
                            "log info: Getting IMSI", "log info: Getting MDN",
                            "log info: Getting carrier aggregation"));
    EXPECT_THAT(fake::journal_of({"sysdb_txn_end", "zelt_at_cmd_get_carrier_name"}),
                ElementsAre("sysdb_txn_end", "zelt_at_cmd_get_carrier_name 9 64", "sysdb_txn_end", "sysdb_txn_end",
                            "sysdb_txn_end", "sysdb_txn_end", "sysdb_txn_end", "sysdb_txn_end"));
}

TEST_F(at_query_cycle, a_connect_event_of_cycle_1_makes_cycle_2_ask_for_the_subscriber_and_shifts_the_alternation) {
    run_cycle();
    EXPECT_TRUE(asked_for_the_subscriber());
    fake::platform().wwan_ip = "10.1.2.1";
    check_connection();
    ASSERT_TRUE(cell_new_connection);
    for (const bool asked : {true, false, true, false}) {  // cycles 2 to 5
        run_cycle();
        EXPECT_EQ(asked_for_the_subscriber(), asked);
        EXPECT_FALSE(cell_new_connection);
    }
}

TEST_F(at_query_cycle, a_new_connection_is_taken_back_even_without_the_module) {
    fake::platform().files.erase("/dev/ttyQSB3");
    cell_new_connection = true;
    run_cycle();
    EXPECT_FALSE(cell_new_connection);
}

TEST_F(at_query_cycle, a_module_that_comes_back_is_asked_for_the_subscriber_at_once) {
    run_cycle();
    EXPECT_TRUE(asked_for_the_subscriber());
    fake::platform().files.erase("/dev/ttyQSB3");
    run_cycle();
    fake::platform().files["/dev/ttyQSB3"] = "";
    for (const bool asked : {true, false, true}) {
        run_cycle();
        EXPECT_EQ(asked_for_the_subscriber(), asked);
    }
}

TEST_F(at_query_cycle, models_5_and_6_take_the_rm5xx_path_and_every_other_the_4g_path) {
    for (const int model : {1, 2, 3, 4, 5, 6, 7, 255}) {
        SCOPED_TRACE(model);
        run_cycle(static_cast<module_model>(model));
        const bool rm5xx = model == 5 || model == 6;
        EXPECT_THAT(fake::journal_of({"log info: Parsing"}),
                    ElementsAre(rm5xx ? "log info: Parsing RM5XX stats" : "log info: Parsing non-5G module stats"));
    }
}

TEST_F(at_query_cycle, counts_the_cycles_with_the_module) {
    for (unsigned int cycle = 1; cycle <= 25; ++cycle) {
        run_cycle();
        EXPECT_EQ(health_counter_, cycle);
        EXPECT_TRUE(at_result_);
    }
}

TEST_F(at_query_cycle, a_cycle_in_which_no_exchange_succeeds_still_counts) {
    for (int nth = 1; nth <= 6; ++nth) {
        fake::fail("ser_open", nth);
    }
    run_cycle();
    EXPECT_EQ(health_counter_, 1U);
    EXPECT_TRUE(at_result_);
    EXPECT_THAT(fake::journal_of({"ser_open"}), SizeIs(6));
    EXPECT_FALSE(fake::platform().files.contains("/tmp/zelt.cli"));
}

TEST_F(at_query_cycle, a_module_missing_from_the_start_clears_nothing_and_counts_nothing) {
    fake::platform().files.erase("/dev/ttyQSB3");
    for (int cycle = 1; cycle <= 3; ++cycle) {
        run_cycle();
        EXPECT_THAT(fake::platform().journal,
                    ElementsAre("log info: Performing AT queries", "delete_file /tmp/zelt.cli"));
        EXPECT_EQ(health_counter_, 0U);
        EXPECT_FALSE(at_result_);
    }
}

TEST_F(at_query_cycle, a_module_that_vanishes_clears_once_and_restarts_the_health_counter) {
    run_cycle();
    run_cycle();
    fake::platform().files.erase("/dev/ttyQSB3");
    run_cycle();
    std::vector<std::string> expected{"log info: Performing AT queries", "delete_file /tmp/zelt.cli"};
    for (const std::string &line : journal_of_clearing()) {
        expected.push_back(line);
    }
    expected.insert(expected.end(), {"log alert: Cell disconnected", "open /tmp/cell_last_connect_changed_time"});
    EXPECT_THAT(fake::platform().journal, ElementsAreArray(expected));
    EXPECT_FALSE(at_result_);
    EXPECT_EQ(health_counter_, 0U);
    run_cycle();
    EXPECT_THAT(fake::platform().journal, ElementsAre("log info: Performing AT queries", "delete_file /tmp/zelt.cli"));
}

TEST_F(at_query_cycle, the_subscribers_keys_survive_a_module_that_vanishes) {
    fake::platform().imsi = {15, "001010123456789"};
    run_cycle();
    fake::platform().files.erase("/dev/ttyQSB3");
    run_cycle();
    EXPECT_EQ(fake::cell("CELL_IMSI"), "string 001010123456789");
}

TEST_F(at_query_cycle, a_stale_lock_blocks_until_a_stop_while_the_module_is_present) {
    fake::platform().files["/tmp/zelt.cli"] = "";
    fake::before("usleep", 100, [] { keep_running = false; });
    run_cycle();
    EXPECT_THAT(fake::journal_of({"usleep"}), SizeIs(100));
    EXPECT_THAT(fake::journal_of({"ser_open"}), SizeIs(0));
    EXPECT_TRUE(fake::platform().files.contains("/tmp/zelt.cli"));
}

TEST_F(at_query_cycle, a_stale_lock_is_removed_when_the_device_node_disappears) {
    fake::platform().files["/tmp/zelt.cli"] = "";
    fake::platform().files.erase("/dev/ttyQSB3");
    run_cycle();
    EXPECT_FALSE(fake::platform().files.contains("/tmp/zelt.cli"));
}

TEST_F(at_query_cycle, the_lock_is_free_between_cycles) {
    for (const auto model : {MODULE_EC25, MODULE_RM50X}) {
        run_cycle(model);
        EXPECT_FALSE(fake::platform().files.contains("/tmp/zelt.cli"));
        EXPECT_EQ(fake::journal_of({"ser_open"}).size(), fake::journal_of({"ser_close"}).size());
    }
}

TEST_F(at_query_cycle, a_database_that_cannot_be_opened_publishes_the_values_in_the_next_cycle) {
    fake::fail("sysdb_init");
    run_cycle();
    EXPECT_EQ(fake::cell("CELL_RSRP"), "");
    fake::platform().at_answers["at+qeng=\"servingcell\""] = {{3, ""}};  // the next cycle decodes nothing itself
    run_cycle();
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -95");
}

TEST_F(at_query_cycle, an_exception_of_one_query_does_not_keep_the_others_from_running) {
    fake::before("zelt_at_cmd_get_registration_and_roaming", 1, [] { throw std::runtime_error("no answer"); });
    fake::before("usleep", 1, [] { keep_running = false; });  // a wait for a lock that nobody gives back
    run_cycle();
    EXPECT_THAT(fake::journal_of({"usleep"}), testing::IsEmpty());
    EXPECT_THAT(fake::log_lines(), Contains("alert: exception no answer in update_registration_and_roaming"));
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -95");
    EXPECT_THAT(fake::log_lines(), Contains("info: Getting carrier aggregation"));
}

TEST_F(at_query_cycle, an_exception_of_the_clearing_is_logged_and_skips_the_rest) {
    run_cycle();
    fake::platform().files.erase("/dev/ttyQSB3");
    fake::before("brelsys", 1, [] { throw std::runtime_error("no shell"); });
    run_cycle();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no shell in at_queries");
    EXPECT_FALSE(at_result_);
    EXPECT_EQ(health_counter_, 1U);  // its reset comes behind the clearing
    fake::platform().files["/dev/ttyQSB3"] = "";
    run_cycle();
    EXPECT_TRUE(asked_for_the_subscriber());  // that reset came ahead of it
}

TEST_F(at_query_cycle, an_exception_ahead_of_the_queries_is_logged_and_skips_them) {
    fake::before("syslog", 1, [] { throw std::runtime_error("no log"); });
    run_cycle();
    EXPECT_THAT(fake::platform().journal,
                ElementsAre("log info: Performing AT queries", "log alert: exception no log in at_queries"));
    EXPECT_FALSE(at_result_);
}

}  // namespace
