// The answers to the band and the signal-strength query.
#include "decode/follow_up_queries.h"
#include "fuzz/invariants.h"

namespace {

long number_of(const std::string &shown) {
    return std::strtol(shown.c_str() + shown.find(' ') + 1, nullptr, 10);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fake::reset();
    const std::string answer = text_of_input(data, size);
    fake::platform().at_answers = {{"at+qnwinfo", {{1, answer}}}, {"at+csq", {{1, answer}}}};
    get_band_for_wcdma();
    get_rssi_for_gsm();
    require_free_port();
    require(fake::journal_of({"log alert:"}).empty(), "no exception");
    require_sound_statistics();

    const std::string band = fake::cell("CELL_BAND");
    require(band.empty() || band == "int -999" || number_of(band) >= 0, "a band has no sign");
    const std::string rssi = fake::cell("CELL_RSSI");
    require(rssi.empty() == fake::cell("CELL_SQI").empty(), "strength and quality come together");
    if (!rssi.empty()) {
        const long dbm = number_of(rssi);
        require(dbm <= 83 && (dbm % 2 != 0 || dbm == INT32_MIN), "a strength is odd, 83 at most: " + rssi);
        require(dbm != -999 || number_of(fake::cell("CELL_SQI")) == 0, "an unknown strength has no quality");
    }
    return 0;
}
