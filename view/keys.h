// The keys of "CELL" that people are told of, with the type of each. A key of another type counts as not there.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "view/snapshot.h"

namespace view {

// In the order of a value's alternatives.
enum class kind : std::size_t { integer, real, text };

struct known_key {
    std::string_view name;
    kind holds;
};

inline constexpr std::array<known_key, 53> KEYS{{
    // the serving cell
    {"CELL_NET_TYPE", kind::text},
    {"CELL_NET_TYPE_INT", kind::integer},
    {"CELL_MCC", kind::text},
    {"CELL_MNC", kind::text},
    {"CELL_LAC", kind::integer},
    {"CELL_TAC", kind::integer},
    {"CELL_RAC", kind::integer},
    {"CELL_CID", kind::integer},
    {"CELL_PCID", kind::integer},
    {"CELL_BSIC", kind::integer},
    {"CELL_BAND", kind::integer},
    {"CELL_CHANNEL", kind::integer},
    {"CELL_EARFCN", kind::integer},
    {"CELL_UARFCN", kind::integer},
    {"CELL_ARFCN", kind::integer},
    {"CELL_CHAN_BW_DL", kind::text},
    {"CELL_CHAN_BW_UL", kind::text},
    {"CELL_TXP", kind::integer},
    {"CELL_RSRP", kind::integer},
    {"CELL_RSRQ", kind::integer},
    {"CELL_RSSI", kind::integer},
    {"CELL_SINR", kind::real},
    {"CELL_SQI", kind::integer},
    {"CELL_ECIO", kind::integer},
    {"CELL_RXLEV", kind::integer},
    {"CELL_LTE_BAND", kind::integer},
    {"CELL_LTE_RSRP", kind::integer},
    {"CELL_LTE_RSRQ", kind::integer},
    {"CELL_LTE_RSSI", kind::integer},
    {"CELL_LTE_SINR", kind::real},
    {"CELL_LTE_SQI", kind::integer},
    {"CELL_NR5G_BAND", kind::integer},
    {"CELL_NR5G_RSRP", kind::integer},
    {"CELL_NR5G_RSRQ", kind::integer},
    {"CELL_NR5G_SINR", kind::real},
    {"CELL_NR5G_SQI", kind::integer},
    // registration, subscriber, link, summary
    {"CELL_REGISTERED", kind::integer},
    {"CELL_ROAMING", kind::integer},
    {"CELL_CARRIER", kind::text},
    {"CELL_IMSI", kind::text},
    {"CELL_MDN", kind::text},
    {"CELL_CONNECTED", kind::integer},
    {"CELL_IPV4", kind::text},
    {"CELL_MASK", kind::text},
    {"CELL_GATEWAY", kind::text},
    {"CELL_BCAST", kind::text},
    {"CELL_PRIMARY_DNS", kind::text},
    {"CELL_SECONDARY_DNS", kind::text},
    {"CELL_RSSIMON", kind::text},
    // published by other programs
    {"CELL_RSCP", kind::integer},
    {"CELL_MODEL", kind::text},
    {"CELL_ICCID", kind::text},
    {"CELL_SIM_SEL", kind::integer},
}};

// Secondary carriers are numbered from 1; the number stands behind these.
inline constexpr int CARRIERS_MAX = 6;
inline constexpr std::array<known_key, 7> CARRIER_KEYS{{
    {"CELL_BAND_SCC_", kind::integer},
    {"CELL_CHANNEL_SCC_", kind::integer},
    {"CELL_CHAN_BW_DL_SCC_", kind::text},
    {"CELL_RSRP_SCC_", kind::integer},
    {"CELL_RSRQ_SCC_", kind::integer},
    {"CELL_RSSI_SCC_", kind::integer},
    {"CELL_SINR_SCC_", kind::real},
}};

template <std::size_t N>
constexpr std::optional<kind> kind_in(const std::array<known_key, N> &keys, std::string_view name) {
    const auto *const found = std::ranges::find(keys, name, &known_key::name);
    return found == keys.end() ? std::nullopt : std::optional(found->holds);
}

// Nothing for an unknown key.
constexpr std::optional<kind> kind_of(std::string_view key) {
    const bool numbered = !key.empty() && key.back() >= '1' && key.back() < '1' + CARRIERS_MAX;
    const auto of_carrier = numbered ? kind_in(CARRIER_KEYS, key.substr(0, key.size() - 1)) : std::nullopt;
    return of_carrier ? of_carrier : kind_in(KEYS, key);
}

}  // namespace view
