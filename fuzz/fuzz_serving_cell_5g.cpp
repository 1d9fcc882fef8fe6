// The serving-cell answer of a 5G module: several lines, several radios.
#include <cstring>

#include "decode/serving_cell.h"
#include "fuzz/invariants.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fake::reset();
    fake::platform().at_answers["at+qeng=\"servingcell\""] = {{size % 2 == 0 ? 0U : 1U, text_of_input(data, size)}};
    parse_rm5XX_stats();
    require_free_port();
    require_known_exceptions();
    require_sound_statistics();

    bool nr_decoded = false;
    for (const std::string &line : fake::log_lines()) {
        nr_decoded = nr_decoded || line.starts_with("debug: Parsing 5G-");
    }
    for (const char *key : {"CELL_NR5G_RSRP", "CELL_NR5G_SQI", "CELL_NR5G_SINR", "CELL_NR5G_RSRQ", "CELL_NR5G_BAND"}) {
        const std::string shown = fake::cell(key);
        require(!shown.empty(), std::string(key) + " is written in every exchange");
        require(nr_decoded || shown.ends_with(" -999") || shown.ends_with(" -999.0"),
                std::string(key) + " is withdrawn");
    }
    require(nr_decoded || !fake::cell("CELL_NET_TYPE").starts_with("string 5G"), "5G needs an NR line");
    return 0;
}
