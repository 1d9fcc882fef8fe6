#include "view/json.h"

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using testing::HasSubstr;
using testing::Not;

Json::Value parse(const std::string &text) {
    Json::Value root;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &errors)) << errors << text;
    return root;
}

std::string text_of(const snapshot &cell) {
    return to_json(samples::picture_of(cell), samples::read_from(cell));
}

Json::Value object_of(const snapshot &cell) {
    return parse(text_of(cell));
}

TEST(json, lte) {
    const Json::Value expected = parse(R"({
        "schema": 1, "time": "2026-01-31T12:00:00.250Z", "model": "EC25",
        "database": "/run/sysdb", "state": "well", "sentence": "Registered at home.",
        "technology": "LTE", "operator": "Example Net", "registered": true, "roaming": false,
        "cell": {"mcc": "262", "mnc": "01", "id": 27447296, "id_hex": "1A2D000", "enodeb": 107216, "sector": 0,
                 "pci": 123, "tac": 12345},
        "radio": {"band": 3, "band_mhz": 1800, "band_duplex": "FDD", "channel": 1300, "bandwidth_down_mhz": 20,
                  "bandwidth_up_mhz": 1.4},
        "legs": [{"name": "LTE", "signals": {
            "rsrp": {"value": -95, "unit": "dBm", "rating": "fair"},
            "rsrq": {"value": -11, "unit": "dB", "rating": "fair"},
            "sinr": {"value": 12.4, "unit": "dB", "rating": "fair"},
            "rssi": {"value": -65, "unit": "dBm", "rating": "good"},
            "sqi": {"value": 60, "unit": "%", "rating": "fair"}}}],
        "carriers": [], "link": {"up": true, "ipv4": "10.64.12.7", "gateway": "10.64.12.1", "primary_dns": "10.64.0.53",
                                 "secondary_dns": null, "seconds_since_change": 3725},
        "seconds_since_update": 2, "seconds_since_change": 2, "summary": null, "other": {}})");
    reading database = samples::read_from(samples::lte() + snapshot{{"CELL_MODEL", std::string("EC25")},
                                                                    {"CELL_GATEWAY", std::string("10.64.12.1")},
                                                                    {"CELL_PRIMARY_DNS", std::string("10.64.0.53")},
                                                                    {"CELL_SECONDARY_DNS", std::string("0.0.0.0")},
                                                                    {"CELL_CHAN_BW_UL", std::string("1.4")}});
    database.taken_at = 1769860800.25;  // noon of the last day of January 2026
    EXPECT_EQ(parse(to_json(build_picture(database, {}, {2.0, 2.0, 3725.0}), database)), expected);
}

TEST(json, legs_of_nsa) {
    const Json::Value legs = object_of(samples::nsa())["legs"];
    ASSERT_EQ(legs.size(), 2U);
    EXPECT_EQ(legs[0]["name"], "LTE");
    EXPECT_EQ(legs[0]["band"], 3);
    EXPECT_EQ(legs[0]["signals"]["rsrp"]["value"], -95);
    EXPECT_EQ(legs[1]["name"], "NR");
    EXPECT_EQ(legs[1]["band"], 78);
    EXPECT_EQ(legs[1]["pci"], 501);
    EXPECT_EQ(legs[1]["signals"]["rsrp"]["value"], -85);
}

TEST(json, other_technologies) {
    const Json::Value sa = object_of(samples::sa());
    EXPECT_EQ(sa["technology"], "5G SA");
    EXPECT_FALSE(sa["cell"].isMember("id"));
    EXPECT_EQ(sa["legs"][0]["signals"]["sqi"]["rating"], "good");
    const Json::Value wcdma = object_of(samples::wcdma());
    EXPECT_EQ(wcdma["cell"]["lac"], 11101);
    EXPECT_EQ(wcdma["legs"][0]["signals"]["ecio"]["value"], -15);
    EXPECT_FALSE(wcdma["legs"][0]["signals"].isMember("rsrp"));
    EXPECT_EQ(wcdma["legs"][0]["signals"]["rscp"], parse(R"({"value": -95, "unit": "dBm", "rating": "fair",
                                                             "derived_from": "sqi", "bound": null})"));
    EXPECT_EQ(sa["radio"]["band_mhz"], 3500);
    EXPECT_FALSE(sa["cell"].isMember("enodeb"));
    const Json::Value gsm = object_of(samples::gsm());
    EXPECT_EQ(gsm["cell"]["bsic"], 26);
    EXPECT_EQ(gsm["radio"]["tx_level"], 5);
    EXPECT_EQ(gsm["legs"][0]["signals"]["rssi"]["rating"], "fair");
    EXPECT_EQ(object_of(samples::cat_m())["technology"], "CAT-M");
}

TEST(json, carriers) {
    const Json::Value carriers =
        object_of(samples::lte() + samples::secondary(1, "-999", 3050, 7, -101, -999, -70, 8))["carriers"];
    ASSERT_EQ(carriers.size(), 2U);
    EXPECT_EQ(carriers[1], parse(R"({"name": "SCC 1", "band": 7, "band_mhz": 2600, "band_duplex": "FDD",
                                     "channel": 3050, "bandwidth_down_mhz": null,
                                     "rsrp": -101, "rsrq": null, "rssi": -70, "sinr": 8})"));
}

TEST(json, missing_is_null_and_says_which_kind_of_missing) {
    snapshot cell = samples::lte() + snapshot{{"CELL_RSRP", -999}};
    cell.erase("CELL_SINR");
    const Json::Value signals = object_of(cell)["legs"][0]["signals"];
    EXPECT_TRUE(signals["rsrp"]["value"].isNull());
    EXPECT_EQ(signals["rsrp"]["rating"], "not reported");
    EXPECT_TRUE(signals["sinr"]["value"].isNull());
    EXPECT_EQ(signals["sinr"]["rating"], "unknown");
}

TEST(json, other_keys_are_listed_but_never_a_mark) {
    const Json::Value other = object_of({{"CELL_NEW", 7},
                                         {"CELL_REAL", 1.5},
                                         {"CELL_MARK", -999},
                                         {"CELL_MARK_TEXT", std::string("-999")},
                                         {"CELL_RSRP", std::string("-95")}})["other"];
    EXPECT_EQ(other, parse(R"({"CELL_NEW": 7, "CELL_REAL": 1.5, "CELL_MARK": null, "CELL_MARK_TEXT": null,
                               "CELL_RSRP": "-95"})"));
}

TEST(json, subscriber_is_told_to_those_who_ask) {
    const std::vector<snapshot> cells{
        samples::lte() + snapshot{{"CELL_IMSI", std::string("001010123456789")},
                                  {"CELL_MDN", std::string("15550100")},
                                  {"CELL_ICCID", std::string("89010000000000000019")},
                                  {"CELL_RSSIMON", std::string("EC25, MNC: 01, ICCID: 89010000000000000019, SIM: 1")}},
        samples::lte() + snapshot{{"CELL_IMSI", 1010123456}, {"CELL_MDN", 15550100.0}, {"CELL_ICCID", 890100000}}};
    for (const snapshot &cell : cells) {
        EXPECT_THAT(text_of(cell),
                    Not(testing::AnyOf(HasSubstr("10101234"), HasSubstr("15550100"), HasSubstr("890100000"))))
            << "in any form";
    }
    EXPECT_EQ(object_of(cells.front())["summary"], "EC25, MNC: 01, SIM: 1");
    const reading database = samples::read_from(cells.front());
    picture known = samples::picture_of(cells.front());
    known.owner = find_subscriber(database);
    EXPECT_EQ(parse(to_json(known, database))["subscriber"],
              parse(R"({"imsi": "001010123456789", "directory_number": "15550100", "iccid": "89010000000000000019"})"));
}

TEST(json, bandwidth_that_is_no_number_is_null) {
    const Json::Value object = object_of(samples::lte() + snapshot{{"CELL_CHAN_BW_DL", std::string("20MHz")}});
    EXPECT_TRUE(object["radio"]["bandwidth_down_mhz"].isNull());
}

TEST(json, keys_of_a_foreign_type_are_named) {
    reading database = samples::read_from({});
    database.foreign_keys = {"CELL_ODD"};
    const std::string text = to_json(build_picture(database, {}, {}), database);
    EXPECT_TRUE(parse(text)["other"].isMember("CELL_ODD"));
}

TEST(json, is_one_line_of_ascii) {
    const std::string text = text_of(samples::crowded() + snapshot{{"CELL_CARRIER", std::string("Türk\x1b[2J\n\xff")}});
    EXPECT_THAT(std::vector<char>(text.begin(), text.end()), testing::Each(testing::Ge(' ')));
    EXPECT_EQ(parse(text)["operator"], "Türk?[2J??");
    EXPECT_THAT(text, Not(HasSubstr("-999")));
}

TEST(json, without_database_the_state_says_so) {
    reading nothing;
    nothing.folder = "/run/sysdb";
    nothing.problem = "Database not there yet: /run/sysdb.";
    const Json::Value object = parse(to_json(build_picture(nothing, {}, {}), nothing));
    EXPECT_EQ(object["state"], "no database");
    EXPECT_TRUE(object["technology"].isNull());
    EXPECT_TRUE(object["registered"].isNull());
}

TEST(json, infinity_is_no_json) {
    const Json::Value object = object_of(samples::lte() + snapshot{{"CELL_SINR", 1.0 / 0.0}});
    EXPECT_TRUE(object["legs"][0]["signals"]["sinr"]["value"].isNull());
    EXPECT_EQ(object["legs"][0]["signals"]["sinr"]["rating"], "out of range");
}

}  // namespace
