// The updates of the cell statistics in the order in which they were made; the publication is in key order and hides
// it.
#pragma once

#include <string>
#include <vector>

// Since the last call, as "CELL_RSRP -95". Keys that are not published count for nothing, nor do updates without a
// value, such as those of a group reset.
std::vector<std::string> taken_updates();
