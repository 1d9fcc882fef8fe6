// The 36 keys of the cell statistics, with the kind of each value. Knows no value and no database.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "base/not_reported.h"

enum value_kind : int {
    VALUE_INTEGER = 2,
    VALUE_REAL = 3,
    VALUE_STRING = 4,
};

struct catalogue_row {
    const char *name;
    value_kind kind;
    double default_number;  // what an empty update puts in place of a number; for a string that is the empty text
};

// In the bytewise order of the keys, which is the order of publication.
inline constexpr std::array<catalogue_row, 36> CELL_CATALOGUE{{
    {"CELL_ARFCN", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_BAND", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_BSIC", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_CHANNEL", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_CHAN_BW_DL", VALUE_STRING, 0},  // MHz as text, as the next: "1.4" must stay "1.4"
    {"CELL_CHAN_BW_UL", VALUE_STRING, 0},
    {"CELL_CID", VALUE_INTEGER, 0},
    {"CELL_EARFCN", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_ECIO", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_LAC", VALUE_INTEGER, 0},
    {"CELL_LTE_BAND", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_LTE_RSRP", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_LTE_RSRQ", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_LTE_RSSI", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_LTE_SINR", VALUE_REAL, NOT_REPORTED},
    {"CELL_LTE_SQI", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_MCC", VALUE_STRING, 0},  // a string, as the next, because of leading zeros
    {"CELL_MNC", VALUE_STRING, 0},
    {"CELL_NET_TYPE", VALUE_STRING, 0},
    {"CELL_NET_TYPE_INT", VALUE_INTEGER, 0},
    {"CELL_NR5G_BAND", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_NR5G_RSRP", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_NR5G_RSRQ", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_NR5G_SINR", VALUE_REAL, NOT_REPORTED},
    {"CELL_NR5G_SQI", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_PCID", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_RAC", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_RSRP", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_RSRQ", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_RSSI", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_RXLEV", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_SINR", VALUE_REAL, NOT_REPORTED},
    {"CELL_SQI", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_TAC", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_TXP", VALUE_INTEGER, NOT_REPORTED},
    {"CELL_UARFCN", VALUE_INTEGER, NOT_REPORTED},
}};

constexpr bool cell_catalogue_ascends() {
    for (std::size_t i = 1; i < CELL_CATALOGUE.size(); ++i) {
        if (std::string_view(CELL_CATALOGUE[i].name) <= CELL_CATALOGUE[i - 1].name) {
            return false;
        }
    }
    return true;
}
static_assert(cell_catalogue_ascends());

// The place of a key in the catalogue, or its size.
constexpr std::size_t cell_catalogue_index(std::string_view key) {
    const auto *found = std::ranges::lower_bound(CELL_CATALOGUE, key, {}, &catalogue_row::name);
    const bool is_there = found != CELL_CATALOGUE.end() && key == found->name;
    return is_there ? static_cast<std::size_t>(found - CELL_CATALOGUE.begin()) : CELL_CATALOGUE.size();
}

// The one key that a decoder passes on although the statistics have no such entry and drop it: other programs publish
// it.
inline constexpr std::string_view UNPUBLISHED_KEY = "CELL_RSCP";

// A key that the compiler has looked up: what is misspelt does not compile, and nothing is searched for at run time.
class cell_key {
public:
    consteval cell_key(const char *name) : index_(cell_catalogue_index(name)) {  // not explicit: for table rows
        if (!is_published() && name != UNPUBLISHED_KEY) {
            throw std::invalid_argument(name);
        }
    }
    constexpr cell_key() = default;  // no key

    constexpr bool is_published() const { return index_ < CELL_CATALOGUE.size(); }
    constexpr std::size_t index() const { return index_; }  // in the catalogue

private:
    std::size_t index_ = CELL_CATALOGUE.size();
};
