// The bands of LTE and of 5G NR: where in the spectrum a band's number is, and how both directions share it.
// Knows no key; never logs.
#pragma once

#include <span>

namespace view {

// Whose numbers they are. GSM and WCDMA bands are published by their frequency already.
enum class band_plan { none, lte, nr };

enum class duplex {
    fdd,  // a frequency for each direction
    tdd,  // both directions in turn
    sdl,  // down only, beside another band
};

struct band {
    int number;
    int megahertz;  // the name it goes by, near the frequencies from the cell to the module
    duplex shared;
};

// Ascending by number.
std::span<const band> bands(band_plan plan);

// Null for a number that the plan does not have.
const band *find_band(band_plan plan, double number);

// "FDD"
const char *word(duplex shared);

}  // namespace view
