#include "tools/zelt_top/csv.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "tools/zelt_top/named_values.h"
#include "view/utc_time.h"

namespace zelt_top {

namespace {

std::string text_of(double value) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.10g", value);
    return text.data();
}

std::string text_of(bool flag) {
    return flag ? "1" : "0";
}

std::string text_of(const std::string &text) {
    return text;
}

template <typename T>
std::string text_of(const view::maybe<T> &stored) {
    return stored.known() ? text_of(stored.value) : "";
}

std::string text_of(const std::optional<double> &seconds) {
    return seconds ? text_of(std::floor(*seconds)) : "";
}

std::string quoted(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string result = "\"";
    for (const char one : text) {
        result += one == '"' ? "\"\"" : std::string(1, one);
    }
    return result + '"';
}

struct source {
    const view::picture &known;
    const view::reading &database;
};

struct column {
    const char *name;
    std::string (*text)(const source &from, const char *name);
};

std::string fact_text(const source &from, const char *name) {
    const view::fact *const found = find_fact(from.known, name);
    return found == nullptr ? "" : std::visit([](const auto &stored) { return text_of(stored); }, found->value);
}

std::string signal_text(const source &from, const char *name) {
    const view::signal_value *const found = find_signal(from.known, name);
    return found == nullptr ? "" : text_of(found->value);
}

// The order is part of what programs rely on: new columns go to the end.
constexpr auto COLUMNS = std::to_array<column>({
    {"time", [](const source &from,
                const char *) { return from.database.taken_at ? view::utc_text(*from.database.taken_at) : ""; }},
    {"state", [](const source &from, const char *) { return std::string(view::name_of(from.known.state)); }},
    {"seconds_since_update", [](const source &from, const char *) { return text_of(from.known.updated); }},
    {"model", [](const source &from, const char *) { return text_of(from.known.model); }},
    {"technology", [](const source &from, const char *) { return from.known.technology; }},
    {"operator", [](const source &from, const char *) { return text_of(from.known.carrier_name); }},
    {"registered", [](const source &from, const char *) { return text_of(from.known.registered); }},
    {"roaming", [](const source &from, const char *) { return text_of(from.known.roaming); }},
    {"mcc", [](const source &from, const char *) { return text_of(from.known.mcc); }},
    {"mnc", [](const source &from, const char *) { return text_of(from.known.mnc); }},
    {"id", fact_text},
    {"enodeb",
     [](const source &from,
        const char *) { return from.known.lte_station ? std::to_string(from.known.lte_station->enodeb) : ""; }},
    {"sector",
     [](const source &from,
        const char *) { return from.known.lte_station ? std::to_string(from.known.lte_station->sector) : ""; }},
    {"pci", fact_text},
    {"tac", fact_text},
    {"lac", fact_text},
    {"rac", fact_text},
    {"bsic", fact_text},
    {"band", fact_text},
    {"channel", fact_text},
    {"bandwidth_down_mhz", fact_text},
    {"bandwidth_up_mhz", fact_text},
    {"rsrp", signal_text},
    {"rsrq", signal_text},
    {"sinr", signal_text},
    {"rssi", signal_text},
    {"sqi", signal_text},
    {"rscp", signal_text},
    {"ecio", signal_text},
    {"rxlev", signal_text},
    {"nr_band", fact_text},
    {"nr_pci", fact_text},
    {"nr_rsrp", signal_text},
    {"nr_rsrq", signal_text},
    {"nr_sinr", signal_text},
    {"nr_sqi", signal_text},
    {"link_up", [](const source &from, const char *) { return text_of(from.known.link_up); }},
    {"ipv4", [](const source &from, const char *) { return text_of(from.known.address); }},
});
constexpr auto SUBSCRIBER_COLUMNS = std::to_array<column>({
    {"imsi", [](const source &from, const char *) { return text_of(from.known.owner->imsi); }},
    {"directory_number", [](const source &from, const char *) { return text_of(from.known.owner->directory_number); }},
    {"iccid", [](const source &from, const char *) { return text_of(from.known.owner->iccid); }},
});

}  // namespace

std::string csv_header(bool with_subscriber) {
    std::string header;
    for (const column &one : COLUMNS) {
        header += (header.empty() ? "" : ",") + std::string(one.name);
    }
    for (const column &one : SUBSCRIBER_COLUMNS) {
        header += with_subscriber ? "," + std::string(one.name) : "";
    }
    return header + '\n';
}

std::string csv_row(const view::picture &known, const view::reading &database) {
    const source from{known, database};
    std::string row;
    const auto add = [&](const column &one) {
        row += (&one == COLUMNS.data() ? "" : ",") + quoted(one.text(from, one.name));
    };
    for (const column &one : COLUMNS) {
        add(one);
    }
    for (const column &one : SUBSCRIBER_COLUMNS) {
        if (known.owner) {
            add(one);
        }
    }
    return row + '\n';
}

}  // namespace zelt_top
