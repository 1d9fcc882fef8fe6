// One JSON value as one line of text.
#pragma once

#include <string>

#include <json/value.h>

// Compact, members in bytewise order, with the newline that consumers of the MQTT payload expect at the end.
std::string json_line(const Json::Value &value);
