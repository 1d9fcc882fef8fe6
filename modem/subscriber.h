// Operator and subscriber: each operation asks the module one thing (blocks for one exchange) and publishes the answer
// as one key while it still holds the port. An empty or failed answer keeps the key's previous value. Each catches and
// logs its own exceptions.
#pragma once

void save_carrier_name_to_sysdb();  // "CELL_CARRIER", at most 63 characters
void save_imsi_to_sysdb();          // "CELL_IMSI", at most 31 characters
void save_mdn_to_sysdb();           // "CELL_MDN", the directory number, at most 31 characters
