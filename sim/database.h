// The system database as the box sees it. Silent; waits only while another program writes.
#pragma once

#include <string>

#include "sim/scenario/router.h"
#include "store/reader.h"
#include "view/port.h"

typed_value to_typed_value(const sysdb_value &value);

class box_database {
public:
    // What "CELL" holds now; empty while nothing was ever written there.
    const cell_values &cell();

    // The same with the types and values of the database.
    const sysdb_values &stored();

    // How the daemon's platform says that the module's port fares.
    view::port_report port();

    // Another program writes one key. Empty on success, else what went wrong.
    std::string write(const set_key &what);

private:
    sysdb_reader reader_{sysdb_folder(), "CELL", view::PLATFORM_DATABASE};
    cell_values values_;
    sysdb_values stored_;
};
