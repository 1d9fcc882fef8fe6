// The WCDMA decoder: which column reaches which keys, and where a broken line stops.
#include "decode/wcdma.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using wcdma_decoder = decoding_test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *LINE = R"("WCDMA",310,410,2B5D,1A2B3C4,4385,84,254,-95,-7,-,-,-,-,-)";

TEST_F(wcdma_decoder, every_column_reaches_its_keys_but_the_rscp) {
    parse_wcdma(LINE);
    EXPECT_THAT(published(),
                ElementsAre("CELL_CHANNEL int 4385", "CELL_CID int 27440068", "CELL_ECIO int -7", "CELL_LAC int 11101",
                            "CELL_MCC string 310", "CELL_MNC string 410", "CELL_NET_TYPE string WCDMA",
                            "CELL_NET_TYPE_INT int 15", "CELL_RAC int 254", "CELL_SQI int 50", "CELL_UARFCN int 4385"));
    EXPECT_EQ(fake::cell("CELL_RSCP"), "");
    EXPECT_EQ(fake::cell("CELL_BAND"), "") << "it comes from a query of its own";
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing WCDMA:") + LINE));
}

TEST_F(wcdma_decoder, updates_come_in_the_order_of_the_columns) {
    taken_updates();
    parse_wcdma(LINE);
    EXPECT_THAT(taken_updates(), ElementsAre("CELL_MCC 310", "CELL_MNC 410", "CELL_LAC 11101", "CELL_CID 27440068",
                                             "CELL_UARFCN 4385", "CELL_CHANNEL 4385", "CELL_RAC 254", "CELL_SQI 50",
                                             "CELL_ECIO -7", "CELL_NET_TYPE WCDMA", "CELL_NET_TYPE_INT 15"));
}

TEST_F(wcdma_decoder, a_cell_without_measurements_has_dashes) {
    parse_wcdma(R"("WCDMA",440,20,0,ABCDEFF,0,-,-,-,-,-,-,-,-,-)");
    EXPECT_THAT(published(),
                ElementsAre("CELL_CHANNEL int 0", "CELL_CID int 180150015", "CELL_ECIO int 0", "CELL_LAC int 0",
                            "CELL_MCC string 440", "CELL_MNC string 20", "CELL_NET_TYPE string WCDMA",
                            "CELL_NET_TYPE_INT int 15", "CELL_RAC int 0", "CELL_SQI int 100", "CELL_UARFCN int 0"));
}

TEST_F(wcdma_decoder, quality_comes_from_the_rscp) {
    struct row {
        const char *why;
        const char *rscp;
        const char *sqi;
    };
    static constexpr row ROWS[] = {
        {"below the range", "-121", "int 0"},
        {"lower limit", "-120", "int 0"},
        {"in the middle", "-95", "int 50"},
        {"below the upper limit", "-71", "int 98"},
        {"upper limit", "-70", "int 100"},
        {"above the range", "-60", "int 100"},
        {"no number counts as 0", "-", "int 100"},
        {"empty counts as 0", "", "int 100"},
        {"30 digits", "999999999999999999999999999999", "int 100"},
        {"30 digits, negative", "-999999999999999999999999999999", "int 0"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        parse_wcdma((std::string(R"("WCDMA",310,410,1,1,1,1,1,)") + each.rscp + ",-7").c_str());
        published();
        EXPECT_EQ(fake::cell("CELL_SQI"), each.sqi);
    }
}

TEST_F(wcdma_decoder, a_column_that_is_not_hexadecimal_stops_the_line_there) {
    const std::vector<broken_line> rows{
        {"area code is a dash", "-,1A2B3C4", "stoi", {"CELL_MCC string 310", "CELL_MNC string 410"}},
        {"area code is empty", ",1A2B3C4", "stoi", {"CELL_MCC string 310", "CELL_MNC string 410"}},
        {"area code is one past 32 bits", "80000000,1", "stoi", {"CELL_MCC string 310", "CELL_MNC string 410"}},
        {"identity is a dash", "2B5D,-", "stol", {"CELL_LAC int 11101", "CELL_MCC string 310", "CELL_MNC string 410"}},
        {"identity is empty", "2B5D,", "stol", {"CELL_LAC int 11101", "CELL_MCC string 310", "CELL_MNC string 410"}},
        {"identity has 9 digits",
         "7FFFFFFF,105FB012D",
         "stol",
         {"CELL_LAC int 2147483647", "CELL_MCC string 310", "CELL_MNC string 410"}},
        {"identity is one past 32 bits",
         "2B5D,80000000",
         "stol",
         {"CELL_LAC int 11101", "CELL_MCC string 310", "CELL_MNC string 410"}},
    };
    expect_stops_there(rows, R"("WCDMA",310,410,)", ",4385,84,254,-95,-7", parse_wcdma, "parse_wcdma");
}

TEST_F(wcdma_decoder, identities_reach_up_to_32_bits_signed) {
    parse_wcdma(R"("WCDMA",310,410,7FFFFFFF,7FFFFFFF)");
    published();
    EXPECT_EQ(fake::cell("CELL_LAC"), "int 2147483647");
    EXPECT_EQ(fake::cell("CELL_CID"), "int 2147483647");
}

TEST_F(wcdma_decoder, a_short_line_writes_what_it_has_and_the_network_type) {
    parse_wcdma(R"("WCDMA",310,410,2B5D)");
    EXPECT_THAT(published(), ElementsAre("CELL_LAC int 11101", "CELL_MCC string 310", "CELL_MNC string 410",
                                         "CELL_NET_TYPE string WCDMA", "CELL_NET_TYPE_INT int 15"));
}

TEST_F(wcdma_decoder, an_exception_is_logged_under_its_name_and_the_network_type_stays) {
    throw_at_log_line(1);
    parse_wcdma(LINE);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_wcdma");
    EXPECT_THAT(published(), IsEmpty());
}

}  // namespace
