// What the database shows while the radio changes under the daemon, cycle by cycle.
#include <algorithm>

#include "decode/carrier_aggregation.h"
#include "modem/at_queries.h"
#include "stats/carriers.h"
#include "tests/unit/decoding_test.h"

namespace {

constexpr const char *STATE = "+QENG: \"servingcell\",\"NOCONN\"\r\n";
constexpr const char *LTE_ANCHOR = "+QENG: \"LTE\",\"FDD\",222,01,328261F,280,275,1,4,4,BE3,-99,-14,-66,7,4,30,-\r\n";
constexpr const char *NSA = "+QENG: \"NR5G-NSA\",222,01,920,-96,18,-10,648768,78,10,1\r\n";
constexpr const char *NSA_NOT_ATTACHED = "+QENG: \"NR5G-NSA\",222,01,65535,-32768,-32768,-32768\r\n";
constexpr const char *LTE_ALONE =
    "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",222,01,328261F,280,275,1,4,4,BE3,-98,-13,-65,8,4,30,-\r\n";
const std::string OK = "\r\nOK\r\n";

using shown = std::vector<std::pair<const char *, const char *>>;

const shown NR_WITHDRAWN{{"CELL_NR5G_BAND", "int -999"},
                         {"CELL_NR5G_RSRP", "int -999"},
                         {"CELL_NR5G_RSRQ", "int -999"},
                         {"CELL_NR5G_SINR", "real -999.0"},
                         {"CELL_NR5G_SQI", "int -999"}};

class stories : public decoding_test {
protected:
    stories() { init_ca_vector(); }

    void cycle_5g(const std::string &serving_cell, const std::string &carriers = "OK", unsigned int result = 0) {
        cycle(MODULE_RM52X, {result, serving_cell}, {result, carriers});
    }

    void cycle_4g(const std::string &serving_cell) { cycle(MODULE_EC25, {1, serving_cell}, {0, "OK"}); }

    void cycle(module_model model, const fake::at_answer &serving_cell, const fake::at_answer &carriers) {
        fake::platform().at_answers["at+qeng=\"servingcell\""] = {serving_cell};
        fake::platform().at_answers["at+qcainfo"] = {carriers};
        fake::platform().journal.clear();
        at_queries(model, &at_result_, &health_counter_);
    }

    static void expect_shown(const shown &values) {
        for (const auto &[key, value] : values) {
            EXPECT_EQ(fake::cell(key), value) << key;
        }
    }

    static std::string carriers(int count) {
        std::string answer;
        for (int number = 1; number <= count; ++number) {
            answer += "+QCAINFO: \"SCC\"," + std::to_string(100 * number) + ",50,\"LTE BAND " + std::to_string(number) +
                      "\",1,240,-95,-18,-68,-10,0,-,-\r\n";
        }
        return answer + OK;
    }

    // The numbers of the carriers of which any key is there; a carrier in part would show as a wrong count of keys.
    static std::vector<int> published_carriers() {
        std::vector<int> numbers;
        for (int number = 0; number <= 9; ++number) {
            const std::string ending = "_SCC_" + std::to_string(number);
            const auto &cell = fake::platform().databases["CELL"];
            const auto keys = std::count_if(cell.begin(), cell.end(),
                                            [&ending](const auto &entry) { return entry.first.ends_with(ending); });
            if (keys != 0) {
                EXPECT_EQ(keys, 7) << ending;
                numbers.push_back(number);
            }
        }
        return numbers;
    }

    bool at_result_ = false;
    unsigned int health_counter_ = 0;
};

TEST_F(stories, lte_to_en_dc_and_back) {
    cycle_5g(LTE_ALONE + OK);
    const shown on_lte{{"CELL_NET_TYPE", "string LTE"}, {"CELL_NET_TYPE_INT", "int 20"}, {"CELL_RSRP", "int -98"},
                       {"CELL_SINR", "real 8.0"},       {"CELL_BAND", "int 1"},          {"CELL_PCID", "int 280"},
                       {"CELL_SQI", "int 55"},          {"CELL_LTE_RSRP", "int -98"},    {"CELL_CHANNEL", "int 275"}};
    expect_shown(on_lte);  // 35 * 1.587 = 55.545
    expect_shown(NR_WITHDRAWN);

    cycle_5g(STATE + std::string(LTE_ANCHOR) + NSA + OK);
    expect_shown({{"CELL_NET_TYPE", "string 5G NSA"},
                  {"CELL_NET_TYPE_INT", "int 25"},
                  {"CELL_RSRP", "int -96"},
                  {"CELL_SINR", "real 18.0"},
                  {"CELL_BAND", "int 78"},
                  {"CELL_PCID", "int 920"},
                  {"CELL_SQI", "int 58"},
                  {"CELL_NR5G_RSRP", "int -96"},
                  {"CELL_NR5G_RSRQ", "int -10"},
                  {"CELL_NR5G_SINR", "real 18.0"},
                  {"CELL_NR5G_SQI", "int 58"},
                  {"CELL_NR5G_BAND", "int 78"},
                  {"CELL_LTE_RSRP", "int -99"},
                  {"CELL_LTE_SQI", "int 53"},
                  {"CELL_LTE_BAND", "int 1"},
                  {"CELL_CHANNEL", "int 275"},
                  {"CELL_CID", "int 52962847"},
                  {"CELL_RSSI", "int -66"}});

    cycle_5g(LTE_ALONE + OK);
    expect_shown(on_lte);
    expect_shown(NR_WITHDRAWN);
    EXPECT_EQ(fake::journal_of({"sysdb_write_int CELL_NR5G_RSRP"}).size(), 1U) << "in one transaction with the rest";
}

TEST_F(stories, the_nr_leg_is_listed_but_not_attached) {
    cycle_5g(STATE + std::string(LTE_ANCHOR) + NSA + OK);
    cycle_5g(STATE + std::string(LTE_ANCHOR) + NSA_NOT_ATTACHED + OK);
    expect_shown({{"CELL_NET_TYPE", "string LTE"},
                  {"CELL_NET_TYPE_INT", "int 20"},
                  {"CELL_RSRP", "int -99"},
                  {"CELL_RSRQ", "int -14"},
                  {"CELL_SINR", "real 7.0"},
                  {"CELL_BAND", "int 1"},
                  {"CELL_PCID", "int 280"},
                  {"CELL_SQI", "int 53"}});  // 34 * 1.587 = 53.958
    expect_shown(NR_WITHDRAWN);
}

TEST_F(stories, nr_goes_with_a_failed_exchange_too_and_lte_values_stay) {
    cycle_5g(STATE + std::string(LTE_ANCHOR) + NSA + OK);
    cycle_5g("", "", 2);
    expect_shown(NR_WITHDRAWN);
    expect_shown({{"CELL_LTE_RSRP", "int -99"}, {"CELL_NET_TYPE", "string 5G NSA"}, {"CELL_RSRP", "int -96"}});
}

TEST_F(stories, wcdma_to_gsm) {
    fake::platform().at_answers["at+qnwinfo"] = {{1, R"(+QNWINFO: "HSPA+","310410","WCDMA 850",4385)"}};
    fake::platform().at_answers["at+csq"] = {{1, "+CSQ: 20,99"}};
    cycle_4g(R"(+QENG: "servingcell","NOCONN","WCDMA",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-)");
    expect_shown({{"CELL_NET_TYPE", "string WCDMA"},
                  {"CELL_NET_TYPE_INT", "int 15"},
                  {"CELL_BAND", "int 850"},
                  {"CELL_SQI", "int 44"},
                  {"CELL_ECIO", "int -7"},
                  {"CELL_LAC", "int 56998"},
                  {"CELL_CID", "int 165948"},
                  {"CELL_CHANNEL", "int 4385"},
                  {"CELL_RSCP", ""},
                  {"CELL_RSSI", ""}});

    cycle_4g(R"(+QENG: "servingcell","NOCONN","GSM",310,410,DEA6,B919,26,50,900,-73,5,255,0,38,38,1,-,-)");
    expect_shown({{"CELL_NET_TYPE", "string GSM"},
                  {"CELL_NET_TYPE_INT", "int 5"},
                  {"CELL_BAND", "int 900"},
                  {"CELL_RSSI", "int -73"},
                  {"CELL_SQI", "int 80"},
                  {"CELL_CID", "int 47385"},
                  {"CELL_CHANNEL", "int 50"},
                  {"CELL_ARFCN", "int 50"},
                  {"CELL_UARFCN", "int 4385"},  // WCDMA's own values are nobody's to withdraw
                  {"CELL_ECIO", "int -7"}});
}

TEST_F(stories, three_carriers_then_one_then_none) {
    cycle_5g(LTE_ALONE + OK, carriers(3));
    EXPECT_EQ(published_carriers(), (std::vector{1, 2, 3}));
    expect_shown(
        {{"CELL_BAND_SCC_3", "int 3"}, {"CELL_CHANNEL_SCC_3", "int 300"}, {"CELL_CHAN_BW_DL_SCC_3", "string 10"}});
    cycle_5g(LTE_ALONE + OK, carriers(1));
    EXPECT_EQ(published_carriers(), (std::vector{1}));
    cycle_5g(LTE_ALONE + OK, carriers(0));
    EXPECT_EQ(published_carriers(), std::vector<int>{});
}

TEST_F(stories, seven_carriers) {
    cycle_5g(LTE_ALONE + OK, carriers(7).substr(0, 511));
    EXPECT_EQ(published_carriers(), (std::vector{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(fake::journal_of({"sysdb_del"}).size(), 0U);
    expect_shown({{"CELL_BAND_SCC_6", "int 6"}});
}

TEST_F(stories, a_failed_exchange_keeps_the_carriers) {
    cycle_5g(LTE_ALONE + OK, carriers(2));
    cycle_5g("", "", 2);
    EXPECT_EQ(published_carriers(), (std::vector{1, 2}));
    cycle_5g("", "", 0);
    EXPECT_EQ(published_carriers(), (std::vector{1, 2})) << "an empty answer says nothing about carriers";
    cycle_5g(LTE_ALONE + OK, "\r\nERROR\r\n");
    EXPECT_EQ(published_carriers(), std::vector<int>{});
}

TEST_F(stories, a_searching_module_keeps_the_last_cell) {
    cycle_4g(R"(+QENG: "servingcell","NOCONN","LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37)");
    cycle_4g(R"(+QENG: "servingcell","SEARCH")");
    expect_shown({{"CELL_NET_TYPE", "string LTE"}, {"CELL_RSRP", "int -95"}, {"CELL_CID", "int 27447297"}});
    EXPECT_TRUE(fake::journal_of({"sysdb_write_int", "sysdb_write_str", "sysdb_write_dbl"}).empty());
}

TEST_F(stories, a_broken_line_and_then_a_good_one) {
    cycle_4g(R"(+QENG: "servingcell","NOCONN","LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37)");
    cycle_4g(
        R"(+QENG: "servingcell","NOCONN","CAT-M","FDD",65535,65535,FFFFFFFF,212,-1,20,3,3,FFFF,-109,-16,-75,11,0)");
    expect_shown({{"CELL_MCC", "string 65535"}, {"CELL_CID", "int 27447297"}, {"CELL_NET_TYPE", "string LTE"}});
    cycle_4g(R"(+QENG: "servingcell","CONNECT","CAT-M","FDD",262,03,2FAA03,187,6200,20,3,3,2AFB,-105,-11,-76,10,-)");
    expect_shown({{"CELL_MCC", "string 262"},
                  {"CELL_CID", "int 3123715"},
                  {"CELL_TAC", "int 11003"},
                  {"CELL_SQI", "int 44"},  // 28 * 1.587 = 44.436
                  {"CELL_NET_TYPE", "string CAT-M"},
                  {"CELL_NET_TYPE_INT", "int 10"}});
}

}  // namespace
