// The GSM decoder: which column reaches which keys, and where a broken line stops.
#include "decode/gsm.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using gsm_decoder = decoding_test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *LINE = R"("GSM",250,99,DC51,B919,26,50,900,-73,255,255,0,38,38,1,-,-,-,-,-,-,-,-,-,"-")";

TEST_F(gsm_decoder, every_column_reaches_its_keys_without_strength_and_quality) {
    parse_gsm(LINE);
    EXPECT_THAT(published(), ElementsAre("CELL_ARFCN int 50", "CELL_BAND int 900", "CELL_BSIC int 26",
                                         "CELL_CHANNEL int 50", "CELL_CID int 47385", "CELL_LAC int 56401",
                                         "CELL_MCC string 250", "CELL_MNC string 99", "CELL_NET_TYPE string GSM",
                                         "CELL_NET_TYPE_INT int 5", "CELL_RXLEV int -73", "CELL_TXP int 255"));
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing GSM:") + LINE));
}

TEST_F(gsm_decoder, updates_come_in_the_order_of_the_columns) {
    taken_updates();
    parse_gsm(LINE);
    EXPECT_THAT(taken_updates(),
                ElementsAre("CELL_MCC 250", "CELL_MNC 99", "CELL_LAC 56401", "CELL_CID 47385", "CELL_BSIC 26",
                            "CELL_ARFCN 50", "CELL_CHANNEL 50", "CELL_BAND 900", "CELL_RXLEV -73", "CELL_TXP 255",
                            "CELL_NET_TYPE GSM", "CELL_NET_TYPE_INT 5"));
}

TEST_F(gsm_decoder, a_quoted_dash_is_no_number) {
    parse_gsm(R"("GSM",234,30,1A2B,AB12,54,900,"-",-72,33,0,0,-,-,-,-,-,-)");
    published();
    EXPECT_EQ(fake::cell("CELL_BAND"), "int 0");
    EXPECT_EQ(fake::cell("CELL_RXLEV"), "int -72");
}

TEST_F(gsm_decoder, a_column_that_is_not_hexadecimal_stops_the_line_there) {
    const std::vector<broken_line> rows{
        {"area code is a dash", "-,B919", "stoi", {"CELL_MCC string 250", "CELL_MNC string 99"}},
        {"area code is empty", ",B919", "stoi", {"CELL_MCC string 250", "CELL_MNC string 99"}},
        {"area code is one past 32 bits", "80000000,1", "stoi", {"CELL_MCC string 250", "CELL_MNC string 99"}},
        {"identity is a dash", "DC51,-", "stol", {"CELL_LAC int 56401", "CELL_MCC string 250", "CELL_MNC string 99"}},
        {"identity is missing", "DC51,", "stol", {"CELL_LAC int 56401", "CELL_MCC string 250", "CELL_MNC string 99"}},
        {"identity has 9 digits",
         "DC51,105FB012D",
         "stol",
         {"CELL_LAC int 56401", "CELL_MCC string 250", "CELL_MNC string 99"}},
    };
    expect_stops_there(rows, R"("GSM",250,99,)", ",26,50,900,-73,255", parse_gsm, "parse_gsm");
}

TEST_F(gsm_decoder, a_short_line_writes_what_it_has_and_the_network_type) {
    parse_gsm(R"("GSM",250,99)");
    EXPECT_THAT(published(), ElementsAre("CELL_MCC string 250", "CELL_MNC string 99", "CELL_NET_TYPE string GSM",
                                         "CELL_NET_TYPE_INT int 5"));
}

TEST_F(gsm_decoder, an_exception_is_logged_under_its_name_and_the_network_type_stays) {
    throw_at_log_line(1);
    parse_gsm(LINE);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_gsm");
    EXPECT_THAT(published(), IsEmpty());
}

}  // namespace
