// The main loop.
#pragma once

#include "platform/module_access.h"
#include "platform/mqtt_client.h"

// Runs cycles until the daemon is told to stop. Stays in a cycle for the AT exchanges plus 4 s, 2 s after a new
// connection.
void run_main_loop(module_model model, mqtt_brel *mqtt);
