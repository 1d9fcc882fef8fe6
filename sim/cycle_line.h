// The radio state in one line for people, from the keys of "CELL". Pure.
#pragma once

#include <string>

#include "sim/database.h"

// "LTE B3 (EARFCN 1850)  RSRP -95 dBm  RSRQ -11 dB  SINR 12 dB  SQI 60 %  registered"; what is not reported is left
// out.
std::string cycle_line(const cell_values &cell);
