// Network registration and roaming. Blocks for one exchange (at_exchange.h). Catches and logs its own exceptions.
#pragma once

// Whether the module was registered at the last query that told. The module library stores it during the query;
// clearing sets it to false; the main loop reads it.
inline bool cell_registered = false;

// Asks the module and publishes "CELL_REGISTERED" and "CELL_ROAMING" while it still holds the port. A failed query
// writes nothing.
void update_registration_and_roaming();
