// The 5G decoders: their two orders of columns, and the NR leg that is listed but not attached.
#include "decode/nr.h"
#include "tests/decode/decoding_test.h"
#include "tests/decode/update_record.h"

namespace {

using nsa_decoder = decoding_test;
using sa_decoder = decoding_test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *NSA_LINE = R"("NR5G-NSA",310,260,501,-95,20,-11,529950,77,12,1)";
constexpr const char *SA_LINE = R"("NR5G-SA","TDD",310,260,105FB012D,153,A80000,501390,41,12,-76,-10,26,1,-)";

const strings NSA_VALUES{
    "CELL_BAND int 77",         "CELL_MCC string 310",   "CELL_MNC string 260",    "CELL_NET_TYPE string 5G NSA",
    "CELL_NET_TYPE_INT int 25", "CELL_NR5G_BAND int 77", "CELL_NR5G_RSRP int -95", "CELL_NR5G_RSRQ int -11",
    "CELL_NR5G_SINR real 20.0", "CELL_NR5G_SQI int 60",  "CELL_PCID int 501",      "CELL_RSRP int -95",
    "CELL_RSRQ int -11",        "CELL_SINR real 20.0",   "CELL_SQI int 60",
};

// RSRP -76 is 57 dB above -133: 57 * 1.587 = 90.459.
const strings SA_VALUES{
    "CELL_BAND int 41",         "CELL_MCC string 310",   "CELL_MNC string 260",    "CELL_NET_TYPE string 5G SA",
    "CELL_NET_TYPE_INT int 30", "CELL_NR5G_BAND int 41", "CELL_NR5G_RSRP int -76", "CELL_NR5G_RSRQ int -10",
    "CELL_NR5G_SINR real 26.0", "CELL_NR5G_SQI int 90",  "CELL_PCID int 153",      "CELL_RSRP int -76",
    "CELL_RSRQ int -10",        "CELL_SINR real 26.0",   "CELL_SQI int 90",
};

TEST_F(nsa_decoder, every_column_reaches_its_keys_and_no_other_key_is_written) {
    parse_5g_nsa(NSA_LINE);
    EXPECT_EQ(published(), NSA_VALUES);
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing 5G-NSA:") + NSA_LINE));
}

TEST_F(nsa_decoder, updates_come_in_the_order_of_the_columns) {
    taken_updates();
    parse_5g_nsa(NSA_LINE);
    EXPECT_THAT(taken_updates(), ElementsAre("CELL_MCC 310", "CELL_MNC 260", "CELL_PCID 501", "CELL_RSRP -95",
                                             "CELL_NR5G_RSRP -95", "CELL_SQI 60", "CELL_NR5G_SQI 60", "CELL_SINR 20",
                                             "CELL_NR5G_SINR 20", "CELL_RSRQ -11", "CELL_NR5G_RSRQ -11", "CELL_BAND 77",
                                             "CELL_NR5G_BAND 77", "CELL_NET_TYPE 5G NSA", "CELL_NET_TYPE_INT 25"));
}

TEST_F(nsa_decoder, old_firmware_ends_behind_rsrq) {
    parse_5g_nsa("\"NR5G-NSA\", 460, 00,570,-90,64,-11 ");
    EXPECT_THAT(published(), ElementsAre("CELL_MCC string  460", "CELL_MNC string  00", "CELL_NET_TYPE string 5G NSA",
                                         "CELL_NET_TYPE_INT int 25", "CELL_NR5G_RSRP int -90", "CELL_NR5G_RSRQ int -11",
                                         "CELL_NR5G_SINR real 64.0", "CELL_NR5G_SQI int 68", "CELL_PCID int 570",
                                         "CELL_RSRP int -90", "CELL_RSRQ int -11", "CELL_SINR real 64.0",
                                         "CELL_SQI int 68"));  // 43 * 1.587 = 68.241
}

TEST_F(nsa_decoder, column_65535_followed_by_a_comma_means_that_nr_is_not_attached) {
    struct row {
        const char *why;
        std::string line;
        bool attached;
    };
    const std::string beyond_the_cut = R"("NR5G-NSA",310,260,501,-95,20,-11,529950,77,)" + std::string(100, '1');
    const row rows[] = {
        {"cell id, as modules say it", R"("NR5G-NSA",460,00,65535,-32768,-32768,-32768)", false},
        {"cell id with further columns", R"("NR5G-NSA",310,260,65535,-95,20,-11,529950,77,12,1)", false},
        {"country", R"("NR5G-NSA",65535,260,501,-95)", false},
        {"ARFCN", R"("NR5G-NSA",310,260,501,-95,20,-11,65535,77)", false},
        {"behind the part that is decoded", beyond_the_cut + ",65535,1", false},
        {"last column", R"("NR5G-NSA",310,260,65535)", true},
        {"last column, with a carriage return", "\"NR5G-NSA\",310,260,65535\r", true},
        {"end of a longer number", R"("NR5G-NSA",310,260,165535,-95)", true},
        {"begin of a longer number", R"("NR5G-NSA",310,260,655350,-95)", true},
        {"negative", R"("NR5G-NSA",310,260,-65535,-95)", true},
        {"blank before it", R"("NR5G-NSA",310,260, 65535,-95)", true},
        {"one less", R"("NR5G-NSA",310,260,65534,-95)", true},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        fake::reset();
        parse_5g_nsa(each.line.c_str());
        strings expected{"debug: Parsing 5G-NSA:" + each.line};
        if (!each.attached) {
            expected.emplace_back("debug: PCID is 65535, not actually on 5G-NSA");
        }
        EXPECT_EQ(fake::log_lines(), expected);
        EXPECT_EQ(!published().empty(), each.attached);
    }
}

TEST_F(nsa_decoder, a_line_cut_behind_the_cell_id_still_sets_the_network_type) {
    parse_5g_nsa(R"("NR5G-NSA",310,260,501)");
    EXPECT_THAT(published(), ElementsAre("CELL_MCC string 310", "CELL_MNC string 260", "CELL_NET_TYPE string 5G NSA",
                                         "CELL_NET_TYPE_INT int 25", "CELL_PCID int 501"));
}

TEST_F(nsa_decoder, no_number_gives_0_and_quality_100) {
    parse_5g_nsa(R"("NR5G-NSA",-,-,-,-,-,-,-,-)");
    EXPECT_THAT(published(),
                ElementsAre("CELL_BAND int 0", "CELL_MCC string -", "CELL_MNC string -", "CELL_NET_TYPE string 5G NSA",
                            "CELL_NET_TYPE_INT int 25", "CELL_NR5G_BAND int 0", "CELL_NR5G_RSRP int 0",
                            "CELL_NR5G_RSRQ int 0", "CELL_NR5G_SINR real 0.0", "CELL_NR5G_SQI int 100",
                            "CELL_PCID int 0", "CELL_RSRP int 0", "CELL_RSRQ int 0", "CELL_SINR real 0.0",
                            "CELL_SQI int 100"));
}

TEST_F(nsa_decoder, rsrp_at_both_ends_of_32_bits) {
    parse_5g_nsa(R"("NR5G-NSA",310,260,501,-2147483648)");
    published();
    EXPECT_EQ(fake::cell("CELL_NR5G_RSRP"), "int -2147483648");
    EXPECT_EQ(fake::cell("CELL_NR5G_SQI"), "int 0");
    parse_5g_nsa(R"("NR5G-NSA",310,260,501,2147483648)");
    published();
    EXPECT_EQ(fake::cell("CELL_NR5G_RSRP"), "int 2147483647");
    EXPECT_EQ(fake::cell("CELL_NR5G_SQI"), "int 100");
}

TEST_F(nsa_decoder, an_exception_is_logged_under_its_name_and_the_network_type_stays) {
    throw_at_log_line(1);
    parse_5g_nsa(NSA_LINE);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_5g_nsa");
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(sa_decoder, every_column_reaches_its_keys_and_no_other_key_is_written) {
    parse_5g_sa(SA_LINE);
    EXPECT_EQ(published(), SA_VALUES);
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("debug: Parsing 5G-SA:") + SA_LINE));
}

TEST_F(sa_decoder, updates_come_in_the_order_of_the_columns) {
    taken_updates();
    parse_5g_sa(SA_LINE);
    EXPECT_THAT(taken_updates(), ElementsAre("CELL_MCC 310", "CELL_MNC 260", "CELL_PCID 153", "CELL_BAND 41",
                                             "CELL_NR5G_BAND 41", "CELL_RSRP -76", "CELL_NR5G_RSRP -76", "CELL_SQI 90",
                                             "CELL_NR5G_SQI 90", "CELL_RSRQ -10", "CELL_NR5G_RSRQ -10", "CELL_SINR 26",
                                             "CELL_NR5G_SINR 26", "CELL_NET_TYPE 5G SA", "CELL_NET_TYPE_INT 30"));
}

TEST_F(sa_decoder, has_no_65535_test) {
    parse_5g_sa(R"("NR5G-SA","TDD",310,260,1,65535,1,65535,41,12,-76,-10,26,1)");
    EXPECT_EQ(fake::log_lines().size(), 1U);
    published();
    EXPECT_EQ(fake::cell("CELL_PCID"), "int 65535");
    EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string 5G SA");
}

TEST_F(sa_decoder, a_line_of_fewer_columns_writes_what_it_has_and_the_network_type) {
    struct row {
        const char *why;
        const char *line;
        strings keys_before_the_type;
        strings keys_behind_it;
    };
    const row rows[] = {
        {"tag alone", R"("NR5G-SA")", {}, {}},
        {"cell identity", R"("NR5G-SA","TDD",310,260,105FB012D)", {"CELL_MCC", "CELL_MNC"}, {}},
        {"band",
         R"("NR5G-SA","TDD",310,260,105FB012D,153,A80000,501390,41)",
         {"CELL_BAND", "CELL_MCC", "CELL_MNC"},
         {"CELL_NR5G_BAND", "CELL_PCID"}},
        {"12 columns: RSRQ is there, SINR is not",
         R"("NR5G-SA","TDD",310,260,105FB012D,153,A80000,501390,41,12,-76,-10)",
         {"CELL_BAND", "CELL_MCC", "CELL_MNC"},
         {"CELL_NR5G_BAND", "CELL_NR5G_RSRP", "CELL_NR5G_RSRQ", "CELL_NR5G_SQI", "CELL_PCID", "CELL_RSRP", "CELL_RSRQ",
          "CELL_SQI"}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        strings expected = each.keys_before_the_type;
        expected.insert(expected.end(), {"CELL_NET_TYPE", "CELL_NET_TYPE_INT"});
        expected.insert(expected.end(), each.keys_behind_it.begin(), each.keys_behind_it.end());
        parse_5g_sa(each.line);
        EXPECT_EQ(keys_of(published()), expected);
        EXPECT_EQ(fake::cell("CELL_NET_TYPE"), "string 5G SA");
        EXPECT_EQ(fake::cell("CELL_NET_TYPE_INT"), "int 30");
    }
}

TEST_F(sa_decoder, an_exception_is_logged_under_its_name_and_the_network_type_stays) {
    throw_at_log_line(1);
    parse_5g_sa(SA_LINE);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in parse_5g_sa");
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(sa_decoder, an_exception_of_another_type_passes_through) {
    fake::before("syslog", 1, [] { throw 42; });
    EXPECT_THROW(parse_5g_sa(SA_LINE), int);
}

}  // namespace
