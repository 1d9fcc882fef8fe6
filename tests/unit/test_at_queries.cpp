// The AT query cycle: who is asked what, in which order, and when the port is free again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/run_flag.h"
#include "decode/carrier_aggregation.h"
#include "modem/at_queries.h"
#include "tests/fake_platform/fake_platform.h"
#include "wwan/connection.h"

namespace {

using testing::ElementsAre;

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
    at_queries(MODULE_EC25, &at_result_, &health_counter_);  // the first cycle also asks for the subscriber
    fake::platform().files["/tmp/zelt.cli"] = "";            // another program is at the port
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
        "zelt_at_cmd_get_registration_and_roaming",
        "sysdb_namedb_write_int CELL CELL_REGISTERED int 1",
        "sysdb_namedb_write_int CELL CELL_ROAMING int 0",
        "ser_close",
        "delete_file /tmp/zelt.cli",
        "log info: Parsing non-5G module stats",
        "create_empty_file /tmp/zelt.cli",
        "ser_open /dev/ttyQSB3",
        "ser_write_and_wait_for_txt_get_line at+qeng=\"servingcell\"",
        "ser_close",
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
        "ser_write_and_get_all_response_until_searchtxt at+qcainfo",
        "ser_close",
        "delete_file /tmp/zelt.cli",
        "log debug: QCAINFO:OK",
    };
    ASSERT_GE(journal.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(journal.begin(), journal.begin() + static_cast<std::ptrdiff_t>(expected.size())),
              expected);
}

TEST_F(at_query_cycle, operator_imsi_and_mdn_are_asked_for_in_cycles_1_3_and_5) {
    for (const bool asked : {true, false, true, false, true, false}) {
        run_cycle();
        const auto queries =
            fake::journal_of({"zelt_at_cmd_get_carrier_name", "zelt_at_cmd_get_imsi", "zelt_at_cmd_get_mdn"});
        if (asked) {
            EXPECT_THAT(queries, ElementsAre("zelt_at_cmd_get_carrier_name 64", "zelt_at_cmd_get_imsi 32",
                                             "zelt_at_cmd_get_mdn 32"));
        } else {
            EXPECT_THAT(queries, ElementsAre());
        }
    }
}

}  // namespace
