#include "view/technology.h"

#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "decode/network_type.h"
#include "stats/cell_catalogue.h"
#include "view/keys.h"
#include "view/lookup.h"

namespace {

using view::kind;

TEST(technology, every_one_of_the_daemon_has_a_row) {
    const network_type types[] = {NETWORK_GSM, NETWORK_CAT_M,  NETWORK_WCDMA,
                                  NETWORK_LTE, NETWORK_5G_NSA, NETWORK_5G_SA};
    EXPECT_EQ(view::technologies().size(), std::size(types));
    for (const network_type &type : types) {
        EXPECT_EQ(view::technology_of(type.name).number, type.number) << type.name;
    }
    EXPECT_EQ(view::technology_of("6G").name, "");
    EXPECT_EQ(view::technology_of("").name, "");
}

TEST(technology, every_key_of_the_catalogue_is_known_with_its_type) {
    for (const catalogue_row &key : CELL_CATALOGUE) {
        const kind expected = key.kind == VALUE_INTEGER ? kind::integer
                              : key.kind == VALUE_REAL  ? kind::real
                                                        : kind::text;
        EXPECT_EQ(view::kind_of(key.name), expected) << key.name;
    }
}

// Every key that a row names, with the row.
std::multiset<std::string> keys_of(const view::technology &radio) {
    std::multiset<std::string> keys;
    const auto add = [&keys](const auto &rows) {
        for (const auto &row : rows) {
            keys.insert(row.key);
        }
    };
    add(radio.cell);
    add(radio.radio);
    for (const view::leg_keys &leg : radio.legs) {
        add(leg.facts);
        add(leg.signals);
    }
    return keys;
}

TEST(technology, every_key_of_the_table_is_published) {
    for (const view::technology &radio : view::technologies()) {
        std::multiset<std::string> keys = keys_of(radio);
        for (const auto &row : radio.primary_carrier.facts) {
            keys.insert(row.key);
        }
        for (const auto &row : radio.primary_carrier.signals) {
            keys.insert(row.key);
        }
        keys.erase("CELL_RSCP");  // of other programs
        for (const std::string &key : keys) {
            EXPECT_LT(cell_catalogue_index(key), CELL_CATALOGUE.size()) << radio.name << ' ' << key;
        }
    }
}

TEST(technology, no_key_stands_in_two_places) {
    for (const view::technology &radio : view::technologies()) {
        const std::multiset<std::string> keys = keys_of(radio);
        for (const std::string &key : keys) {
            EXPECT_EQ(keys.count(key), 1U) << radio.name << ' ' << key;
        }
    }
}

TEST(technology, every_key_of_the_catalogue_is_shown_somewhere) {
    // The type itself, the network (of every technology alike), and the channel under its numbering's own name.
    std::set<std::string> shown{"CELL_NET_TYPE", "CELL_NET_TYPE_INT", "CELL_MCC",  "CELL_MNC",
                                "CELL_EARFCN",   "CELL_UARFCN",       "CELL_ARFCN"};
    for (const view::technology &radio : view::technologies()) {
        const std::multiset<std::string> keys = keys_of(radio);
        shown.insert(keys.begin(), keys.end());
    }
    for (const catalogue_row &key : CELL_CATALOGUE) {
        EXPECT_TRUE(shown.contains(key.name)) << key.name;
    }
}

TEST(technology, secondary_carriers_are_numbered_from_one_to_six) {
    EXPECT_EQ(view::kind_of("CELL_BAND_SCC_1"), kind::integer);
    EXPECT_EQ(view::kind_of("CELL_CHAN_BW_DL_SCC_6"), kind::text);
    for (const char *key : {"CELL_BAND_SCC_0", "CELL_BAND_SCC_7", "CELL_BAND_SCC_11", "CELL_BAND_SCC_", "", "1"}) {
        EXPECT_EQ(view::kind_of(key), std::nullopt) << key;
    }
}

TEST(technology, mark_of_a_missing_value_is_the_daemons) {
    EXPECT_EQ(view::NOT_REPORTED, NOT_REPORTED);
    EXPECT_EQ(view::NOT_REPORTED_TEXT, std::to_string(view::NOT_REPORTED));
}

}  // namespace
