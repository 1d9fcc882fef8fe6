#include "tools/zelt_top/csv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using testing::HasSubstr;

const std::string HEADER =
    "time,state,seconds_since_update,model,technology,operator,registered,roaming,mcc,mnc,id,enodeb,sector,pci,tac,lac,"
    "rac,bsic,band,channel,bandwidth_down_mhz,bandwidth_up_mhz,rsrp,rsrq,sinr,rssi,sqi,rscp,ecio,rxlev,nr_band,nr_pci,"
    "nr_rsrp,nr_rsrq,nr_sinr,nr_sqi,link_up,ipv4";

std::string row_of(const snapshot &cell) {
    reading database = samples::read_from(cell);
    database.taken_at = 1769860800.25;  // noon of the last day of January 2026
    return zelt_top::csv_row(samples::picture_of(cell), database);
}

TEST(csv, header_names_the_columns) {
    EXPECT_EQ(zelt_top::csv_header(false), HEADER + "\n");
    EXPECT_EQ(zelt_top::csv_header(true), HEADER + ",imsi,directory_number,iccid\n");
}

TEST(csv, each_technology_fills_its_own_columns) {
    struct row {
        const char *why;
        snapshot cell;
        std::string expected;  // behind the network
    };
    const row rows[] = {
        {"LTE", samples::lte(),
         "27447296,107216,0,123,12345,,,,3,1300,20,10,-95,-11,12.4,-65,60,,,,,,,,,,1,10.64.12.7\n"},
        {"NSA: the NR leg has columns of its own", samples::nsa(),
         "27447296,107216,0,,12345,,,,3,1300,20,10,-95,-11,12.4,-65,60,,,,78,501,-85,-16,20,76,1,10.64.12.7\n"},
        {"SA: the NR leg is the cell, too", samples::sa(),
         ",,,501,,,,,78,,,,-85,-16,20,,76,,,,78,501,-85,-16,20,76,1,10.64.12.7\n"},
        {"WCDMA", samples::wcdma(), "27440068,,,,,11101,1,,900,3037,,,,,,,50,-95,-15,,,,,,,,1,10.64.12.7\n"},
        {"GSM", samples::gsm(), "47385,,,,,56401,,26,900,50,,,,,,-93,30,,,-73,,,,,,,1,10.64.12.7\n"},
    };
    for (const row &one : rows) {
        EXPECT_THAT(row_of(one.cell), testing::EndsWith(",Example Net,1,0,262,01," + one.expected)) << one.why;
    }
    EXPECT_THAT(row_of(samples::lte()), testing::StartsWith("2026-01-31T12:00:00.250Z,well,2,,LTE,Example Net,"));
}

TEST(csv, missing_is_empty) {
    EXPECT_EQ(row_of({}), "2026-01-31T12:00:00.250Z,not registered,2,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,\n");
    EXPECT_THAT(row_of(samples::lte() + snapshot{{"CELL_RSRP", 0}, {"CELL_RSRQ", -999}}), HasSubstr(",20,10,,,12.4,"))
        << "out of range, not reported";
}

TEST(csv, texts_are_quoted_where_they_must_be) {
    EXPECT_THAT(row_of(samples::lte() + snapshot{{"CELL_CARRIER", std::string("A, \"B\" & C")}}),
                HasSubstr(",LTE,\"A, \"\"B\"\" & C\",1,"));
    EXPECT_THAT(row_of(samples::lte() + snapshot{{"CELL_CARRIER", std::string("A\nB")}}), HasSubstr(",LTE,A?B,1,"))
        << "a line feed would steer a terminal: it is none any more";
}

TEST(csv, subscriber_stands_at_the_end_where_asked_for) {
    reading database = samples::read_from({{"CELL_IMSI", std::string("001010123456789")},
                                           {"CELL_MDN", std::string("+15550100")},
                                           {"CELL_ICCID", std::string("89010000000000000019")}});
    picture known = build_picture(database, {}, {});
    EXPECT_THAT(zelt_top::csv_row(known, database), testing::Not(HasSubstr("001010123456789")));
    known.owner = find_subscriber(database);
    EXPECT_THAT(zelt_top::csv_row(known, database),
                testing::EndsWith(",001010123456789,+15550100,89010000000000000019\n"));
}

}  // namespace
