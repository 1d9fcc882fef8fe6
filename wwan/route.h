// The route update: what the daemon does about a new data connection.
#pragma once

#include "platform/module_access.h"

// The one-time link bring-up has completed. Only clearing sets it back.
inline bool route_updated = false;

// Reads the connection's settings with the QMI tool, refreshes files and keys, and brings the link up the first time
// that both address and mask are known. Waits for the configuration store. Catches and logs its own exceptions; an
// exception that escapes the steps of the bring-up (which catch their own) leaves route_updated unset, so that the next
// call tries all of it again.
void update_route(module_model model);
