#include "daemon/module_identification.h"

#include <exception>

#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "base/json_line.h"
#include "base/run_flag.h"
#include "platform/config.h"

int read_config(const std::string &key, Json::Value &out) try {
    if (cmd_get_value_json(key.c_str(), out) != 0) {
        syslog(LOG_NOTICE, "Error reading configuration (%s)", key.c_str());
        return -1;
    }
    syslog(LOG_DEBUG, "Config:%s", json_line(out).c_str());
    return 0;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    return -1;
}

module_model get_module_model_from_hw_schema(Json::Value &cfg) try {
    while (keep_running) {
        std::string name;
        if (read_config("hardware.wireless.cell", cfg) == 0 && config_get_string(cfg, &name, "module") &&
            name != "NONE") {
            return get_module_model_from_config_string(name.c_str());
        }
        sleep(1);
    }
    return MODULE_UNKNOWN;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    return MODULE_UNKNOWN;
}
