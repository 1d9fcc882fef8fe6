// The health check: a module stuck in functionality level 7 is restored to factory settings, and its reset is requested
// over MQTT. Both operations catch and log their own exceptions.
#pragma once

#include "platform/module_access.h"
#include "platform/mqtt_client.h"

// When the module library throws, the port stays open and locked: the next exchange then waits until somebody removes
// the lock file, or the daemon stops.
//
// Holds the port for the whole check, the MQTT request included, and blocks as long: on the port's lock, on two
// exchanges, and on the broker, for which the client has limits of its own. Only for the models that have the fault (2
// and 3).
void check_health(module_model model, mqtt_brel *mqtt);

// Fire and forget: the outcome is neither read nor logged. Blocks until the client has sent it or given up.
void generate_request_to_reset_cell_module(mqtt_brel *mqtt);
