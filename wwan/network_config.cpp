#include "wwan/network_config.h"

#include <exception>

#include <unistd.h>

#include "base/exception_log.h"
#include "base/run_flag.h"
#include "platform/config.h"

void read_network_config(Json::Value &out) try {
    Json::Value value;
    while (keep_running && cmd_get_value_json("network", value) != 0) {
        sleep(1);
    }
    out = value;
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
