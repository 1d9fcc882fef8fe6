// Carrier aggregation: the LTE secondary component carriers (SCCs) of the module's answer, published as seven numbered
// keys each. Writes the database itself, one transaction per carrier. Every operation catches and logs its own
// exceptions.
#pragma once

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
