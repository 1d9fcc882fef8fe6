// The radio state in one line, for a log. Pure; never logs.
#pragma once

#include <string>

#include "view/snapshot.h"

namespace view {

// "LTE  band 3  channel 1850 (EARFCN)  RSRP -95 dBm  RSRQ -11 dB  SINR 12 dB  SQI 60 %  registered". What nobody told
// is left out. Two legs stand side by side: "LTE anchor band 1 + NR leg band 78  RSRP -91 dBm + -84 dBm".
std::string line_of(const snapshot &cell);

}  // namespace view
