#include "daemon/run_control.h"

#include <exception>

#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "base/run_flag.h"
#include "modem/registration.h"
#include "platform/device_utils.h"
#include "stats/clear_sysdb_values.h"
#include "stats/summary_line.h"
#include "wwan/connection.h"
#include "wwan/ipv4_settings.h"
#include "wwan/route.h"

namespace {

constexpr const char *RUN_PERMISSION_FILE = "/tmp/zstats.running";
constexpr const char *CLEAR_REQUEST_FILE = "/tmp/zstats.clear";

void reset_link_state() {
    wwan_ipv4[0] = '\0';
    wwan_netmask[0] = '\0';
    wwan_bcast[0] = '\0';
    route_updated = false;
    cell_registered = false;
    cell_connected = 0;
}

}  // namespace

void clear_values() {
    syslog(LOG_ALERT, "zelt-stats clearing values");
    brelsys("/usr/bin/cmd_netgen WWAN_RESET");
    if (const int error = ip_link_set_interface_down("wwan0"); error != 0) {
        syslog(LOG_NOTICE, "Error bringing wwan0 down:%d", error);
    }
    if (const int status = brelsys("/usr/bin/cmd_ddns stop"); status != 0) {
        syslog(LOG_NOTICE, "Error running cmd_ddns stop:%d", status);
    }
    reset_link_state();
    clear_sysdb_values();
    update_event_log();
}

void check_if_need_to_clear_values(bool force) try {
    if (!force) {
        if (access(CLEAR_REQUEST_FILE, F_OK) != 0) {
            return;
        }
        syslog(LOG_ALERT, "Zelt Stats received request to clear stats");
    }
    delete_file(CLEAR_REQUEST_FILE);
    clear_values();
    update_rssimon_sysdb_values();
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void chk_idle_blocking() try {
    bool first_pass = true;
    while (keep_running) {
        if (access(RUN_PERMISSION_FILE, F_OK) == 0) {
            return;
        }
        check_if_need_to_clear_values(first_pass);
        update_event_log();
        syslog(LOG_DEBUG, "Idling waiting for zstats to continue to run");
        first_pass = false;
        sleep(3);  // the longest that resuming, a clear request or a stop may take
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
