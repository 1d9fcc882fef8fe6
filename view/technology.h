// The radio technologies: which keys of "CELL" tell of the cell in each. The daemon leaves the keys of one technology
// as they were when the module changes to another, so a key that is not named here for a technology holds old news.
#pragma once

#include <span>
#include <string_view>

#include "view/band.h"
#include "view/quantity.h"

namespace view {

enum class showing {
    always,      // in a short line too
    in_full,     // where there is room
    when_there,  // published by other programs only
};

struct fact_key {
    const char *name;   // for programs
    const char *label;  // for people
    const char *key;    // of a secondary carrier: without its number, as in each *_key
    showing shown = showing::in_full;
    const char *unit = "";
    const char *numbering = "";        // which one a channel's number belongs to
    band_plan plan = band_plan::none;  // which one a band's number belongs to
};

struct signal_key {
    quantity what;
    const char *key;
    showing shown = showing::always;
    const char *index_key = "";  // the quality index that it can be worked out from where nobody publishes it
};

// One radio connection: alone, or the LTE anchor and the NR leg of a non-standalone 5G connection.
struct leg_keys {
    const char *name;                 // for programs
    const char *heading;              // for people; empty where there is one leg
    std::span<const fact_key> facts;  // those that differ between the legs
    std::span<const signal_key> signals;
};

struct carrier_keys {
    std::span<const fact_key> facts;
    std::span<const signal_key> signals;
};

struct technology {
    std::string_view name;  // CELL_NET_TYPE
    int number;             // CELL_NET_TYPE_INT
    std::span<const fact_key> cell;
    std::span<const fact_key> radio;
    std::span<const leg_keys> legs;     // the first has every quantity that another one has
    carrier_keys primary_carrier = {};  // empty: the technology knows no aggregation
};

// Ascending by number.
std::span<const technology> technologies();

// A name that no row has: a row without a name, whose keys are worth showing as far as they are there.
const technology &technology_of(std::string_view net_type);

// Numbered 1 to CARRIERS_MAX, whatever the technology.
const carrier_keys &secondary_carrier();

}  // namespace view
