// The summary line over a database whose values come from other programs. The input's lines are texts of keys: type,
// key's number and value.
#include <algorithm>

#include "fuzz/daemon_play.h"
#include "stats/summary_line.h"

namespace {

constexpr std::array<const char *, 29> KEYS{"CELL_MODEL",      "CELL_SQI",
                                            "CELL_RSSI",       "CELL_RSCP",
                                            "CELL_RSRP",       "CELL_RSRQ",
                                            "CELL_ECIO",       "CELL_SINR",
                                            "CELL_CHANNEL",    "CELL_BAND",
                                            "CELL_CHAN_BW_DL", "CELL_NET_TYPE",
                                            "CELL_ROAMING",    "CELL_CID",
                                            "CELL_TAC",        "CELL_LAC",
                                            "CELL_MCC",        "CELL_MNC",
                                            "CELL_RSSI_SCC_1", "CELL_RSRP_SCC_1",
                                            "CELL_BAND_SCC_1", "CELL_CHAN_BW_DL_SCC_1",
                                            "CELL_ICCID",      "CELL_SIM_SEL",
                                            "GPIO_TEMP",       "CELL_RSSIMON",
                                            "CELL_PCID",       "CELL_CARRIER",
                                            "CELL_IMSI"};

fake::value value_of(char type, const std::string &text) {
    switch (type) {
    case 'i':
        return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
    case 'r':
        return std::strtod(text.c_str(), nullptr);
    default:
        return text;
    }
}

// "i" for a number, "r" for a real, anything else for a text; a byte for the key; then the value.
void prepare(fuzz_input input) {
    std::string text = text_of(input);
    for (std::size_t begin = 0; begin + 2 <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end - begin >= 2) {
            const char *key = KEYS.at(static_cast<unsigned char>(text[begin + 1]) % KEYS.size());
            fake::platform().databases[key == std::string_view("GPIO_TEMP") ? "GPIO" : "CELL"][key] =
                value_of(text[begin], text.substr(begin + 2, end - begin - 2));
        }
        begin = end + 1;
    }
}

void run() {
    update_rssimon_sysdb_values();
}

// 29 fields of at most 63 characters, with ", " between them.
void check(fuzz_input) {
    const std::string shown = fake::cell("CELL_RSSIMON");
    require(shown.starts_with("string "), "a line");
    const std::string line = shown.substr(std::string_view("string ").size());
    require(line.size() <= 29 * 63 + 28 * 2, "its length: ", line);
    std::size_t fields = 1;
    for (std::size_t at = line.find(", "); at != line.npos; at = line.find(", ", at + 2)) {
        ++fields;
    }
    require(fields >= 29, "readers count fields: ", line);
    require(!was_logged("log alert:"), "no exception");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check});
    return 0;
}
