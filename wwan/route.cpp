#include "wwan/route.h"

#include <array>
#include <cstdlib>
#include <exception>

#include <json/value.h>
#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "platform/device_utils.h"
#include "wwan/ipv4_settings.h"
#include "wwan/link_bringup.h"
#include "wwan/network_config.h"

namespace {

void run_post_networkd_script() {
    constexpr const char *SCRIPT = "/var/run/post_networkd_start_actions_script";
    if (!file_exists(SCRIPT)) {
        return;
    }
    sleep(5);  // let the restarted network settle first
    syslog(LOG_DEBUG, "update_route: run post networkd script");
    // A fixed path of the router, written by root only.
    [[maybe_unused]] const int status = std::system(SCRIPT);
}

void bring_link_up(const Json::Value &config) {
    calculate_bcast_and_save_to_sysdb(wwan_ipv4, wwan_netmask);
    delete_file("/tmp/fail.cnt");
    create_systemd_networkd_and_restart_networkd(config);
    wwan_link_up(config);
    run_post_networkd_script();
    route_updated = true;
}

}  // namespace

void update_route(module_model model) try {
    syslog(LOG_INFO, "Updating route");
    if (access("/dev/cdc-wdm0", F_OK) != 0) {
        return;
    }
    std::array<char, 512> settings{};  // seven lines of interest, of some 40 characters, and a few others
    const int length =
        run_qmicli_and_get_result("--wds-get-current-settings", settings.data(), static_cast<int>(settings.size()));
    syslog(LOG_DEBUG, "qmicli (len:%d):%s", length, settings.data());
    if (length < 0) {
        brelsys("/etc/init.d/cell-agent kill");
        return;
    }
    Json::Value config;
    read_network_config(config);
    write_str_to_file("/var/run/wwan_intf", "wwan0");
    parse_ipv4_info(settings.data(), config, model);
    if (!route_updated && wwan_ipv4[0] != '\0' && wwan_netmask[0] != '\0') {
        bring_link_up(config);
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
