#include "modem/health_check.h"

#include <array>
#include <exception>
#include <string>

#include <json/value.h>
#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "base/json_line.h"
#include "base/target_arithmetic.h"
#include "modem/modem_port.h"
#include "modem/mqtt_results.h"

namespace {

// The functionality level of a module that needs its factory settings and a reset.
constexpr int CFUN_STUCK = 7;

bool is_stuck(int fd) {
    std::array<char, 8> level{};  // one or two digits
    return zelt_at_cmd_get_cfun(fd, level.data(), level.size()) > 0 && leading_int32(level.data()) == CFUN_STUCK;
}

}  // namespace

// An exception between open and close leaves the port open and its lock file in place; see the header.
void check_health(module_model model, mqtt_brel *mqtt) try {
    syslog(LOG_INFO, "Health check");
    if (model != MODULE_EC21 && model != MODULE_EC25) {
        return;
    }
    syslog(LOG_INFO, "Getting CFUN");
    const int fd = open_modem_port();
    if (fd < 0) {
        return;
    }
    if (is_stuck(fd)) {
        syslog(LOG_ALERT, "CFUN=7, rebooting module");
        zelt_at_cmd_restore_factory_settings(fd);
        generate_request_to_reset_cell_module(mqtt);
    }
    close_modem_port(fd);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void generate_request_to_reset_cell_module(mqtt_brel *mqtt) try {
    Json::Value request(Json::objectValue);
    request["ps"] = "zstats";
    request["req"] = "SOFT_RESET";
    request["pid"] = getpid();
    const std::string payload = json_line(request);
    syslog(LOG_NOTICE, "Sending cell module reset request %s", payload.c_str());
    mqtt->send_message(nullptr, "v1/device/zelt-man", payload.c_str());
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
