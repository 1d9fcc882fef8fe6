#include "stats/summary_line.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "base/exception_log.h"
#include "platform/sysdb.h"
#include "stats/cell_catalogue.h"
#include "stats/sysdb_transaction.h"

namespace {

constexpr const char *GPIO_KEY = "GPIO_TEMP";  // of the named database "GPIO", all others of "CELL"

// One field of the line: the key and how it is read, the text before the value, the one behind it, and the field when
// the key could not be read.
struct summary_field {
    const char *key;  // null: a field that is always empty
    value_kind kind = VALUE_INTEGER;
    const char *before = "";
    const char *after = "";
    const char *missing = "";
};

// The order is the line's. Readers count separators, so an absent value leaves its field empty, never out.
// clang-format off
constexpr std::array<summary_field, 29> SUMMARY_FIELDS{{
    {"CELL_MODEL", VALUE_STRING, "", "", "No radio"},
    {"CELL_SQI", VALUE_INTEGER, "SQI: ", "%"},
    {"CELL_RSSI", VALUE_INTEGER, "RSSI: ", " dBm"},
    {"CELL_RSCP", VALUE_INTEGER, "RSCP: ", " dBm"},  // published by other programs only
    {"CELL_RSRP", VALUE_INTEGER, "RSRP: ", " dBm"},
    {"CELL_RSRQ", VALUE_INTEGER, "RSRQ: ", " dB"},
    {"CELL_ECIO", VALUE_INTEGER, "Ec/Io: ", " dBm"},
    {"CELL_SINR", VALUE_INTEGER, "SNR: ", " dB"},  // published as a real: the line shows whole decibels
    {"CELL_CHANNEL", VALUE_INTEGER, "Chan: "},
    {"CELL_CHANNEL", VALUE_INTEGER, "TxChan: "},  // repeats the channel on purpose
    {"CELL_BAND", VALUE_INTEGER, "Band: "},
    {"CELL_CHAN_BW_DL", VALUE_STRING, "BW: "},
    {"CELL_NET_TYPE", VALUE_STRING, "RAT: "},
    {"CELL_ROAMING", VALUE_INTEGER},
    {nullptr},  // three places that readers skip
    {nullptr},
    {nullptr},
    {"CELL_CID", VALUE_INTEGER, "Cell-ID: "},
    {"CELL_TAC", VALUE_INTEGER, "TAC: "},
    {"CELL_LAC", VALUE_INTEGER, "LAC: "},
    {"CELL_MCC", VALUE_STRING, "MCC: "},
    {"CELL_MNC", VALUE_STRING, "MNC: "},
    {"CELL_RSSI_SCC_1", VALUE_INTEGER, "2nd RSSI: ", " dBm"},
    {"CELL_RSRP_SCC_1", VALUE_INTEGER, "RSRP2: ", " dBm"},
    {"CELL_BAND_SCC_1", VALUE_INTEGER, "2nd Band: "},
    {"CELL_CHAN_BW_DL_SCC_1", VALUE_STRING, "2nd BW: "},
    {"CELL_ICCID", VALUE_STRING, "ICCID: "},
    {"CELL_SIM_SEL", VALUE_INTEGER, "SIM: "},
    {GPIO_KEY, VALUE_REAL, "Temp: "},
}};
// clang-format on

// The keys of the line, of one named database.
rssimon_map keys_of(bool (*belongs)(std::string_view key)) {
    rssimon_map values;
    for (const summary_field &field : SUMMARY_FIELDS) {
        if (field.key != nullptr && belongs(field.key)) {
            values.emplace(field.key, field.kind);
        }
    }
    return values;
}

}  // namespace

rssimon_map cell_rssimon_values = keys_of([](std::string_view key) { return key != GPIO_KEY; });
rssimon_map gpio_rssimon_values = keys_of([](std::string_view key) { return key == GPIO_KEY; });

namespace {

bool read_value(sysdb_handle *handle, const std::string &key, rssimon_value &value) {
    switch (value.kind) {
    case VALUE_REAL:
        return sysdb_read_dbl(handle, key.c_str(), &value.dbl_value) == 0;
    case VALUE_STRING: {
        std::array<char, 128> text{};  // a field shows at most 63 characters of it
        if (sysdb_read_str(handle, key.c_str(), text.data(), text.size()) != 0) {
            return false;
        }
        value.str_value = text.data();
        return true;
    }
    case VALUE_INTEGER:
        break;
    }
    return sysdb_read_int(handle, key.c_str(), &value.int_value) == 0;
}

void read_back(rssimon_map &values, const char *named_database) {
    in_sysdb_transaction(named_database, SYSDB_READ_ONLY, [&values](sysdb_handle *handle) {
        for (auto &[key, value] : values) {
            value.valid = false;  // first: a reading that throws must not leave an old value valid
            value.valid = read_value(handle, key, value);
        }
    });
}

const rssimon_value *find_valid(const char *key) {
    for (const rssimon_map *map : {&cell_rssimon_values, &gpio_rssimon_values}) {
        const auto found = map->find(key);
        if (found != map->end()) {
            return found->second.valid ? &found->second : nullptr;
        }
    }
    return nullptr;
}

constexpr std::size_t FIELD_MAX = 63;          // a value from outside must not push the others out of the line
constexpr std::size_t USUAL_LENGTH = 511;      // of a line with every value
constexpr std::size_t LINE_MAX_LENGTH = 4095;  // a guard: 29 fields and their separators take at most 1883

std::string value_text(const rssimon_value &value) {
    switch (value.kind) {
    case VALUE_REAL:
        return std::to_string(value.dbl_value);  // six decimals
    case VALUE_STRING:
        return value.str_value;
    case VALUE_INTEGER:
        break;
    }
    return std::to_string(value.int_value);
}

void append_field(std::string &line, const summary_field &field) {
    if (field.key == nullptr) {
        return;
    }
    const rssimon_value *value = find_valid(field.key);
    if (std::string_view(field.key) == "CELL_ROAMING") {
        line += value != nullptr && value->int_value != 0 ? "ROAMING" : "no roam";
    } else if (value == nullptr) {
        line += field.missing;
    } else {
        const std::size_t longest = line.size() + FIELD_MAX;
        line += field.before;
        line += value_text(*value);
        line += field.after;
        line.resize(std::min(line.size(), longest));
    }
}

std::string build_line() {
    std::string line;
    line.reserve(USUAL_LENGTH);
    append_field(line, SUMMARY_FIELDS.front());
    for (const summary_field &field : std::span(SUMMARY_FIELDS).subspan<1>()) {
        line += ", ";
        append_field(line, field);
    }
    line.resize(std::min(line.size(), LINE_MAX_LENGTH));
    return line;
}

}  // namespace

void update_rssimon_sysdb_values() try {
    read_back(cell_rssimon_values, "CELL");
    read_back(gpio_rssimon_values, "GPIO");
    sysdb_namedb_write_str(nullptr, "CELL", "CELL_RSSIMON", build_line().c_str(), 0);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
