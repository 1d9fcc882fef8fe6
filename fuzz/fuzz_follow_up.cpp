// The answers to the band and the signal-strength query.
#include "decode/follow_up_queries.h"
#include "fuzz/daemon_play.h"
#include "stats/cell_stats_map.h"

namespace {

long number_of(const std::string &shown) {
    return std::strtol(shown.c_str() + shown.find(' ') + 1, nullptr, 10);
}

void prepare(fuzz_input input) {
    const std::string answer = text_of(input);
    fake::platform().at_answers = {{"at+qnwinfo", {{1, answer}}}, {"at+csq", {{1, answer}}}};
}

void run() {
    get_band_for_wcdma();
    get_rssi_for_gsm();
    save_cell_stats_map_to_sysdb();
}

void check(fuzz_input) {
    require(!was_logged("log alert:"), "no exception");
    require_known_network_type();
    const std::string band = fake::cell("CELL_BAND");
    require(band.empty() || band == "int -999" || number_of(band) >= 0, "a band has no sign");
    const std::string rssi = fake::cell("CELL_RSSI");
    require(rssi.empty() == fake::cell("CELL_SQI").empty(), "strength and quality come together");
    if (!rssi.empty()) {
        const long dbm = number_of(rssi);
        require(dbm <= 83 && (dbm % 2 != 0 || dbm == INT32_MIN), "a strength is odd, 83 at most: ", rssi);
        require(dbm != -999 || number_of(fake::cell("CELL_SQI")) == 0, "an unknown strength has no quality");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check, require_sound_keys});
    return 0;
}
