// What the MQTT client's result codes mean, for logs and people. The reset request itself is sent without asking for a
// result.
#pragma once

#include <map>
#include <string>

#include "platform/mqtt_client.h"

inline const std::map<BREL_MQTT_RC, std::string> MQTT_RESULT_TEXTS{
    {BREL_MQTT_SUCCESS, "Request successful"},
    {BREL_MQTT_BAD_REQUEST, "Error sending request, check the topic and payload format"},
    {BREL_MQTT_UNSUCCESSFUL, "Request unsuccessful"},
    {BREL_MQTT_BUSY, "Service is busy, try again later"},
};
