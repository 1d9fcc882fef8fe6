// The quantities that a receiver measures: their units, what is good and what is bad, where their bars begin and end.
// Knows no key and no terminal; never logs.
#pragma once

#include <span>

namespace view {

enum class quantity { rsrp, rsrq, sinr, rssi, gsm_rssi, rxlev, rscp, ecio, sqi };

enum class rating { bad, weak, fair, good };

struct scale {
    quantity what;
    const char *name;   // for programs
    const char *label;  // for people
    const char *unit;
    double good;  // at least so much
    double fair;
    double weak;
    double empty;  // both ends of the bar
    double full;
    double lowest;  // beyond these two it is no measurement: a module's mark, or a column that was no number
    double highest;
    const char *meaning;
};

// In the order of the enumeration.
std::span<const scale> scales();

const scale &scale_of(quantity what);

bool measurable(quantity what, double value);

// Of a measurable value.
rating rate(quantity what, double value);

// How much of the bar is filled, 0 to 1.
double fill(quantity what, double value);

const char *word(rating grade);

}  // namespace view
