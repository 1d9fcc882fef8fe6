#include "view/quantity.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace view {

namespace {

// In the order of the enumeration.
constexpr std::array<scale, 9> SCALES{{
    // Good: the edge of the inner half of a cell; -105 is the usual planning level inside houses; below -120 most
    // modules lose the cell. The bar has the ends of the quality index, so that both tell the same story.
    {quantity::rsrp, "rsrp", "RSRP", "dBm", -90, -105, -120, -133, -69, -156, -31, "strength of the cell's own signal"},
    // -10: a cell without much traffic; -15: a full one, or a neighbour as strong; -20: the end of the LTE scale.
    {quantity::rsrq, "rsrq", "RSRQ", "dB", -10, -15, -20, -23, -3, -43, 20, "the cell against all on its channel"},
    // 13: 64QAM gets through, 5: 16QAM, 0: QPSK only; below 0 the noise is louder than the cell.
    {quantity::sinr, "sinr", "SINR", "dB", 13, 5, 0, -10, 30, -40, 70, "the cell against noise: sets the speed"},
    // Everything received on the channel, 10 MHz wide: some 25 dB above RSRP. The bar has the ends of AT+CSQ.
    {quantity::rssi, "rssi", "RSSI", "dBm", -65, -75, -85, -113, -51, -140, -10, "all power received on the channel"},
    // A narrow channel holds less power: -85 fills the usual five bars, -95 three; a receiver must still work at -104.
    {quantity::gsm_rssi, "rssi", "RSSI", "dBm", -85, -95, -105, -113, -51, -140, -10,
     "all power received on the channel"},
    {quantity::rxlev, "rxlev", "RXLEV", "dBm", -85, -95, -105, -113, -51, -140, -10, "level of the GSM cell"},
    // -80 and -95 are the planning levels indoors and outdoors; modules leave the cell around -115.
    {quantity::rscp, "rscp", "RSCP", "dBm", -80, -95, -110, -120, -70, -140, -20, "strength of the cell's pilot"},
    // -8: an own cell under load; -12 is where handover starts measuring; calls drop around -16.
    {quantity::ecio, "ecio", "Ec/Io", "dB", -8, -12, -16, -24, 0, -40, 0, "the pilot against all on its channel"},
    // The index of RSRP -90, -105 and -120: the two never disagree.
    {quantity::sqi, "sqi", "SQI", "%", 68, 44, 20, 0, 100, 0, 100, "index made of RSRP, RSCP or RSSI"},
}};

constexpr bool scales_hold() {
    for (std::size_t i = 0; i < SCALES.size(); ++i) {
        const scale &one = SCALES.at(i);
        if (static_cast<std::size_t>(one.what) != i || !(one.weak < one.fair && one.fair < one.good) ||
            !(one.lowest <= one.empty && one.empty < one.full && one.full <= one.highest)) {
            return false;
        }
    }
    return true;
}
static_assert(scales_hold());

}  // namespace

std::span<const scale> scales() {
    return SCALES;
}

const scale &scale_of(quantity what) {
    return SCALES.at(static_cast<std::size_t>(what));
}

bool measurable(quantity what, double value) {
    const scale &limits = scale_of(what);
    return value >= limits.lowest && value <= limits.highest;  // false for "not a number" as well
}

rating rate(quantity what, double value) {
    const scale &limits = scale_of(what);
    return value >= limits.good   ? rating::good
           : value >= limits.fair ? rating::fair
           : value >= limits.weak ? rating::weak
                                  : rating::bad;
}

double fill(quantity what, double value) {
    const scale &limits = scale_of(what);
    return std::clamp((value - limits.empty) / (limits.full - limits.empty), 0.0, 1.0);
}

const char *word(rating grade) {
    constexpr std::array<const char *, 4> WORDS{"bad", "weak", "fair", "good"};
    return WORDS.at(static_cast<std::size_t>(grade));
}

}  // namespace view
