// Identification of the router board; the daemon only logs it. Nothing here logs or waits.
//
// Known of the device's library: both names. Assumed by this project: the enumerators below, and that the text has
// static storage.
#pragma once

enum pellow_dev_type : int {
    PELLOW_DEV_UNKNOWN = 0,
    PELLOW_DEV_ROUTER = 1,       // a board that names itself in its device tree
    PELLOW_DEV_WORKSTATION = 2,  // a board that names itself in its firmware tables
};

pellow_dev_type get_pellow_dev_type_as_enum();

// Never null.
const char *pellow_dev_type_enum_to_string(pellow_dev_type type);
