#include "tools/zelt_top/csv.h"

#include <cmath>
#include <string_view>

#include "posix/clock.h"
#include "tools/zelt_top/named_values.h"

namespace zelt_top {

namespace {

std::string text_of(double value) {
    return as_written(value);
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

struct column {
    const char *name;
    std::string (*text)(const view::picture &known, const char *name);
};

template <auto member>
std::string own(const view::picture &known, const char * /*name*/) {
    return text_of(known.*member);
}

template <auto member>
std::string of_station(const view::picture &known, const char * /*name*/) {
    return known.lte_station ? std::to_string(*known.lte_station.*member) : "";
}

template <auto member>
std::string of_owner(const view::picture &known, const char * /*name*/) {
    return text_of(*known.owner.*member);
}

std::string state_text(const view::picture &known, const char * /*name*/) {
    return view::name_of(known.state);
}

std::string fact_text(const view::picture &known, const char *name) {
    const view::fact *const found = find_fact(known, name);
    return found == nullptr ? "" : std::visit([](const auto &stored) { return text_of(stored); }, found->value);
}

std::string signal_text(const view::picture &known, const char *name) {
    const view::signal_value *const found = find_signal(known, name);
    return found == nullptr ? "" : text_of(found->value);
}

// Behind the time. The order is part of what programs rely on: new columns go to the end.
constexpr auto COLUMNS = std::to_array<column>({
    {"state", state_text},
    {"seconds_since_update", own<&view::picture::updated>},
    {"model", own<&view::picture::model>},
    {"technology", own<&view::picture::technology>},
    {"operator", own<&view::picture::carrier_name>},
    {"registered", own<&view::picture::registered>},
    {"roaming", own<&view::picture::roaming>},
    {"mcc", own<&view::picture::mcc>},
    {"mnc", own<&view::picture::mnc>},
    {"id", fact_text},
    {"enodeb", of_station<&view::station::enodeb>},
    {"sector", of_station<&view::station::sector>},
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
    {"link_up", own<&view::picture::link_up>},
    {"ipv4", own<&view::picture::address>},
});
constexpr auto SUBSCRIBER_COLUMNS = std::to_array<column>({
    {"imsi", of_owner<&view::subscriber::imsi>},
    {"directory_number", of_owner<&view::subscriber::directory_number>},
    {"iccid", of_owner<&view::subscriber::iccid>},
});

}  // namespace

std::string csv_header(bool with_subscriber) {
    std::string header = "time";
    for (const column &one : COLUMNS) {
        header += "," + std::string(one.name);
    }
    for (const column &one : SUBSCRIBER_COLUMNS) {
        header += with_subscriber ? "," + std::string(one.name) : "";
    }
    return header + '\n';
}

std::string csv_row(const view::picture &known, const view::reading &database) {
    std::string row = utc_text(database.taken_at);
    for (const column &one : COLUMNS) {
        row += "," + quoted(one.text(known, one.name));
    }
    for (const column &one : SUBSCRIBER_COLUMNS) {
        row += known.owner ? "," + quoted(one.text(known, one.name)) : "";
    }
    return row + '\n';
}

}  // namespace zelt_top
