#include "platform/config.h"

int cmd_get_value_json(const char *, Json::Value &) {
    return -1;
}

bool config_get_string(const Json::Value &, std::string *, const std::string &) {
    return false;
}

bool config_get_int(const Json::Value &, int *, const std::string &) {
    return false;
}

bool config_get_bool(const Json::Value &, bool *, const std::string &) {
    return false;
}
