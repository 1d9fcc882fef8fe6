// Carrier aggregation: the LTE secondary component carriers (SCCs) of the module's answer, published as seven numbered
// keys each. Writes the database itself, one transaction per carrier. Every operation catches and logs its own
// exceptions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// -999: the module did not report the value; published as it stands.
struct scc_info {
    std::int32_t band = -999;
    std::int32_t rsrp = -999;  // dBm
    std::int32_t rsrq = -999;  // dB
    std::int32_t rssi = -999;  // dBm
    std::int32_t sinr = -999;
    std::int32_t channel = -999;  // EARFCN
    std::string bw_dl = "-999";   // MHz
};

// The carriers of the last answer; records behind its count are left over from earlier ones and never published.
inline std::vector<scc_info> ca_vector;

// Six empty carriers. Called once, before the first cycle.
void init_ca_vector();

// Asks the module, publishes the carriers it reports and deletes the keys of those it does not report any longer. A
// failed exchange leaves the published keys as they are.
void save_carrier_aggregation_to_sysdb();

// Stores the answer's LTE carriers in order, at most six, and returns how many. Splits the answer in place. Logs an
// exception and passes it on.
int parse_ca_values_and_return_num_of_scc_info(char *answer);

// Publishes the first num_scc stored carriers as numbers 1 to num_scc.
void save_ca_values_to_sysdb(int num_scc);

// Deletes the keys of the carriers `first` to 6.
void clear_carrier_aggregation_values(int first);
