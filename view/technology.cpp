#include "view/technology.h"

#include <algorithm>
#include <array>
#include <optional>

#include "view/keys.h"

namespace view {

namespace {

constexpr fact_key ID{"id", "id", "CELL_CID"};
constexpr fact_key PCI{"pci", "PCI", "CELL_PCID"};
constexpr fact_key TAC{"tac", "TAC", "CELL_TAC"};
constexpr fact_key LAC{"lac", "LAC", "CELL_LAC"};
constexpr fact_key RAC{"rac", "RAC", "CELL_RAC"};
constexpr fact_key BSIC{"bsic", "BSIC", "CELL_BSIC"};
constexpr fact_key band_in(band_plan plan, const char *key = "CELL_BAND", showing shown = showing::always) {
    return {"band", "band", key, shown, "", "", plan};
}

constexpr fact_key DOWN{"bandwidth_down_mhz", "down", "CELL_CHAN_BW_DL", showing::in_full, "MHz"};
constexpr fact_key UP{"bandwidth_up_mhz", "up", "CELL_CHAN_BW_UL", showing::in_full, "MHz"};
constexpr fact_key TX_LEVEL{"tx_level", "TX level", "CELL_TXP"};

constexpr fact_key channel(const char *numbering, const char *label = "channel") {
    return {"channel", label, "CELL_CHANNEL", showing::always, "", numbering};
}

constexpr std::array LTE_CELL{ID, PCI, TAC};
constexpr fact_key LTE_BAND = band_in(band_plan::lte);
constexpr std::array LTE_RADIO{LTE_BAND, channel("EARFCN"), DOWN, UP};
constexpr std::array<signal_key, 5> LTE_SIGNALS{{
    {quantity::rsrp, "CELL_RSRP"},
    {quantity::rsrq, "CELL_RSRQ"},
    {quantity::sinr, "CELL_SINR"},
    {quantity::rssi, "CELL_RSSI", showing::in_full},
    {quantity::sqi, "CELL_SQI"},
}};
constexpr std::array<leg_keys, 1> LTE_LEGS{{{"LTE", "", {}, LTE_SIGNALS}}};
constexpr std::array LTE_CARRIER{LTE_BAND, channel("EARFCN"), DOWN};
// Every quantity but the index, which no secondary carrier has.
constexpr carrier_keys LTE_PRIMARY{LTE_CARRIER, std::span(LTE_SIGNALS).first<4>()};

// Band and PCI stand with the legs; identity, channel and bandwidth are the anchor's.
constexpr std::array NSA_CELL{ID, TAC};
constexpr std::array NSA_RADIO{channel("EARFCN", "LTE channel"), DOWN, UP};
constexpr fact_key ANCHOR_BAND = band_in(band_plan::lte, "CELL_LTE_BAND");
constexpr std::array ANCHOR_FACTS{ANCHOR_BAND};
constexpr std::array<signal_key, 5> ANCHOR_SIGNALS{{
    {quantity::rsrp, "CELL_LTE_RSRP"},
    {quantity::rsrq, "CELL_LTE_RSRQ"},
    {quantity::sinr, "CELL_LTE_SINR"},
    {quantity::rssi, "CELL_LTE_RSSI", showing::in_full},
    {quantity::sqi, "CELL_LTE_SQI"},
}};
// NR's own keys, not the generic ones: a line cut short leaves LTE's values in those.
constexpr std::array<signal_key, 4> NR_SIGNALS{{
    {quantity::rsrp, "CELL_NR5G_RSRP"},
    {quantity::rsrq, "CELL_NR5G_RSRQ"},
    {quantity::sinr, "CELL_NR5G_SINR"},
    {quantity::sqi, "CELL_NR5G_SQI"},
}};
constexpr fact_key NR_BAND = band_in(band_plan::nr, "CELL_NR5G_BAND");
constexpr std::array NR_LEG_FACTS{NR_BAND, PCI};
constexpr std::array<leg_keys, 2> NSA_LEGS{{
    {"LTE", "LTE anchor", ANCHOR_FACTS, ANCHOR_SIGNALS},
    {"NR", "NR leg", NR_LEG_FACTS, NR_SIGNALS},
}};
constexpr std::array ANCHOR_CARRIER{ANCHOR_BAND, channel("EARFCN"), DOWN};
constexpr carrier_keys ANCHOR_PRIMARY{ANCHOR_CARRIER, std::span(ANCHOR_SIGNALS).first<4>()};

// Everything else in the database is an older LTE cell's, the generic band too where the line was cut short.
constexpr std::array SA_CELL{PCI};
constexpr std::array SA_RADIO{NR_BAND};
constexpr std::array<leg_keys, 1> SA_LEGS{{{"NR", "", {}, NR_SIGNALS}}};

constexpr std::array WCDMA_CELL{ID, LAC, RAC};
constexpr std::array WCDMA_RADIO{band_in(band_plan::none), channel("UARFCN")};
constexpr std::array<signal_key, 3> WCDMA_SIGNALS{{
    {quantity::rscp, "CELL_RSCP", showing::when_there, "CELL_SQI"},
    {quantity::ecio, "CELL_ECIO"},
    {quantity::sqi, "CELL_SQI"},
}};
constexpr std::array<leg_keys, 1> WCDMA_LEGS{{{"WCDMA", "", {}, WCDMA_SIGNALS}}};

constexpr std::array GSM_CELL{ID, LAC, BSIC};
// The module numbers GSM's bands in its own way, from 0: no news for a short line.
constexpr std::array GSM_RADIO{band_in(band_plan::none, "CELL_BAND", showing::in_full), channel("ARFCN"), TX_LEVEL};
constexpr std::array<signal_key, 3> GSM_SIGNALS{{
    {quantity::gsm_rssi, "CELL_RSSI"},
    {quantity::rxlev, "CELL_RXLEV", showing::in_full},
    {quantity::sqi, "CELL_SQI"},
}};
constexpr std::array<leg_keys, 1> GSM_LEGS{{{"GSM", "", {}, GSM_SIGNALS}}};

constexpr std::array<technology, 6> TECHNOLOGIES{{
    {"GSM", 5, GSM_CELL, GSM_RADIO, GSM_LEGS},
    {"CAT-M", 10, LTE_CELL, LTE_RADIO, LTE_LEGS, LTE_PRIMARY},
    {"WCDMA", 15, WCDMA_CELL, WCDMA_RADIO, WCDMA_LEGS},
    {"LTE", 20, LTE_CELL, LTE_RADIO, LTE_LEGS, LTE_PRIMARY},
    {"5G NSA", 25, NSA_CELL, NSA_RADIO, NSA_LEGS, ANCHOR_PRIMARY},
    {"5G SA", 30, SA_CELL, SA_RADIO, SA_LEGS},
}};

constexpr std::array UNFAMILIAR_RADIO{band_in(band_plan::none), channel(""), DOWN, UP};
constexpr std::array<leg_keys, 1> UNFAMILIAR_LEGS{{{"cell", "", {}, LTE_SIGNALS}}};
constexpr technology UNFAMILIAR{"", 0, LTE_CELL, UNFAMILIAR_RADIO, UNFAMILIAR_LEGS};

constexpr std::array<fact_key, 3> SECONDARY_FACTS{{
    band_in(band_plan::lte, "CELL_BAND_SCC_", showing::in_full),
    {"channel", "channel", "CELL_CHANNEL_SCC_", showing::in_full, "", "EARFCN"},
    {"bandwidth_down_mhz", "down", "CELL_CHAN_BW_DL_SCC_", showing::in_full, "MHz"},
}};
constexpr std::array<signal_key, 4> SECONDARY_SIGNALS{{
    {quantity::rsrp, "CELL_RSRP_SCC_"},
    {quantity::rsrq, "CELL_RSRQ_SCC_"},
    {quantity::sinr, "CELL_SINR_SCC_"},
    {quantity::rssi, "CELL_RSSI_SCC_"},
}};
constexpr carrier_keys SECONDARY{SECONDARY_FACTS, SECONDARY_SIGNALS};

constexpr bool is_number(std::optional<kind> holds) {
    return holds == kind::integer || holds == kind::real;
}

constexpr bool facts_hold(std::span<const fact_key> facts) {
    return std::ranges::all_of(facts, [](const fact_key &one) { return kind_of(one.key).has_value(); });
}

constexpr bool signals_hold(std::span<const signal_key> signals) {
    return std::ranges::all_of(signals, [](const signal_key &one) { return is_number(kind_of(one.key)); });
}

constexpr bool leg_holds(const leg_keys &leg, const leg_keys &first) {
    const auto first_has = [&first](quantity what) {
        return std::ranges::find(first.signals, what, &signal_key::what) != first.signals.end();
    };
    return facts_hold(leg.facts) && signals_hold(leg.signals) &&
           std::ranges::all_of(leg.signals, first_has, &signal_key::what);
}

constexpr bool technology_holds(const technology &one) {
    return facts_hold(one.cell) && facts_hold(one.radio) && facts_hold(one.primary_carrier.facts) &&
           signals_hold(one.primary_carrier.signals) && !one.legs.empty() &&
           std::ranges::all_of(one.legs, [&one](const leg_keys &leg) { return leg_holds(leg, one.legs.front()); });
}

constexpr bool secondary_holds() {
    return SECONDARY_FACTS.size() + SECONDARY_SIGNALS.size() == CARRIER_KEYS.size() &&
           std::ranges::all_of(SECONDARY_FACTS,
                               [](const fact_key &one) { return kind_of_stem(one.key).has_value(); }) &&
           std::ranges::all_of(SECONDARY_SIGNALS,
                               [](const signal_key &one) { return is_number(kind_of_stem(one.key)); });
}

static_assert(std::ranges::all_of(TECHNOLOGIES, technology_holds));
static_assert(std::ranges::is_sorted(TECHNOLOGIES, {}, &technology::number));
static_assert(technology_holds(UNFAMILIAR) && secondary_holds());

}  // namespace

std::span<const technology> technologies() {
    return TECHNOLOGIES;
}

const technology &technology_of(std::string_view net_type) {
    const auto *const found = std::ranges::find(TECHNOLOGIES, net_type, &technology::name);
    return found == TECHNOLOGIES.end() ? UNFAMILIAR : *found;
}

const carrier_keys &secondary_carrier() {
    return SECONDARY;
}

}  // namespace view
