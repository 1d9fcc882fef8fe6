#include "wwan/network_config.h"

#include <unistd.h>

#include "base/run_flag.h"
#include "platform/config.h"

void read_network_config(Json::Value &out) {
    Json::Value value;
    while (keep_running && cmd_get_value_json("network", value) != 0) {
        sleep(1);
    }
    out = value;
}
