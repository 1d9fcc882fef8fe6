// Values by the names that programs use: those of the cell, or of the LTE anchor, as they are ("rsrp"); those of the NR
// leg, alone or beside an anchor, with "nr_" in front. Pure; never logs.
#pragma once

#include <string>
#include <string_view>

#include "view/picture.h"

namespace zelt_top {

inline constexpr std::string_view NR_PREFIX = "nr_";

// Null where the technology of the moment has none of this name.
const view::signal_value *find_signal(const view::picture &known, std::string_view name);
const view::fact *find_fact(const view::picture &known, std::string_view name);

// A number with all of its digits, but for what arithmetic adds to them.
std::string as_written(double value);

}  // namespace zelt_top
