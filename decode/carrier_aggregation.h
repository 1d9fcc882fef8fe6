// The carrier-aggregation query and the decoding of its answer: the LTE secondary component carriers (SCCs).
#pragma once

// Asks the module (blocks for one exchange), publishes the carriers it reports and deletes the keys of those it does
// not report any longer. A failed exchange leaves the published keys as they are. Catches and logs its own exceptions.
void save_carrier_aggregation_to_sysdb();

// Stores the answer's LTE carriers in order, at most six, and returns how many. Splits the answer in place. Logs an
// exception and passes it on.
int parse_ca_values_and_return_num_of_scc_info(char *answer);
