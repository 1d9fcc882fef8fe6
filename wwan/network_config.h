// The router's "network" configuration, which decides the MTU and the link bring-up.
#pragma once

#include <json/value.h>

// Waits, asking once a second, until the configuration store answers; a null value when the daemon stops first.
// Catches and logs its own exceptions; `out` is left as it was then.
void read_network_config(Json::Value &out);
