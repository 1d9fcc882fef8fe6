#include "daemon/zelt_stats.h"

#include <exception>
#include <memory>
#include <optional>

#include <json/value.h>
#include <syslog.h>

#include "base/run_flag.h"
#include "daemon/main_loop.h"
#include "daemon/module_identification.h"
#include "daemon/options.h"
#include "daemon/run_control.h"
#include "daemon/signals.h"
#include "platform/board.h"
#include "platform/device_utils.h"
#include "platform/mqtt_client.h"
#include "stats/carriers.h"

namespace {

constexpr const char *PID_FILE = "/var/run/zelt-stats.pid";

// MODULE_UNKNOWN when the daemon is not to run; the pid file is gone then.
module_model identify_module(module_model given, Json::Value &cfg) {
    const module_model model = given != MODULE_UNKNOWN ? given : get_module_model_from_hw_schema(cfg);
    if (keep_running && model != MODULE_UNKNOWN) {
        return model;
    }
    if (keep_running) {
        syslog(LOG_ALERT, "Module model is unknown, quitting");
    }
    delete_file(PID_FILE);
    return MODULE_UNKNOWN;
}

void run(const daemon_options &options, Json::Value &cfg) {
    openlog("cell", 0, LOG_LOCAL0);
    syslog(LOG_ALERT, "Zelt Stats starting");
    init_ca_vector();
    clear_values();
    create_pidfile(PID_FILE);
    const module_model model = identify_module(options.model, cfg);
    if (model == MODULE_UNKNOWN) {
        return;
    }
    syslog(LOG_DEBUG, "Device model:%s", pellow_dev_type_enum_to_string(get_pellow_dev_type_as_enum()));
    // Not earlier: while the hardware description names no module, a stop signal ends the process by itself.
    install_signal_handler();
    const auto mqtt = std::make_unique<mqtt_brel>("zstats", "127.0.0.1", 1883, true);
    mqtt->start_mqtt_connection();
    run_main_loop(model, mqtt.get());
    // The pid file stays: its reader asks whether the process lives.
}

}  // namespace

int zelt_stats(int argc, char **argv) {
    Json::Value cfg;
    try {
        if (const std::optional<daemon_options> options = parse_options(argc, argv)) {
            run(*options, cfg);
        }
    } catch (const std::exception &e) {
        syslog(LOG_ALERT, "exception: %s", e.what());
    }
    return 0;
}
