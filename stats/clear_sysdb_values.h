// The database half of clearing: what other programs must not believe any longer is withdrawn.
#pragma once

// Resets the LTE, NR and generic signal values, zeroes registration, connection and addresses, and publishes all of it
// with any other pending value in one transaction; then deletes the carrier-aggregation keys. Cell identity, channels
// and the network type keep their last values. Logs only an exception.
void clear_sysdb_values();
