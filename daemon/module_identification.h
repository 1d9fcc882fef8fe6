// Which module the router carries, by its hardware description.
#pragma once

#include <string>

#include <json/value.h>

#include "platform/module_access.h"

// Reads one configuration value and logs it; 0 on success, -1 on failure or an exception, both logged
// too.
int read_config(const std::string &key, Json::Value &out);

// Waits, asking once a second, until the hardware description names a module. MODULE_UNKNOWN when the library does not
// know the name, when the daemon is stopping, or after an exception, which it logs.
module_model get_module_model_from_hw_schema(Json::Value &cfg);
