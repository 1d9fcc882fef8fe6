#include "view/picture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "stats/cell_catalogue.h"
#include "view/text.h"

namespace zelt_top {

namespace {

// A set of technologies, one bit each.
constexpr unsigned LTE = 1;  // with LTE-M
constexpr unsigned NSA = 2;
constexpr unsigned SA = 4;
constexpr unsigned WCDMA = 8;
constexpr unsigned GSM = 16;
constexpr unsigned UNKNOWN = 32;  // only what is there is shown then

constexpr int CARRIERS_MAX = 6;

unsigned technology_of(std::string_view net_type) {
    struct row {
        std::string_view name;
        unsigned technology;
    };
    constexpr std::array<row, 6> rows{
        {{"LTE", LTE}, {"CAT-M", LTE}, {"5G NSA", NSA}, {"5G SA", SA}, {"WCDMA", WCDMA}, {"GSM", GSM}}};
    const auto *const found =
        std::find_if(rows.begin(), rows.end(), [net_type](const row &one) { return one.name == net_type; });
    return found == rows.end() ? UNKNOWN : found->technology;
}

// The keys that the daemon publishes besides the cell statistics, and those of other programs that belong to the view.
constexpr std::array<catalogue_row, 16> MORE_KEYS{{
    {"CELL_REGISTERED", VALUE_INTEGER, 0},
    {"CELL_ROAMING", VALUE_INTEGER, 0},
    {"CELL_CONNECTED", VALUE_INTEGER, 0},
    {"CELL_CARRIER", VALUE_STRING, 0},
    {"CELL_IMSI", VALUE_STRING, 0},
    {"CELL_MDN", VALUE_STRING, 0},
    {"CELL_IPV4", VALUE_STRING, 0},
    {"CELL_MASK", VALUE_STRING, 0},
    {"CELL_GATEWAY", VALUE_STRING, 0},
    {"CELL_BCAST", VALUE_STRING, 0},
    {"CELL_PRIMARY_DNS", VALUE_STRING, 0},
    {"CELL_SECONDARY_DNS", VALUE_STRING, 0},
    {"CELL_RSSIMON", VALUE_STRING, 0},
    {"CELL_RSCP", VALUE_INTEGER, 0},
    {"CELL_MODEL", VALUE_STRING, 0},
    {"CELL_ICCID", VALUE_STRING, 0},
}};

// The keys of a secondary carrier, without their number.
constexpr std::array<catalogue_row, 7> CARRIER_KEYS{{
    {"CELL_CHAN_BW_DL_SCC_", VALUE_STRING, 0},
    {"CELL_CHANNEL_SCC_", VALUE_INTEGER, 0},
    {"CELL_BAND_SCC_", VALUE_INTEGER, 0},
    {"CELL_RSRP_SCC_", VALUE_INTEGER, 0},
    {"CELL_RSRQ_SCC_", VALUE_INTEGER, 0},
    {"CELL_RSSI_SCC_", VALUE_INTEGER, 0},
    {"CELL_SINR_SCC_", VALUE_REAL, 0},
}};

bool has_kind(const value &stored, value_kind kind) {
    switch (kind) {
    case VALUE_INTEGER:
        return std::holds_alternative<int>(stored);
    case VALUE_REAL:
        return std::holds_alternative<double>(stored);
    case VALUE_STRING:
        return std::holds_alternative<std::string>(stored);
    }
    return false;
}

bool expected(const std::string &key, const value &stored) {
    const auto matches = [&](const catalogue_row &one) { return key == one.name && has_kind(stored, one.kind); };
    const auto matches_carrier = [&](const catalogue_row &one) {
        const std::size_t length = std::string_view(one.name).size();
        return key.size() == length + 1 && key.starts_with(one.name) && key.back() >= '1' &&
               key.back() < '1' + CARRIERS_MAX && has_kind(stored, one.kind);
    };
    return std::any_of(CELL_CATALOGUE.begin(), CELL_CATALOGUE.end(), matches) ||
           std::any_of(MORE_KEYS.begin(), MORE_KEYS.end(), matches) ||
           std::any_of(CARRIER_KEYS.begin(), CARRIER_KEYS.end(), matches_carrier) ||
           (key == "CELL_SIM_SEL" && has_kind(stored, VALUE_INTEGER));
}

snapshot split_off_others(snapshot &cell) {
    snapshot others;
    for (auto next = cell.begin(); next != cell.end();) {
        const auto one = next++;
        if (!expected(one->first, one->second)) {
            others.insert(cell.extract(one));
        }
    }
    return others;
}

number find_number(const snapshot &cell, const std::string &key) {
    const auto found = cell.find(key);
    if (found == cell.end() || std::holds_alternative<std::string>(found->second)) {
        return {};
    }
    const double stored =
        std::holds_alternative<int>(found->second) ? std::get<int>(found->second) : std::get<double>(found->second);
    return stored == NOT_REPORTED ? number{presence::not_reported, 0} : number{presence::known, stored};
}

phrase find_text(const snapshot &cell, const std::string &key) {
    const auto found = cell.find(key);
    if (found == cell.end() || !std::holds_alternative<std::string>(found->second)) {
        return {};
    }
    const std::string stored = printable(std::get<std::string>(found->second));
    if (stored.empty()) {
        return {};
    }
    // The module's own word for "nothing to tell" is a lone dash; it passes through the daemon.
    return stored == "-999" || stored == "-" ? phrase{presence::not_reported, {}} : phrase{presence::known, stored};
}

maybe<bool> find_flag(const snapshot &cell, const std::string &key) {
    const number stored = find_number(cell, key);
    return {stored.state, stored.value != 0};
}

struct fact_row {
    const char *name;
    const char *label;
    const char *key;
    unsigned technologies;  // whose decoder writes the key; for the others an old value may still stand there
    const char *unit = "";
};

constexpr std::array<fact_row, 6> CELL_FACTS{{
    {"id", "id", "CELL_CID", LTE | NSA | WCDMA | GSM | UNKNOWN},
    {"pci", "PCI", "CELL_PCID", LTE | SA | UNKNOWN},
    {"tac", "TAC", "CELL_TAC", LTE | NSA | UNKNOWN},
    {"lac", "LAC", "CELL_LAC", WCDMA | GSM},
    {"rac", "RAC", "CELL_RAC", WCDMA},
    {"bsic", "BSIC", "CELL_BSIC", GSM},
}};

// In a non-standalone connection the bands stand with the legs, channel and bandwidth are the anchor's.
constexpr std::array<fact_row, 6> RADIO_FACTS{{
    {"band", "band", "CELL_BAND", LTE | SA | WCDMA | GSM | UNKNOWN},
    {"channel", "channel", "CELL_CHANNEL", LTE | WCDMA | GSM | UNKNOWN},
    {"channel", "LTE channel", "CELL_CHANNEL", NSA},
    {"bandwidth_down_mhz", "down", "CELL_CHAN_BW_DL", LTE | NSA | UNKNOWN, "MHz"},
    {"bandwidth_up_mhz", "up", "CELL_CHAN_BW_UL", LTE | NSA | UNKNOWN, "MHz"},
    {"tx_level", "TX level", "CELL_TXP", GSM},
}};

constexpr std::array<fact_row, 1> ANCHOR_FACTS{{{"band", "band", "CELL_LTE_BAND", NSA}}};
constexpr std::array<fact_row, 2> NR_LEG_FACTS{
    {{"band", "band", "CELL_NR5G_BAND", NSA}, {"pci", "PCI", "CELL_PCID", NSA}}};

bool is_text_key(const char *key) {
    const auto *const found =
        std::find_if(CELL_CATALOGUE.begin(), CELL_CATALOGUE.end(),
                     [key](const catalogue_row &one) { return std::string_view(key) == one.name; });
    return found != CELL_CATALOGUE.end() && found->kind == VALUE_STRING;
}

presence presence_of(const fact &one) {
    return std::visit([](const auto &stored) { return stored.state; }, one.value);
}

template <std::size_t N>
std::vector<fact> find_facts(const snapshot &cell, unsigned technology, const std::array<fact_row, N> &rows) {
    std::vector<fact> facts;
    for (const fact_row &row : rows) {
        if ((row.technologies & technology) == 0) {
            continue;
        }
        fact one{row.name, row.label, find_number(cell, row.key), row.unit};
        if (is_text_key(row.key)) {
            one.value = find_text(cell, row.key);
        }
        if (technology != UNKNOWN || presence_of(one) == presence::known) {
            facts.push_back(std::move(one));
        }
    }
    return facts;
}

struct signal_row {
    quantity what;
    const char *key;
    bool optional = false;  // published by other programs only
};

constexpr std::array<signal_row, 5> GENERIC_SIGNALS{{
    {quantity::rsrp, "CELL_RSRP"},
    {quantity::rsrq, "CELL_RSRQ"},
    {quantity::sinr, "CELL_SINR"},
    {quantity::rssi, "CELL_RSSI"},
    {quantity::sqi, "CELL_SQI"},
}};
constexpr std::array<signal_row, 5> ANCHOR_SIGNALS{{
    {quantity::rsrp, "CELL_LTE_RSRP"},
    {quantity::rsrq, "CELL_LTE_RSRQ"},
    {quantity::sinr, "CELL_LTE_SINR"},
    {quantity::rssi, "CELL_LTE_RSSI"},
    {quantity::sqi, "CELL_LTE_SQI"},
}};
// NR's own keys, not the generic ones: a line cut short leaves LTE's values in those.
constexpr std::array<signal_row, 4> NR_SIGNALS{{
    {quantity::rsrp, "CELL_NR5G_RSRP"},
    {quantity::rsrq, "CELL_NR5G_RSRQ"},
    {quantity::sinr, "CELL_NR5G_SINR"},
    {quantity::sqi, "CELL_NR5G_SQI"},
}};
constexpr std::array<signal_row, 3> WCDMA_SIGNALS{{
    {quantity::rscp, "CELL_RSCP", true},
    {quantity::ecio, "CELL_ECIO"},
    {quantity::sqi, "CELL_SQI"},
}};
constexpr std::array<signal_row, 3> GSM_SIGNALS{{
    {quantity::gsm_rssi, "CELL_RSSI"},
    {quantity::rxlev, "CELL_RXLEV"},
    {quantity::sqi, "CELL_SQI"},
}};

template <std::size_t N>
std::vector<signal_value> find_signals(const snapshot &cell, const std::array<signal_row, N> &rows, bool only_known) {
    std::vector<signal_value> signals;
    for (const signal_row &row : rows) {
        const number stored = find_number(cell, row.key);
        if (stored.known() || !(only_known || row.optional)) {
            signals.push_back({row.what, stored});
        }
    }
    return signals;
}

std::vector<leg> find_legs(const snapshot &cell, unsigned technology) {
    switch (technology) {
    case NSA:
        return {{"LTE", "LTE anchor", find_facts(cell, NSA, ANCHOR_FACTS), find_signals(cell, ANCHOR_SIGNALS, false)},
                {"NR", "NR leg", find_facts(cell, NSA, NR_LEG_FACTS), find_signals(cell, NR_SIGNALS, false)}};
    case SA:
        return {{"NR", "", {}, find_signals(cell, NR_SIGNALS, false)}};
    case WCDMA:
        return {{"WCDMA", "", {}, find_signals(cell, WCDMA_SIGNALS, false)}};
    case GSM:
        return {{"GSM", "", {}, find_signals(cell, GSM_SIGNALS, false)}};
    default:
        return {
            {technology == LTE ? "LTE" : "cell", "", {}, find_signals(cell, GENERIC_SIGNALS, technology == UNKNOWN)}};
    }
}

carrier primary_carrier(const snapshot &cell, unsigned technology) {
    const std::string prefix = technology == NSA ? "CELL_LTE_" : "CELL_";
    return {"primary",
            find_number(cell, prefix + "BAND"),
            find_number(cell, "CELL_CHANNEL"),
            find_text(cell, "CELL_CHAN_BW_DL"),
            find_number(cell, prefix + "RSRP"),
            find_number(cell, prefix + "RSRQ"),
            find_number(cell, prefix + "RSSI"),
            find_number(cell, prefix + "SINR")};
}

carrier secondary_carrier(const snapshot &cell, int index) {
    const auto key = [index](const char *stem) { return stem + std::to_string(index); };
    return {"SCC " + std::to_string(index),
            find_number(cell, key("CELL_BAND_SCC_")),
            find_number(cell, key("CELL_CHANNEL_SCC_")),
            find_text(cell, key("CELL_CHAN_BW_DL_SCC_")),
            find_number(cell, key("CELL_RSRP_SCC_")),
            find_number(cell, key("CELL_RSRQ_SCC_")),
            find_number(cell, key("CELL_RSSI_SCC_")),
            find_number(cell, key("CELL_SINR_SCC_"))};
}

std::vector<carrier> find_carriers(const snapshot &cell, unsigned technology) {
    std::vector<carrier> carriers;
    for (int index = 1; index <= CARRIERS_MAX; ++index) {
        const bool there = std::any_of(CARRIER_KEYS.begin(), CARRIER_KEYS.end(), [&](const catalogue_row &one) {
            return cell.contains(one.name + std::to_string(index));
        });
        if (there) {
            carriers.push_back(secondary_carrier(cell, index));
        }
    }
    if (!carriers.empty() && (technology & (LTE | NSA)) != 0) {
        carriers.insert(carriers.begin(), primary_carrier(cell, technology));
    }
    return carriers;
}

// The line without its empty places, and with words where the daemon writes the mark of a missing value.
phrase tidy_summary(const phrase &line) {
    if (!line.known()) {
        return line;
    }
    std::string tidy;
    std::string_view rest = line.value;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(", "), rest.size());
        std::string field(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 2, rest.size()));
        const std::size_t mark = field.find(": -999");
        if (mark != std::string::npos) {
            field = field.substr(0, mark) + ": not reported";
        }
        if (field.find_first_not_of(" ,") != std::string::npos) {
            tidy += (tidy.empty() ? "" : ", ") + field;
        }
    }
    return {presence::known, tidy};
}

// A cycle takes 4 s and a few exchanges with the module; three of them are no news any more but a fault.
constexpr double STALE_SECONDS = 15;

condition judge(const picture &known, const reading &database, const runtime_state &around) {
    if (!database.cell) {
        return condition::no_database;
    }
    if (around.daemon != runtime_state::process::running) {
        return condition::daemon_absent;
    }
    if (around.paused) {
        return condition::paused;
    }
    if (!around.module_present) {
        return condition::module_gone;
    }
    if (known.age.written.value_or(0) > STALE_SECONDS) {
        return condition::stale;
    }
    return known.registered.known() && known.registered.value ? condition::well : condition::not_registered;
}

std::string sentence_of(const picture &known, const reading &database, const runtime_state &around) {
    switch (known.state) {
    case condition::no_database:
        return printable(database.problem);
    case condition::daemon_absent:
        return around.daemon == runtime_state::process::gone ? "Daemon not running: its process has gone."
                                                             : "Daemon not running (no /var/run/zelt-stats.pid).";
    case condition::paused:
        return "Daemon paused (no /tmp/zstats.running).";
    case condition::module_gone:
        return "Module gone (no /dev/ttyQSB3).";
    case condition::stale:
        return "No news for " + duration(known.age.written.value_or(0)) + ": the daemon hangs or waits for the module.";
    case condition::not_registered:
        return known.registered.known() ? "Not registered in a network. Last known values."
                                        : "Registration not known yet.";
    case condition::well:
        break;
    }
    return known.roaming.known() && known.roaming.value ? "Registered, roaming." : "Registered at home.";
}

}  // namespace

const char *name_of(condition state) {
    // In the order of the enumeration.
    constexpr std::array<const char *, 7> NAMES{"no database", "daemon absent",  "paused", "module gone",
                                                "stale",       "not registered", "well"};
    return NAMES.at(static_cast<std::size_t>(state));
}

picture build_picture(const reading &database, const runtime_state &around, const ages &age) {
    picture known;
    snapshot cell = database.cell.value_or(snapshot{});
    known.other = split_off_others(cell);
    known.foreign_keys = database.foreign_keys;
    const phrase net_type = find_text(cell, "CELL_NET_TYPE");
    const unsigned technology = technology_of(net_type.value);
    known.technology = net_type.value;
    known.carrier_name = find_text(cell, "CELL_CARRIER");
    known.mcc = find_text(cell, "CELL_MCC");
    known.mnc = find_text(cell, "CELL_MNC");
    known.cell = find_facts(cell, technology, CELL_FACTS);
    known.radio = find_facts(cell, technology, RADIO_FACTS);
    known.legs = find_legs(cell, technology);
    known.carriers = find_carriers(cell, technology);
    known.registered = find_flag(cell, "CELL_REGISTERED");
    known.roaming = find_flag(cell, "CELL_ROAMING");
    known.link_up = find_flag(cell, "CELL_CONNECTED");
    known.address = find_text(cell, "CELL_IPV4");
    if (known.address.value == "0.0.0.0") {  // what a clear leaves behind
        known.address = {};
    }
    known.summary = tidy_summary(find_text(cell, "CELL_RSSIMON"));
    known.age = age;
    known.state = judge(known, database, around);
    known.sentence = sentence_of(known, database, around);
    return known;
}

}  // namespace zelt_top
