#include "daemon/at_queries.h"

#include <exception>

#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "daemon/run_control.h"
#include "decode/carrier_aggregation.h"
#include "decode/serving_cell.h"
#include "modem/modem_port.h"
#include "modem/registration.h"
#include "modem/subscriber.h"
#include "platform/device_utils.h"
#include "stats/cell_stats_map.h"
#include "wwan/connection.h"

namespace {

// 0: operator, IMSI and MDN are asked for in this cycle; 1: not. Alternates while the module is present.
int subscriber_toggle = 0;

void handle_missing_module(bool *at_result, unsigned int *health_counter) {
    // Whoever held the port has lost it with the device; nobody else would remove a lock left behind.
    delete_file(MODEM_LOCK_FILE);
    subscriber_toggle = 0;
    if (*at_result) {
        *at_result = false;
        clear_values();
        *health_counter = 0;
    }
}

}  // namespace

void at_queries(module_model model, bool *at_result, unsigned int *health_counter) try {
    syslog(LOG_INFO, "Performing AT queries");
    if (cell_new_connection) {
        cell_new_connection = false;
        subscriber_toggle = 0;
    }
    if (access(MODEM_DEVICE, F_OK) != 0) {
        handle_missing_module(at_result, health_counter);
        return;
    }
    *at_result = true;
    ++*health_counter;

    update_registration_and_roaming();
    if (model == MODULE_RM50X || model == MODULE_RM52X) {
        parse_rm5XX_stats();
    } else {
        parse_4g_module_stats();
    }
    save_cell_stats_map_to_sysdb();
    if (subscriber_toggle == 0) {
        save_carrier_name_to_sysdb();
        save_imsi_to_sysdb();
        save_mdn_to_sysdb();
    }
    subscriber_toggle = (subscriber_toggle + 1) % 2;
    save_carrier_aggregation_to_sysdb();
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
