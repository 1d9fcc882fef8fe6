// The system database as the box sees it. Silent; waits only while another program writes.
#pragma once

#include <string>

#include "host/sysdb_store.h"
#include "sim/scenario/router.h"

// As `sysdb list` prints it.
typed_value to_typed_value(const sysdb_value &value);

class box_database {
public:
    // What "CELL" holds now; empty while nothing was ever written there.
    const cell_values &cell();

    // Another program writes one key. Empty on success, else what went wrong.
    std::string write(const set_key &what);

private:
    sysdb_environment environment_;
    std::size_t seen_ = 0;  // the change counter of values_
    cell_values values_;
};
