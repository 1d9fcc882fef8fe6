// What all decoders share: the walk over the columns of a line, and that no input, however bad, gets past it.
#include "decode/wire_columns.h"

#include <algorithm>
#include <array>
#include <set>

#include "decode/carrier_aggregation.h"
#include "decode/follow_up_queries.h"
#include "decode/gsm.h"
#include "decode/lte.h"
#include "decode/nr.h"
#include "decode/serving_cell.h"
#include "decode/wcdma.h"
#include "stats/carriers.h"
#include "tests/decode/decoding_test.h"

namespace {

using wire_columns = decoding_test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wire_column SAMPLE_COLUMNS[] = {
    {0, as_it_stands, {"CELL_NET_TYPE"}},
    {2, as_it_stands, {"CELL_MCC"}},
    {3, as_it_stands, {"CELL_RSRP", "CELL_LTE_RSRP"}},
    {3, as_it_stands, {"CELL_MNC"}},
    {5, stoi_hex_to_decimal, {"CELL_TAC"}},
    {6, as_it_stands, {"CELL_RSRQ"}},
};
static_assert(columns_ascend(SAMPLE_COLUMNS));

constexpr wire_column DESCENDING[] = {{2, as_it_stands, {"CELL_MCC"}}, {1, as_it_stands, {"CELL_MNC"}}};
static_assert(!columns_ascend(DESCENDING));

constexpr wire_column DESCENDING_AT_THE_END[] = {
    {1, as_it_stands, {"CELL_MCC"}}, {3, as_it_stands, {"CELL_MNC"}}, {2, as_it_stands, {"CELL_TAC"}}};
static_assert(!columns_ascend(DESCENDING_AT_THE_END));

TEST_F(wire_columns, reach_their_keys_and_the_others_are_skipped) {
    decode_columns(SAMPLE_COLUMNS, "tag,1,2,3,4,5,6,7,8");
    EXPECT_THAT(published(),
                ElementsAre("CELL_LTE_RSRP int 3", "CELL_MCC string 2", "CELL_MNC string 3", "CELL_NET_TYPE string tag",
                            "CELL_RSRP int 3", "CELL_RSRQ int 6", "CELL_TAC int 5"));
}

TEST_F(wire_columns, empty_ones_keep_their_place_and_are_written_empty) {
    decode_columns(SAMPLE_COLUMNS, ",,,,,f,6");
    EXPECT_THAT(published(),
                ElementsAre("CELL_LTE_RSRP int -999", "CELL_MCC string ", "CELL_MNC string ", "CELL_NET_TYPE string ",
                            "CELL_RSRP int -999", "CELL_RSRQ int 6", "CELL_TAC int 15"));
}

TEST_F(wire_columns, a_comma_at_the_end_opens_none) {
    decode_columns(SAMPLE_COLUMNS, "tag,1,");
    EXPECT_THAT(published(), ElementsAre("CELL_NET_TYPE string tag"));
    decode_columns(SAMPLE_COLUMNS, "tag,1,,");
    EXPECT_THAT(published(), ElementsAre("CELL_MCC string ", "CELL_NET_TYPE string tag"));
}

TEST_F(wire_columns, an_empty_line_has_none) {
    int column = 0;
    decode_columns(SAMPLE_COLUMNS, "", &column);
    EXPECT_THAT(published(), IsEmpty());
    EXPECT_EQ(column, 0);
}

TEST_F(wire_columns, without_a_comma_the_line_is_column_0) {
    decode_columns(SAMPLE_COLUMNS, "a;b c");
    EXPECT_THAT(published(), ElementsAre("CELL_NET_TYPE string a;b c"));
}

TEST_F(wire_columns, the_caller_learns_which_one_was_at_work) {
    int column = 0;
    decode_columns(SAMPLE_COLUMNS, "0,1,2,3,4,5,6,7,8", &column);
    EXPECT_EQ(column, 8) << "the last column, although the table ends before it";
    EXPECT_THROW(decode_columns(SAMPLE_COLUMNS, "0,1,2,3,4,x,6", &column), std::invalid_argument);
    EXPECT_EQ(column, 5);
    EXPECT_THROW(decode_columns(SAMPLE_COLUMNS, "0,1,2,3,4,80000000", &column), std::out_of_range);
    EXPECT_EQ(column, 5);
}

TEST_F(wire_columns, one_in_error_stops_the_walk_behind_what_was_written) {
    EXPECT_THROW(decode_columns(SAMPLE_COLUMNS, "0,1,2,3,4,-,6"), std::invalid_argument);
    EXPECT_THAT(keys_of(published()),
                ElementsAre("CELL_LTE_RSRP", "CELL_MCC", "CELL_MNC", "CELL_NET_TYPE", "CELL_RSRP"));
}

TEST_F(wire_columns, a_line_is_cut_to_127_characters) {
    for (const std::size_t length : {126U, 127U, 128U, 511U}) {
        SCOPED_TRACE(length);
        decode_columns(SAMPLE_COLUMNS, std::string(length, 'x').c_str());
        EXPECT_THAT(published(),
                    ElementsAre("CELL_NET_TYPE string " + std::string(std::min<std::size_t>(length, 127), 'x')));
    }
}

TEST_F(wire_columns, the_line_itself_is_not_changed) {
    std::array<char, 10> line{"tag,1,2,3"};
    decode_columns(SAMPLE_COLUMNS, line.data());
    EXPECT_STREQ(line.data(), "tag,1,2,3");
}

// --- Everything that takes a module's text ---

void decode_en_dc(const char *text) {
    std::string copy = text;
    parse_servingcell_en_dc_mode(copy.data());
}

void answer_and_run(const char *command, const char *text, void (*operation)()) {
    fake::platform().at_answers[command] = {{1, text}};
    operation();
}

struct entry {
    const char *name;
    void (*decode)(const char *text);
    const char *head;     // up to and with the tag or prefix
    const char *columns;  // the rest of a good text
};

constexpr const char *SERVING_CELL = "at+qeng=\"servingcell\"";

constexpr entry ENTRIES[] = {
    {"LTE", [](const char *text) { parse_lte_catm(text, true); }, R"("LTE")",
     ",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37"},
    {"CAT-M", [](const char *text) { parse_lte_catm(text, false); }, R"("CAT-M")",
     ",\"FDD\",262,03,2FAA03,187,6200,20,3,3,2AFB,-105,-11,-76,10,-"},
    {"5G NSA", parse_5g_nsa, R"("NR5G-NSA")", ",310,260,501,-95,20,-11,529950,77,12,1"},
    {"5G SA", parse_5g_sa, R"("NR5G-SA")", ",\"TDD\",310,260,105FB012D,153,A80000,501390,41,12,-76,-10,26,1,-"},
    {"WCDMA", parse_wcdma, R"("WCDMA")", ",310,410,2B5D,1A2B3C4,4385,84,254,-95,-7,-,-,-,-,-"},
    {"GSM", parse_gsm, R"("GSM")", ",250,99,DC51,B919,26,50,900,-73,255,255,0,38,38,1"},
    {"one line", parse_servingcell_none_5g_mode, R"(+QENG: "servingcell","NOCONN","LTE")",
     ",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37"},
    {"several lines", decode_en_dc, "+QENG: \"LTE\",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C\n+QENG: \"NR5G-NSA\"",
     ",310,260,501,-95,20,-11,529950,77,12,1"},
    {"4G query", [](const char *text) { answer_and_run(SERVING_CELL, text, parse_4g_module_stats); },
     R"(+QENG: "servingcell","NOCONN","LTE")", ",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37"},
    {"5G query", [](const char *text) { answer_and_run(SERVING_CELL, text, parse_rm5XX_stats); },
     "+QENG: \"LTE\",\"FDD\",310,260,1A2D001,123,5230,2,5,5,7B0C\n+QENG: \"NR5G-NSA\"",
     ",310,260,501,-95,20,-11,529950,77,12,1"},
    {"band query", [](const char *text) { answer_and_run("at+qnwinfo", text, get_band_for_wcdma); },
     R"(+QNWINFO: "HSPA+")", ",\"310410\",\"WCDMA 850\",4385"},
    {"strength query", [](const char *text) { answer_and_run("at+csq", text, get_rssi_for_gsm); }, "+CSQ: ", "18,99"},
    {"carriers", [](const char *text) { answer_and_run("at+qcainfo", text, save_carrier_aggregation_to_sysdb); },
     R"(+QCAINFO: "SCC")", ",1350,100,\"LTE BAND 3\",1,240,-95,-18,-68,-10,0,-,-"},
};

using all_decoders = decoding_test;

// What an entry published, those keys included that it writes or deletes itself.
strings left_behind(const entry &each, const std::string &text) {
    fake::platform().journal.clear();
    each.decode(text.c_str());
    strings left = published();
    const strings own = fake::journal_of({"sysdb_write_int", "sysdb_write_dbl", "sysdb_write_str"});
    for (const std::string &line : own) {
        left.push_back(line.substr(line.find(' ') + 1));
    }
    return left;
}

// Bad text writes no key that a good one would not; the next good text gives what it gives in a fresh process.
void expect_harmless(const entry &each, const std::string &bad_text) {
    init_ca_vector();
    const std::string good_text = std::string(each.head) + each.columns;
    const strings good = left_behind(each, good_text);
    ASSERT_FALSE(good.empty());
    const strings good_keys = keys_of(good);
    for (const std::string &key : keys_of(left_behind(each, bad_text))) {
        EXPECT_NE(std::find(good_keys.begin(), good_keys.end(), key), good_keys.end()) << key;
    }
    EXPECT_FALSE(fake::platform().files.contains("/tmp/zelt.cli"));
    EXPECT_EQ(left_behind(each, good_text), good);
}

TEST_F(all_decoders, take_hostile_text_and_the_next_answer_works) {
    std::string numbers;
    std::string negative_numbers;
    std::string identities;
    for (int i = 0; i < 16; ++i) {
        numbers += "," + std::string(30, '9');
        negative_numbers += ",-" + std::string(29, '9');
        identities += ",FFFFFFFFF";
    }
    struct row {
        const char *why;
        std::string text;
    };
    const row rows[] = {
        {"nothing", ""},
        {"no comma, 511 characters", std::string(511, 'x')},
        {"511 commas", std::string(511, ',')},
        {"far more than any buffer holds", std::string(100000, ',')},
        {"numbers of 30 digits", numbers},
        {"negative numbers of 30 digits", negative_numbers},
        {"identities of 36 bits", identities},
        {"every byte above ASCII",
         [] {
             std::string bytes;
             for (int byte = 0x80; byte <= 0xFF; ++byte) {
                 bytes += static_cast<char>(byte);
                 bytes += byte % 4 == 0 ? "," : "";
             }
             return bytes;
         }()},
        {"control characters", "\x01,\x02,\t,\x1b,\x7f,\b,\v,\f,\x1f,\x01,\x02,\x03,\x04,\x05"},
        {"printf directives", "%s%n,%s,%n,%d%d%d%d,%999999d,%s%s%s,%n,%n,%n,%n,%s,%s,%s"},
        {"carriage returns and quotes", "\r\",\"\r,\"\"\",\r\r,\",\",\"\r\",\"\""},
        {"line ends between the columns", "\r\n,\r\n,1\r\n,\n2,3\n"},
        {"dashes", ",-,-,-,-,-,-,-,-,-,-,-,-,-,-,-,-"},
        {"blanks", "  ,  ,  ,  ,  ,  ,  ,  ,  ,  ,  ,  ,  ,  ,  "},
    };
    for (const entry &each : ENTRIES) {
        for (const row &bad : rows) {
            SCOPED_TRACE(std::string(each.name) + ": " + bad.why);
            expect_harmless(each, bad.text);
            expect_harmless(each, each.head + bad.text);
        }
    }
}

TEST_F(all_decoders, take_a_good_answer_cut_at_each_character) {
    for (const entry &each : ENTRIES) {
        const std::string good = std::string(each.head) + each.columns;
        for (std::size_t length = 0; length < good.size(); ++length) {
            SCOPED_TRACE(std::string(each.name) + ": " + good.substr(0, length));
            expect_harmless(each, good.substr(0, length));
        }
    }
}

// Each of the line decoders on its own: a line cut at each character writes exactly the columns that it still begins,
// and always its network type.
TEST_F(all_decoders, write_exactly_the_columns_that_a_cut_line_still_begins) {
    using columns = std::vector<std::pair<int, strings>>;
    const columns lte{{2, {"CELL_MCC"}},
                      {3, {"CELL_MNC"}},
                      {4, {"CELL_CID"}},
                      {5, {"CELL_PCID"}},
                      {6, {"CELL_EARFCN", "CELL_CHANNEL"}},
                      {7, {"CELL_BAND", "CELL_LTE_BAND"}},
                      {8, {"CELL_CHAN_BW_UL"}},
                      {9, {"CELL_CHAN_BW_DL"}},
                      {10, {"CELL_TAC"}},
                      {11, {"CELL_RSRP", "CELL_LTE_RSRP", "CELL_SQI", "CELL_LTE_SQI"}},
                      {12, {"CELL_RSRQ", "CELL_LTE_RSRQ"}},
                      {13, {"CELL_RSSI", "CELL_LTE_RSSI"}},
                      {14, {"CELL_SINR", "CELL_LTE_SINR"}}};
    const columns nsa{{1, {"CELL_MCC"}},
                      {2, {"CELL_MNC"}},
                      {3, {"CELL_PCID"}},
                      {4, {"CELL_RSRP", "CELL_NR5G_RSRP", "CELL_SQI", "CELL_NR5G_SQI"}},
                      {5, {"CELL_SINR", "CELL_NR5G_SINR"}},
                      {6, {"CELL_RSRQ", "CELL_NR5G_RSRQ"}},
                      {8, {"CELL_BAND", "CELL_NR5G_BAND"}}};
    const columns sa{{2, {"CELL_MCC"}},
                     {3, {"CELL_MNC"}},
                     {5, {"CELL_PCID"}},
                     {8, {"CELL_BAND", "CELL_NR5G_BAND"}},
                     {10, {"CELL_RSRP", "CELL_NR5G_RSRP", "CELL_SQI", "CELL_NR5G_SQI"}},
                     {11, {"CELL_RSRQ", "CELL_NR5G_RSRQ"}},
                     {12, {"CELL_SINR", "CELL_NR5G_SINR"}}};
    const columns wcdma{{1, {"CELL_MCC"}},
                        {2, {"CELL_MNC"}},
                        {3, {"CELL_LAC"}},
                        {4, {"CELL_CID"}},
                        {5, {"CELL_UARFCN", "CELL_CHANNEL"}},
                        {7, {"CELL_RAC"}},
                        {8, {"CELL_SQI"}},
                        {9, {"CELL_ECIO"}}};
    const columns gsm{{1, {"CELL_MCC"}},  {2, {"CELL_MNC"}},   {3, {"CELL_LAC"}},
                      {4, {"CELL_CID"}},  {5, {"CELL_BSIC"}},  {6, {"CELL_ARFCN", "CELL_CHANNEL"}},
                      {7, {"CELL_BAND"}}, {8, {"CELL_RXLEV"}}, {9, {"CELL_TXP"}}};
    const columns *const keys_by_column[] = {&lte, &lte, &nsa, &sa, &wcdma, &gsm};

    for (std::size_t decoder = 0; decoder < std::size(keys_by_column); ++decoder) {
        const entry &each = ENTRIES[decoder];
        const std::string line = std::string(each.head) + each.columns;
        for (std::size_t length = 0; length <= line.size(); ++length) {
            const std::string cut = line.substr(0, length);
            SCOPED_TRACE(cut);
            const auto commas = std::count(cut.begin(), cut.end(), ',');
            const auto last_column = commas - (cut.ends_with(',') ? 1 : 0);
            std::set<std::string> expected{"CELL_NET_TYPE", "CELL_NET_TYPE_INT"};
            for (const auto &[column, keys] : *keys_by_column[decoder]) {
                if (column <= last_column) {
                    expected.insert(keys.begin(), keys.end());
                }
            }
            each.decode(cut.c_str());
            EXPECT_EQ(keys_of(published()), strings(expected.begin(), expected.end()));
        }
    }
}

// The 127 characters count from the tag's opening quote.
TEST_F(all_decoders, cut_a_line_at_127_characters) {
    static constexpr std::pair<int, std::string_view> BEFORE_THE_COUNTRY[] = {
        {0, R"("LTE","FDD",)"},     {1, R"("CAT-M","FDD",)"}, {2, R"("NR5G-NSA",)"},
        {3, R"("NR5G-SA","TDD",)"}, {4, R"("WCDMA",)"},       {5, R"("GSM",)"},
    };
    for (const auto &[decoder, before] : BEFORE_THE_COUNTRY) {
        SCOPED_TRACE(ENTRIES[decoder].name);
        ENTRIES[decoder].decode((std::string(before) + std::string(200, '1')).c_str());
        published();
        EXPECT_EQ(fake::cell("CELL_MCC"), "string " + std::string(127 - before.size(), '1'));
    }
}

}  // namespace
