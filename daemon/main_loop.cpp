#include "daemon/main_loop.h"

#include <syslog.h>
#include <unistd.h>

#include "base/run_flag.h"
#include "daemon/at_queries.h"
#include "daemon/run_control.h"
#include "modem/health_check.h"
#include "modem/registration.h"
#include "platform/device_utils.h"
#include "stats/summary_line.h"
#include "wwan/connection.h"
#include "wwan/ipv4_settings.h"
#include "wwan/route.h"

namespace {

constexpr const char *NEW_CONNECTION_FILE = "/tmp/new_connection";

struct cycle_state {
    bool at_result = false;           // the module's device node exists
    unsigned int health_counter = 0;  // cycles with the module since the last health check
};

// True when a new connection was announced and the module is registered; the announcement is then consumed.
bool take_new_connection() {
    if (!cell_registered || access(NEW_CONNECTION_FILE, F_OK) != 0) {
        return false;
    }
    delete_file(NEW_CONNECTION_FILE);
    return true;
}

void run_cycle(module_model model, mqtt_brel *mqtt, cycle_state &state) {
    constexpr unsigned int HEALTH_CHECK_CYCLES = 20;  // some 90 s: a stuck module stays so for ever, and a query costs
                                                      // the port's other users a wait

    chk_idle_blocking();
    if (!keep_running) {
        return;
    }
    check_if_need_to_clear_values(false);
    at_queries(model, &state.at_result, &state.health_counter);
    update_rssimon_sysdb_values();
    int sleep_seconds = 4;  // signal values hardly change faster, and the port's other users get their turn
    if (take_new_connection()) {
        update_route(model);
        sleep_seconds = 2;  // show the new connection sooner
    }
    check_connection();
    if (state.health_counter >= HEALTH_CHECK_CYCLES) {
        check_health(model, mqtt);
        state.health_counter = 0;
    }
    syslog(LOG_DEBUG, "ATRES:%u,IP:%u,IPV4:%s,MASK:%s,BCAST:%s,SLEEP:%d", state.at_result ? 1U : 0U,
           route_updated ? 1U : 0U, wwan_ipv4, wwan_netmask, wwan_bcast, sleep_seconds);
    sleep(static_cast<unsigned int>(sleep_seconds));
}

}  // namespace

void run_main_loop(module_model model, mqtt_brel *mqtt) {
    cycle_state state;
    while (keep_running) {
        run_cycle(model, mqtt, state);
    }
}
