// The router's configuration store, read by dotted path. Nothing here logs or waits.
//
// Known of the device's library: the names, the arguments, 0 from cmd_get_value_json = success, true from the
// readers = the key exists and the output is set.
// Assumed by this project: a path that names nothing is a question answered, with null; a key whose value has another
// JSON type counts as absent; a number with a fraction or an exponent, 1.0 too, is no integer, nor is one that an int
// cannot hold.
#pragma once

#include <string>

#include <json/value.h>

// Fetches a configuration subtree: null, in which no key exists, when the path names nothing. 0 on success; non-zero
// when the store cannot answer yet, with `out` left as it was.
int cmd_get_value_json(const char *path, Json::Value &out);

// Read one value below `config` by a dotted key such as "wireless.cell.mtu". True when it exists and has the type;
// otherwise false, with the output left as it was.
bool config_get_string(const Json::Value &config, std::string *out, const std::string &dotted_key);
bool config_get_int(const Json::Value &config, int *out, const std::string &dotted_key);
bool config_get_bool(const Json::Value &config, bool *out, const std::string &dotted_key);
