// The serving-cell line of a 4G module, with whichever decoder and follow-up query it leads to.
#include "decode/serving_cell.h"
#include "fuzz/daemon_play.h"
#include "stats/cell_stats_map.h"

namespace {

void prepare(fuzz_input input) {
    fake::platform().at_answers = {{"at+qeng=\"servingcell\"", {{1, text_of(input)}}},
                                   {"at+qnwinfo", {{1, R"(+QNWINFO: "HSPA+","310410","WCDMA 850",4385)"}}},
                                   {"at+csq", {{1, "+CSQ: 20,99"}}}};
}

void run() {
    parse_4g_module_stats();
    save_cell_stats_map_to_sysdb();
}

void check(fuzz_input) {
    require_known_network_type();
    require(fake::cell("CELL_NR5G_SQI").empty(), "no NR value on a 4G module");
    const bool stopped = was_logged("log alert:");
    const bool decoded = was_logged("log debug: Parsing");
    require(fake::cell("CELL_NET_TYPE").empty() == (stopped || !decoded), "a whole line sets the network type");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check, require_sound_keys});
    return 0;
}
