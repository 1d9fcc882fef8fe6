// The AT query cycle: everything that the module is asked in one cycle of the main loop.
#pragma once

#include "platform/module_access.h"

// Runs one cycle. Blocks on each of its exchanges in turn, as at_exchange.h says, and on other writers of the database.
// *at_result becomes whether the module's device node exists; *health_counter counts the cycles in
// which it did and restarts at 0 when it vanishes, which also clears the published values once. Catches and logs its
// exceptions; the rest of the cycle is then skipped.
void at_queries(module_model model, bool *at_result, unsigned int *health_counter);
