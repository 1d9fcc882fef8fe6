// The serving-cell answer of a 5G module: several lines, several radios.
#include "decode/serving_cell.h"
#include "fuzz/daemon_play.h"
#include "stats/cell_stats_map.h"

namespace {

// Both results of a completed answer.
void prepare(fuzz_input input) {
    fake::platform().at_answers["at+qeng=\"servingcell\""] = {{input.size() % 2 == 0 ? 0U : 1U, text_of(input)}};
}

void run() {
    parse_rm5XX_stats();
    save_cell_stats_map_to_sysdb();
}

void check(fuzz_input) {
    require_known_network_type();
    const bool nr_decoded = was_logged("log debug: Parsing 5G-");
    for (const char *key : {"CELL_NR5G_RSRP", "CELL_NR5G_SQI", "CELL_NR5G_SINR", "CELL_NR5G_RSRQ", "CELL_NR5G_BAND"}) {
        const std::string shown = fake::cell(key);
        require(!shown.empty(), key, " is written in every exchange");
        require(nr_decoded || shown.ends_with(" -999") || shown.ends_with(" -999.0"), key, " is withdrawn");
    }
    require(nr_decoded || !fake::cell("CELL_NET_TYPE").starts_with("string 5G"), "5G needs an NR line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check, require_sound_keys});
    return 0;
}
