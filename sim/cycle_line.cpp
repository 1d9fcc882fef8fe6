#include "sim/cycle_line.h"

#include <string_view>

namespace {

struct shown_value {
    const char *key;
    const char *before;
    const char *after;
};

constexpr shown_value LTE_VALUES[] = {
    {"CELL_BAND", " B", ""},         {"CELL_EARFCN", " (EARFCN ", ")"}, {"CELL_RSRP", "  RSRP ", " dBm"},
    {"CELL_RSRQ", "  RSRQ ", " dB"}, {"CELL_SINR", "  SINR ", " dB"},   {"CELL_SQI", "  SQI ", " %"},
};
constexpr shown_value NR_VALUES[] = {
    {"CELL_NR5G_BAND", " n", ""},         {"CELL_LTE_BAND", " + LTE B", ""},    {"CELL_NR5G_RSRP", "  RSRP ", " dBm"},
    {"CELL_NR5G_RSRQ", "  RSRQ ", " dB"}, {"CELL_NR5G_SINR", "  SINR ", " dB"}, {"CELL_NR5G_SQI", "  SQI ", " %"},
};
constexpr shown_value WCDMA_VALUES[] = {
    {"CELL_BAND", " ", " MHz"},
    {"CELL_UARFCN", " (UARFCN ", ")"},
    {"CELL_ECIO", "  Ec/Io ", " dB"},
    {"CELL_SQI", "  SQI ", " %"},
};
constexpr shown_value GSM_VALUES[] = {
    {"CELL_ARFCN", " (ARFCN ", ")"},
    {"CELL_RSSI", "  RSSI ", " dBm"},
    {"CELL_SQI", "  SQI ", " %"},
};

// Empty for a key that is missing or holds what the module did not report.
std::string text_of(const cell_values &cell, const char *key) {
    const auto found = cell.find(key);
    if (found == cell.end()) {
        return {};
    }
    std::string text = found->second.text;
    if (text.ends_with(".0")) {
        text.resize(text.size() - 2);
    }
    return text == "-999" ? "" : text;
}

template <std::size_t count>
std::string show(const cell_values &cell, const shown_value (&values)[count]) {
    std::string line;
    for (const shown_value &value : values) {
        if (const std::string text = text_of(cell, value.key); !text.empty()) {
            line += value.before + text + value.after;
        }
    }
    return line;
}

std::string show_for(std::string_view network, const cell_values &cell) {
    if (network.starts_with("5G")) {
        return show(cell, NR_VALUES);
    }
    if (network == "WCDMA") {
        return show(cell, WCDMA_VALUES);
    }
    return network == "GSM" ? show(cell, GSM_VALUES) : show(cell, LTE_VALUES);
}

}  // namespace

std::string cycle_line(const cell_values &cell) {
    const std::string network = text_of(cell, "CELL_NET_TYPE");
    std::string line = network.empty() ? "no cell" : network + show_for(network, cell);
    const std::string registered = text_of(cell, "CELL_REGISTERED");
    if (!registered.empty()) {
        line += registered == "1" ? "  registered" : "  not registered";
    }
    return line + (text_of(cell, "CELL_ROAMING") == "1" ? ", roaming" : "");
}
