// The main loop.
#pragma once

#include "platform/module_access.h"
#include "platform/mqtt_client.h"

// Runs cycles until the daemon is told to stop. A cycle takes its AT exchanges plus 4 s, 2 s after a new connection; a
// pause, a wait for the port or the configuration, and a link bring-up come on top.
void run_main_loop(module_model model, mqtt_brel *mqtt);
