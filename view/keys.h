// The keys of "CELL" that people are told of, with the type of each. A key of another type counts as not there.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "view/snapshot.h"

namespace view {

// In the order of a value's alternatives.
enum class kind : std::size_t { integer, real, text };

// CELL_RSCP, CELL_SIM_SEL, CELL_MODEL and CELL_ICCID are published by other programs, the rest by the daemon.
inline constexpr std::array<std::string_view, 33> INTEGER_KEYS{
    "CELL_NET_TYPE_INT", "CELL_LAC",       "CELL_TAC",       "CELL_RAC",      "CELL_CID",        "CELL_PCID",
    "CELL_BSIC",         "CELL_BAND",      "CELL_CHANNEL",   "CELL_EARFCN",   "CELL_UARFCN",     "CELL_ARFCN",
    "CELL_TXP",          "CELL_RSRP",      "CELL_RSRQ",      "CELL_RSSI",     "CELL_SQI",        "CELL_ECIO",
    "CELL_RXLEV",        "CELL_LTE_BAND",  "CELL_LTE_RSRP",  "CELL_LTE_RSRQ", "CELL_LTE_RSSI",   "CELL_LTE_SQI",
    "CELL_NR5G_BAND",    "CELL_NR5G_RSRP", "CELL_NR5G_RSRQ", "CELL_NR5G_SQI", "CELL_REGISTERED", "CELL_ROAMING",
    "CELL_CONNECTED",    "CELL_RSCP",      "CELL_SIM_SEL"};
inline constexpr std::array<std::string_view, 3> REAL_KEYS{"CELL_SINR", "CELL_LTE_SINR", "CELL_NR5G_SINR"};
inline constexpr std::array<std::string_view, 17> TEXT_KEYS{
    "CELL_NET_TYPE",    "CELL_MCC",           "CELL_MNC",     "CELL_CHAN_BW_DL", "CELL_CHAN_BW_UL", "CELL_CARRIER",
    "CELL_IMSI",        "CELL_MDN",           "CELL_IPV4",    "CELL_MASK",       "CELL_GATEWAY",    "CELL_BCAST",
    "CELL_PRIMARY_DNS", "CELL_SECONDARY_DNS", "CELL_RSSIMON", "CELL_MODEL",      "CELL_ICCID"};

// Whom the SIM card belongs to: its user's number, the telephone number, the card's own.
inline constexpr std::array<const char *, 3> SUBSCRIBER_KEYS{"CELL_IMSI", "CELL_MDN", "CELL_ICCID"};

// Secondary carriers are numbered from 1; the number stands behind these.
inline constexpr int CARRIERS_MAX = 6;
struct carrier_key {
    std::string_view stem;
    kind holds;
};
inline constexpr std::array<carrier_key, 7> CARRIER_KEYS{{
    {"CELL_BAND_SCC_", kind::integer},
    {"CELL_CHANNEL_SCC_", kind::integer},
    {"CELL_CHAN_BW_DL_SCC_", kind::text},
    {"CELL_RSRP_SCC_", kind::integer},
    {"CELL_RSRQ_SCC_", kind::integer},
    {"CELL_RSSI_SCC_", kind::integer},
    {"CELL_SINR_SCC_", kind::real},
}};

// Of a key of a secondary carrier without its number.
constexpr std::optional<kind> kind_of_stem(std::string_view stem) {
    const auto *const found = std::ranges::find(CARRIER_KEYS, stem, &carrier_key::stem);
    return found == CARRIER_KEYS.end() ? std::nullopt : std::optional(found->holds);
}

// Nothing for an unknown key.
constexpr std::optional<kind> kind_of(std::string_view key) {
    const auto stands_in = [key](const auto &keys) { return std::ranges::find(keys, key) != keys.end(); };
    if (stands_in(INTEGER_KEYS)) {
        return kind::integer;
    }
    if (stands_in(REAL_KEYS)) {
        return kind::real;
    }
    if (stands_in(TEXT_KEYS)) {
        return kind::text;
    }
    const bool numbered = !key.empty() && key.back() >= '1' && key.back() < '1' + CARRIERS_MAX;
    return numbered ? kind_of_stem(key.substr(0, key.size() - 1)) : std::nullopt;
}

}  // namespace view
