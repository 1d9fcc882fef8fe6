// What became of the keys of "CELL", for the journal. Pure.
#pragma once

#include <string>
#include <vector>

#include "sim/scenario/router.h"

struct key_change {
    std::string text;  // "CELL_RSRP = -95  (was -97)", "CELL_CID deleted  (was 5)"
    bool for_people;   // false: a key that appears without a value
};

// With other words in place of what says whose SIM card it is: the journal of a real module is passed on to strangers.
cell_values without_subscriber(cell_values values);

std::vector<key_change> key_changes(const cell_values &before, const cell_values &now);
