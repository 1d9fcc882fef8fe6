// The carrier-aggregation answer, over a database in which all six carriers are left from before.
#include "decode/carrier_aggregation.h"
#include "fuzz/daemon_play.h"
#include "stats/carriers.h"

namespace {

constexpr std::array<const char *, 7> KEYS{"CELL_CHAN_BW_DL", "CELL_CHANNEL", "CELL_BAND", "CELL_RSRP",
                                           "CELL_RSRQ",       "CELL_RSSI",    "CELL_SINR"};
constexpr const char *STALE = "string of an older answer";

std::string key_of(const char *name, int number) {
    return std::string(name) + "_SCC_" + std::to_string(number);
}

std::string answer_in(fuzz_input input) {
    return text_of(input).substr(0, 511);
}

void prepare(fuzz_input input) {
    for (int number = 1; number <= 7; ++number) {
        for (const char *name : KEYS) {
            fake::platform().databases["CELL"][key_of(name, number)] = std::string("of an older answer");
        }
    }
    fake::platform().at_answers["at+qcainfo"] = {{0, answer_in(input)}};
}

void run() {
    save_carrier_aggregation_to_sysdb();
}

void require_sound_carrier(int number) {
    require(is_bandwidth(fake::cell(key_of("CELL_CHAN_BW_DL", number))), "a bandwidth");
    require(fake::cell(key_of("CELL_SINR", number)).starts_with("real "), "a real SINR");
    for (const char *name : {"CELL_CHANNEL", "CELL_BAND", "CELL_RSRP", "CELL_RSRQ", "CELL_RSSI"}) {
        require(fake::cell(key_of(name, number)).starts_with("int "), "an integer: ", name);
    }
    const std::string band = fake::cell(key_of("CELL_BAND", number));
    require(band == "int -999" || !band.starts_with("int -"), "a band has no sign");
}

void check(fuzz_input input) {
    require(!was_logged("log alert:"), "no exception");
    std::string answer = answer_in(input);
    const bool is_empty = answer.empty();
    const int count = parse_ca_values_and_return_num_of_scc_info(answer.data());
    require(0 <= count && count <= 6, "no more than six carriers");
    for (int number = 1; number <= 6; ++number) {
        if (number <= count) {
            require_sound_carrier(number);
            continue;
        }
        for (const char *name : KEYS) {
            require(fake::cell(key_of(name, number)) == (is_empty ? STALE : ""), "deleted: ", name);
        }
    }
    require(fake::cell("CELL_BAND_SCC_7") == STALE, "there is no seventh carrier");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    [[maybe_unused]] static const bool ready = (init_ca_vector(), true);
    play({data, size}, {prepare, run, check});
    return 0;
}
