#include "tools/zelt_top/layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/zelt_top/page_text.h"
#include "tests/view/samples.h"
#include "tools/zelt_top/columns.h"

namespace {

using namespace view;
using namespace zelt_top;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using samples::page_of;
using samples::picture_of;
using samples::text_of;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// The bar of a value: its share of the scale, rounded to whole cells.
std::string bar(std::size_t filled, std::size_t cells) {
    return std::string(filled, '#') + std::string(cells - filled, '.');
}

const std::string STATE = " Registered at home. Updated 2 s ago.\n\n";
const std::string LINK = " Link    up   address 10.64.12.7   for 1 h 2 min\n";

TEST(layout, lte) {
    EXPECT_EQ(page_of(picture_of(samples::lte())),
              " LTE   Example Net\n" + STATE +
                  " Cell    network 262-01   id 27447296 = 0x1A2D000   PCI 123   TAC 12345\n"
                  "         eNodeB 107216/0\n"
                  " Radio   band 3 (1800 MHz, FDD)   channel 1300   down 20 MHz   up 10 MHz\n" +
                  LINK +
                  "\n"
                  " RSRP       -95 dBm   " +
                  bar(31, 52) +
                  " fair\n"
                  " RSRQ       -11 dB    " +
                  bar(31, 52) +
                  " fair\n"
                  " SINR      12.4 dB    " +
                  bar(29, 52) +
                  " fair\n"
                  " RSSI       -65 dBm   " +
                  bar(40, 52) +
                  " good\n"
                  " SQI         60 %     " +
                  bar(31, 52) + " fair\n");
}

TEST(layout, cat_m_differs_in_its_name_only) {
    std::string lte = page_of(picture_of(samples::lte()));
    EXPECT_EQ(page_of(picture_of(samples::cat_m())), lte.replace(1, 3, "CAT-M"));
}

TEST(layout, carriers_as_a_table) {
    const std::string page =
        page_of(picture_of(samples::lte() + samples::secondary(1, "20", 3050, 7, -101, -13, -70, 8) +
                           samples::secondary(2, "-999", 300, 1, -999, -999, -999, -999.0) +
                           snapshot{{"CELL_RSSIMON", std::string("EC25, SQI: 60%, , no roam")}}));
    EXPECT_THAT(page, EndsWith(" SQI         60 %     " + bar(31, 52) +
                               " fair\n"
                               "\n"
                               " Carrier  Band  Channel   MHz   RSRP   RSRQ   SINR   RSSI\n"
                               " primary     3     1300    20    -95    -11   12.4    -65  " +
                               bar(9, 15) +
                               " fair\n"
                               " SCC 1       7     3050    20   -101    -13      8    -70  " +
                               bar(8, 15) +  // 32 of 64 dB: 7.5 cells
                               " fair\n"
                               " SCC 2       1      300     -      -      -      -      -  not reported\n"
                               "\n"
                               " As published: EC25, SQI: 60%, no roam\n"));
}

TEST(layout, nsa_side_by_side) {
    EXPECT_EQ(page_of(picture_of(samples::nsa())),
              " 5G NSA   Example Net\n" + STATE +
                  " Cell    network 262-01   id 27447296 = 0x1A2D000   TAC 12345   eNodeB 107216/0\n"
                  " Radio   LTE channel 1300   down 20 MHz   up 10 MHz\n" +
                  LINK +
                  "\n"
                  "         LTE anchor  band 3 (1800 MHz)      NR leg  band n78 (3500 MHz)  PCI 501\n"
                  " RSRP       -95 dBm   " +
                  bar(10, 16) + " fair    -85 dBm   " + bar(12, 16) +
                  " good\n"
                  " RSRQ       -11 dB    " +
                  bar(10, 16) + " fair    -16 dB    " + bar(6, 16) +
                  " weak\n"
                  " SINR      12.4 dB    " +
                  bar(9, 16) + " fair     20 dB    " + bar(12, 16) +
                  " good\n"
                  " RSSI       -65 dBm   " +
                  bar(12, 16) +
                  " good\n"
                  " SQI         60 %     " +
                  bar(10, 16) + " fair     76 %     " + bar(12, 16) + " good\n");
}

TEST(layout, sa) {
    EXPECT_EQ(page_of(picture_of(samples::sa())), " 5G SA   Example Net\n" + STATE +
                                                      " Cell    network 262-01   PCI 501\n"
                                                      " Radio   band n78 (3500 MHz, TDD)\n" +
                                                      LINK +
                                                      "\n"
                                                      " RSRP       -85 dBm   " +
                                                      bar(39, 52) +
                                                      " good\n"
                                                      " RSRQ       -16 dB    " +
                                                      bar(18, 52) +
                                                      " weak\n"
                                                      " SINR        20 dB    " +
                                                      bar(39, 52) +
                                                      " good\n"
                                                      " SQI         76 %     " +
                                                      bar(40, 52) + " good\n");
}

TEST(layout, wcdma) {
    EXPECT_EQ(page_of(picture_of(samples::wcdma())),
              " WCDMA   Example Net\n" + STATE +
                  " Cell    network 262-01   id 27440068 = 0x1A2B3C4   LAC 11101   RAC 1\n"
                  " Radio   band 900   channel 3037   RSCP from SQI\n" +
                  LINK +
                  "\n"
                  " RSCP       -95 dBm   " +
                  bar(26, 52) +
                  " fair\n"
                  " Ec/Io      -15 dB    " +
                  bar(20, 52) +
                  " weak\n"
                  " SQI         50 %     " +
                  bar(26, 52) + " fair\n");
}

TEST(layout, gsm) {
    EXPECT_EQ(page_of(picture_of(samples::gsm())),
              " GSM   Example Net\n" + STATE +
                  " Cell    network 262-01   id 47385 = 0xB919   LAC 56401   BSIC 26\n"
                  " Radio   band 900   channel 50   TX level 5\n" +
                  LINK +
                  "\n"
                  " RSSI       -93 dBm   " +
                  bar(17, 52) +
                  " fair\n"
                  " RXLEV      -73 dBm   " +
                  bar(34, 52) +
                  " good\n"
                  " SQI         30 %     " +
                  bar(16, 52) + " weak\n");
}

TEST(layout, after_a_clear_nothing_is_a_number_that_was_none) {
    snapshot cleared = samples::lte();
    for (const char *key : {"CELL_RSRP", "CELL_RSRQ", "CELL_RSSI", "CELL_SQI", "CELL_BAND"}) {
        cleared[key] = -999;
    }
    cleared["CELL_SINR"] = -999.0;
    cleared["CELL_REGISTERED"] = 0;
    cleared["CELL_CONNECTED"] = 0;
    cleared["CELL_IPV4"] = std::string("0.0.0.0");
    EXPECT_EQ(page_of(picture_of(cleared)), " LTE   Example Net\n"
                                            " Not registered in a network. Last known values. Updated 2 s ago.\n"
                                            "\n"
                                            " Cell    network 262-01   id 27447296 = 0x1A2D000   PCI 123   TAC 12345\n"
                                            "         eNodeB 107216/0\n"
                                            " Radio   band not reported   channel 1300   down 20 MHz   up 10 MHz\n"
                                            " Link    down   for 1 h 2 min\n"
                                            "\n"
                                            " RSRP    not reported\n"
                                            " RSRQ    not reported\n"
                                            " SINR    not reported\n"
                                            " RSSI    not reported\n"
                                            " SQI     not reported\n");
}

TEST(layout, empty_database) {
    EXPECT_EQ(page_of(picture_of({})), " Technology unknown\n"
                                       " Registration not known yet. Updated 2 s ago.\n"
                                       "\n"
                                       " Cell    network unknown\n"
                                       " Link    unknown\n"
                                       "\n"
                                       " No signal values yet.\n");
}

TEST(layout, no_database_is_a_sentence_and_nothing_else) {
    reading nothing;
    nothing.problem = "Database not there yet: /run/sysdb. Start the daemon, or name its folder in SYSDB_DIR.";
    EXPECT_EQ(page_of(build_picture(nothing, {}, {5.0, {}, {}})),
              " zelt-top\n"
              " Database not there yet: /run/sysdb. Start the daemon, or name its folder in\n"
              " SYSDB_DIR.\n");
}

TEST(layout, value_outside_its_scale_has_no_bar) {
    EXPECT_THAT(page_of(picture_of(samples::lte() + snapshot{{"CELL_RSRP", 0}, {"CELL_SINR", 1e300}})),
                testing::AllOf(HasSubstr("\n RSRP    out of range\n"), HasSubstr("\n SINR    out of range\n")));
}

TEST(layout, fullest_database_fits_the_smallest_terminal_uncut) {
    page on;
    on.height = 24;
    on.keys = true;
    on.history = true;
    const picture known = picture_of(samples::crowded());
    const std::string page = page_of(known, on);
    EXPECT_EQ(std::ranges::count(page, '\n'), 24);
    for (const char *part : {"q quit", "Updated 2 s ago", "10.64.12.7", "LTE anchor", "PCI 501", "SQI  ", "SCC 6",
                             "RM520N-GL", "2nd BW: 20", "Temp: 41.500000"}) {
        EXPECT_THAT(page, HasSubstr(part));
    }
    EXPECT_THAT(page, Not(HasSubstr("...more")));
}

TEST(layout, more_room_means_wider_bars) {
    page on;
    on.width = 100;
    EXPECT_THAT(page_of(picture_of(samples::lte()), on), HasSubstr(" SQI         60 %     " + bar(36, 60) + " fair\n"));
}

TEST(layout, utf8_bars_have_eighths) {
    page on;
    on.utf8 = true;
    // SQI 50 of 52 cells: 26 whole ones. Ec/Io -15: 19.5 cells.
    const std::string page = page_of(picture_of(samples::wcdma()), on);
    EXPECT_THAT(page, HasSubstr("█▌·"));
    EXPECT_THAT(page, HasSubstr("█·"));
    EXPECT_THAT(page, Not(HasSubstr("#")));
}

// One value of RSRP every 5 s.
memory memory_of(const std::vector<int> &rsrps, const snapshot &cell = samples::lte()) {
    memory past;
    double now = 100;
    for (const int rsrp : rsrps) {
        reading database = samples::read_from(cell + snapshot{{"CELL_RSRP", rsrp}, {"CELL_NR5G_RSRP", rsrp}});
        database.commits = static_cast<std::size_t>(now);
        past.note_signals(build_picture(database, {}, {2.0, 2.0, {}}), database, now);
        now += 5;
    }
    return past;
}

TEST(layout, history_has_its_scale_where_there_is_room) {
    const memory past = memory_of({-103, -95, -91, -95});
    page on;
    on.history = true;
    const std::string scale = "         last 15 s: RSRP -103 to -91   RSRQ -11 to -11   SINR 12.4 to 12.4\n";
    EXPECT_THAT(text_of(lay_out(picture_of(samples::lte()), past, on)), EndsWith("\n" + scale));
    on.height = 14;  // title, state, four lines of facts, five values, two blanks, the scale
    EXPECT_THAT(text_of(lay_out(picture_of(samples::lte()), past, on)), HasSubstr(scale));
    on.height = 13;
    EXPECT_THAT(text_of(lay_out(picture_of(samples::lte()), past, on)), Not(HasSubstr("last ")));
}

TEST(layout, each_leg_has_a_scale_of_its_own) {
    const memory past = memory_of({-85, -80}, samples::nsa());
    page on;
    on.history = true;
    EXPECT_THAT(text_of(lay_out(picture_of(samples::nsa()), past, on)),
                EndsWith("\n         last 5 s: RSRP -95 to -95          last 5 s: RSRP -85 to -80\n"));
}

TEST(layout, history_is_drawn_low_to_high_with_gaps) {
    const memory past = memory_of({-133, -69, -999, -133});
    page on;
    on.history = true;
    EXPECT_THAT(text_of(lay_out(picture_of(samples::lte()), past, on)),
                HasSubstr(" fair                       _# _\n"));
}

TEST(layout, without_utf8_everything_is_ascii) {
    const std::string page = page_of(picture_of(
        samples::crowded() + snapshot{{"CELL_CARRIER", std::string("Türk 中国")}, {"CELL_MCC", std::string("é")}}));
    EXPECT_THAT(page, HasSubstr(" 5G NSA   T?rk ??\n"));
    EXPECT_THAT(std::vector<char>(page.begin(), page.end()), Each(testing::Gt('\0')));
}

TEST(layout, never_wider_or_higher_than_the_page) {
    std::vector<snapshot> cells{{},
                                samples::lte(),
                                samples::nsa(),
                                samples::wcdma(),
                                samples::crowded(),
                                samples::crowded() + snapshot{{"CELL_CARRIER", std::string(300, 'x')},
                                                              {"CELL_IPV4", std::string(300, 'y')},
                                                              {"CELL_RSSIMON", std::string(4000, 'z')},
                                                              {"CELL_CHAN_BW_DL_SCC_1", std::string(300, 'w')},
                                                              {"CELL_CHANNEL", 2147483647}}};
    for (const snapshot &cell : cells) {
        const picture known = picture_of(cell);
        for (const std::size_t width : {1U, 2U, 8U, 9U, 20U, 39U, 55U, 56U, 57U, 71U, 79U, 80U, 81U, 120U, 300U}) {
            for (const std::size_t height : {1U, 2U, 5U, 11U, 12U, 24U, 60U}) {
                for (const bool flag : {false, true}) {
                    page on{width, height, flag, flag, flag, false};
                    for (const std::vector<line> &lines : {lay_out(known, memory(), on), lay_out_help(on)}) {
                        ASSERT_LE(lines.size(), height);
                        for (const line &one : lines) {
                            ASSERT_LE(one.width(), width) << one.plain_text() << " on " << width << 'x' << height;
                        }
                    }
                }
            }
        }
    }
}

TEST(layout, window_of_twenty_by_five_shows_the_signal) {
    page on;
    on.width = 20;
    on.height = 5;
    EXPECT_EQ(page_of(picture_of(samples::lte()), on), "LTE   Example Net\n"
                                                       "Registered at home.\n"
                                                       "RSRP  -95 dBm fair\n"
                                                       "RSRQ  -11 dB fair\n"
                                                       "SINR  12.4 dB fair\n");
}

TEST(layout, window_of_forty_by_ten_keeps_all_of_the_state) {
    page on;
    on.width = 40;
    on.height = 10;
    EXPECT_EQ(page_of(picture_of(samples::lte() + snapshot{{"CELL_ROAMING", 1}}), on),
              "LTE   Example Net\n"
              "Registered, roaming. Updated 2 s ago.\n"
              "RSRP  -95 dBm fair\n"
              "RSRQ  -11 dB fair\n"
              "SINR  12.4 dB fair\n"
              "RSSI  -65 dBm good\n"
              "SQI   60 % fair\n");
}

TEST(layout, legs_of_a_small_window_are_told_apart) {
    page on;
    on.width = 40;
    on.height = 10;
    EXPECT_EQ(page_of(picture_of(samples::nsa()), on), "5G NSA   Example Net\n"
                                                       "Registered at home. Updated 2 s ago.\n"
                                                       "      LTE anchor      NR leg\n"
                                                       "RSRP  -95 dBm fair    -85 dBm good\n"
                                                       "RSRQ  -11 dB fair     -16 dB weak\n"
                                                       "SINR  12.4 dB fair    20 dB good\n"
                                                       "RSSI  -65 dBm good\n"
                                                       "SQI   60 % fair       76 % good\n");
    on.width = 20;
    on.height = 0;
    EXPECT_THAT(page_of(picture_of(samples::nsa()), on), EndsWith("\nLTE anchor\n"
                                                                  "RSRP  -95 dBm fair\n"
                                                                  "RSRQ  -11 dB fair\n"
                                                                  "SINR  12.4 dB fair\n"
                                                                  "RSSI  -65 dBm good\n"
                                                                  "SQI   60 % fair\n"
                                                                  "NR leg\n"
                                                                  "RSRP  -85 dBm good\n"
                                                                  "RSRQ  -16 dB weak\n"
                                                                  "SINR  20 dB good\n"
                                                                  "SQI   76 % good\n"));
}

TEST(layout, window_too_low_for_two_legs_joins_their_numbers) {
    page on;
    on.width = 20;
    on.height = 9;
    const snapshot weak = samples::nsa() + snapshot{{"CELL_LTE_RSRP", -104}, {"CELL_NR5G_RSRP", -105}};
    EXPECT_EQ(page_of(picture_of(weak + snapshot{{"CELL_NR5G_SINR", -999.0}}), on), "5G NSA   Example Net\n"
                                                                                    "Registered at home.\n"
                                                                                    "Updated 2 s ago.\n"
                                                                                    "LTE anchor + NR leg\n"
                                                                                    "RSRP -104 + -105 dBm\n"
                                                                                    "RSRQ -11 + -16 dB\n"
                                                                                    "SINR 12.4 + - dB\n"
                                                                                    "RSSI -65 + - dBm\n"
                                                                                    "SQI  60 + 76 %\n");
    on.height = 5;
    EXPECT_EQ(page_of(picture_of(samples::nsa()), on), "5G NSA   Example Net\n"
                                                       "Registered at home.\n"
                                                       "LTE anchor + NR leg\n"
                                                       "RSRP -95 + -85 dBm\n"
                                                       "RSRQ -11 + -16 dB\n");
}

TEST(layout, roaming_stands_out) {
    const auto looks_of_state = [](int roaming, std::size_t width) {
        page on;
        on.width = width;
        const picture known = picture_of(samples::lte() + snapshot{{"CELL_ROAMING", roaming}});
        return lay_out(known, memory(), on)[1].spans.back().look;
    };
    for (const std::size_t width : {20U, 80U}) {
        EXPECT_EQ(looks_of_state(0, width), style::plain) << width;
        EXPECT_EQ(looks_of_state(1, width), style::warning) << width;
    }
}

TEST(layout, long_name_is_cut_before_the_keys) {
    const picture known = picture_of(samples::lte() + snapshot{{"CELL_CARRIER", std::string(80, 'x')}});
    page on;
    on.keys = true;
    // 80 columns: a blank, "LTE", three blanks, 33 letters and the dots, two blanks, 35 for the keys.
    EXPECT_THAT(page_of(known, on),
                testing::StartsWith(" LTE   " + std::string(33, 'x') + "...  a antenna  h help  p pause  q quit\n"));
    on.width = 56;
    EXPECT_THAT(page_of(known, on), HasSubstr("xx...  h help  q quit\n"));
    on.width = 20;
    EXPECT_THAT(page_of(known, on), testing::StartsWith("LTE   xxxxxxxxxxx...\n"));
}

TEST(layout, help_says_that_it_is_cut) {
    const auto help = [](std::size_t width, std::size_t height) {
        page on;
        on.width = width;
        on.height = height;
        return text_of(lay_out_help(on));
    };
    EXPECT_THAT(help(80, 24), Not(HasSubstr("more in a larger window")));
    EXPECT_THAT(help(80, 12), EndsWith("\n ... more in a larger window\n"));
    EXPECT_THAT(help(40, 10), EndsWith("\n ... more in a larger window\n"));
    EXPECT_THAT(help(40, 60), EndsWith("\n ... more in a larger window\n"));
    EXPECT_EQ(help(20, 5), " zelt-top: help\n"
                           " q quit\n"
                           " p or space: hold\n"
                           " the picture\n"
                           " ... more\n");
}

TEST(layout, help_breaks_its_keys_between_two_of_them) {
    page on;
    on.width = 40;
    EXPECT_THAT(text_of(lay_out_help(on)), testing::StartsWith(" zelt-top: help\n"
                                                               " q quit   p or space: hold the picture\n"
                                                               " a: antenna, and back\n"
                                                               " h or ?: this page, and back\n"
                                                               "\n"));
}

TEST(layout, window_of_twenty_by_five_says_what_is_wrong) {
    page on;
    on.width = 20;
    on.height = 5;
    const runtime_state paused{runtime_state::process::running, true, true, {}};
    EXPECT_EQ(page_of(picture_of(samples::lte(), paused), on), "LTE   Example Net\n"
                                                               "paused\n"
                                                               "RSRP  -95 dBm fair\n"
                                                               "RSRQ  -11 dB fair\n"
                                                               "SINR  12.4 dB fair\n");
}

TEST(layout, too_low_a_window_says_that_there_is_more) {
    page on;
    on.height = 13;
    EXPECT_THAT(page_of(picture_of(samples::crowded()), on), EndsWith("\n ... more in a taller window\n"));
}

TEST(layout, old_values_carry_no_colour) {
    const auto colours = [](const picture &known) {
        int found = 0;
        for (const line &one : lay_out(known, memory(), {})) {
            for (const span &part : one.spans) {
                found += part.look == style::good || part.look == style::fair ? 1 : 0;
            }
        }
        return found;
    };
    const runtime_state gone{runtime_state::process::gone, false, true, {}};
    // Bars and words of five signals, and the link's "up".
    EXPECT_EQ(colours(picture_of(samples::lte())), 11);
    EXPECT_EQ(colours(picture_of(samples::lte(), gone)), 0);
}

TEST(layout, help_explains_every_value_on_a_page_of_80x24) {
    page on;
    on.height = 24;
    const std::string help = text_of(lay_out_help(on));
    for (const char *part : {"q quit", "RSRP", "RSRQ", "SINR", "RSSI", "RXLEV", "RSCP", "Ec/Io", "SQI", "not reported",
                             "the view says why"}) {
        EXPECT_THAT(help, HasSubstr(part));
    }
    for (int what = 0; what <= static_cast<int>(quantity::sqi); ++what) {
        EXPECT_THAT(help, HasSubstr(scale_of(static_cast<quantity>(what)).meaning));
    }
}

}  // namespace
