// The secondary component carriers (SCCs) of an LTE aggregation: the records of the last answer, and the seven numbered
// keys of each. Knows the database, no module. Every operation catches and logs its own exceptions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/not_reported.h"

struct scc_info {
    std::int32_t band = NOT_REPORTED;
    std::int32_t rsrp = NOT_REPORTED;  // dBm
    std::int32_t rsrq = NOT_REPORTED;  // dB
    std::int32_t rssi = NOT_REPORTED;  // dBm
    std::int32_t sinr = NOT_REPORTED;
    std::int32_t channel = NOT_REPORTED;    // EARFCN
    std::string bw_dl = NOT_REPORTED_TEXT;  // MHz
};

// Keys are numbered from 1 to this.
inline constexpr int MOST_CARRIERS = 6;

// The carriers of the last answer; records behind its count are left over from earlier ones and never published.
inline std::vector<scc_info> ca_vector;

// Six empty carriers. Called once, before the first cycle.
void init_ca_vector();

// Publishes the first num_scc records as numbers 1 to num_scc, one transaction a carrier.
void save_ca_values_to_sysdb(int num_scc);

// Deletes the keys of the carriers `first` to 6, one transaction a carrier.
void clear_carrier_aggregation_values(int first);
