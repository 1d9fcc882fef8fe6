#include "wwan/ipv4_settings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include <syslog.h>

#include "base/exception_log.h"
#include "base/target_arithmetic.h"
#include "platform/config.h"
#include "platform/device_utils.h"
#include "platform/sysdb.h"

namespace {

//            IP Family: IPv4
//         IPv4 address: 10.129.39.207
//     IPv4 subnet mask: 255.255.255.224
// IPv4 gateway address: 10.129.39.208
//     IPv4 primary DNS: 172.17.163.218
//   IPv4 secondary DNS: 172.17.167.218
//                  MTU: 1500
constexpr std::string_view IPV4_LABEL = "IPv4 address: ";
constexpr std::string_view MASK_LABEL = "IPv4 subnet mask: ";
constexpr std::string_view GATEWAY_LABEL = "IPv4 gateway address: ";
constexpr std::string_view MTU_LABEL = "MTU: ";
constexpr std::string_view DNS1_LABEL = "IPv4 primary DNS: ";
constexpr std::string_view DNS2_LABEL = "IPv4 secondary DNS: ";

struct settings_context {
    const Json::Value &config;
    module_model model;
};

struct label_handler {
    std::string_view label;
    void (*handle)(const char *line, const settings_context &context);
};

constexpr std::array<label_handler, 6> LABEL_HANDLERS{{
    {IPV4_LABEL, [](const char *line, const settings_context &) { parse_ipv4(line); }},
    {MASK_LABEL, [](const char *line, const settings_context &) { parse_mask(line); }},
    {GATEWAY_LABEL, [](const char *line, const settings_context &) { parse_gateway(line); }},
    {MTU_LABEL,
     [](const char *line, const settings_context &context) { parse_mtu(line, context.config, context.model); }},
    {DNS1_LABEL, [](const char *line, const settings_context &) { parse_dns1(line); }},
    {DNS2_LABEL, [](const char *line, const settings_context &) { parse_dns2(line); }},
}};

void withdraw(const char *key) {
    syslog(LOG_DEBUG, "Invalid entry, deleting %s", key);
    sysdb_namedb_del(nullptr, "CELL", key);
}

void publish(const char *key, const char *value) {
    syslog(LOG_DEBUG, "Updating %s with %s", key, value);
    sysdb_namedb_write_str(nullptr, "CELL", key, value, 0);
}

int chosen_mtu(const char *line, const Json::Value &config, module_model model) {
    constexpr int FALLBACK_MTU = 1428;  // when neither the module nor the configuration gives one
    constexpr int RM52X_MTU = 1500;     // whatever is reported or configured
    bool overridden = false;
    int configured = -1;
    const bool use_configured = config_get_bool(config, &overridden, "wireless.cell.mtu_override") && overridden &&
                                config_get_int(config, &configured, "wireless.cell.mtu") && configured >= 0;
    const int candidate = use_configured ? configured : leading_int32(line + MTU_LABEL.size());
    if (model == MODULE_RM52X) {
        return RM52X_MTU;
    }
    return candidate > 0 ? candidate : FALLBACK_MTU;
}

}  // namespace

void parse_ipv4_info(char *text, const Json::Value &config, module_model model) try {
    delete_wwan_files();
    delete_wwan_sysdb_keys();

    const settings_context context{config, model};
    std::array<bool, LABEL_HANDLERS.size()> matched{};
    char *state = nullptr;
    for (const char *line = strtok_consecutive_r(text, "\r\n", &state); line != nullptr;
         line = strtok_consecutive_r(nullptr, "\r\n", &state)) {
        for (std::size_t i = 0; i < LABEL_HANDLERS.size(); ++i) {
            const char *found = matched.at(i) ? nullptr : std::strstr(line, LABEL_HANDLERS.at(i).label.data());
            if (found != nullptr) {
                matched.at(i) = true;
                LABEL_HANDLERS.at(i).handle(found, context);
            }
        }
        if (std::ranges::all_of(matched, std::identity{})) {
            return;
        }
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_ipv4(const char *line) try {
    parse_ipv4_type_string(line + IPV4_LABEL.size(), "CELL_IPV4", "/var/run/wwan_ipv4", wwan_ipv4, sizeof wwan_ipv4);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_mask(const char *line) try {
    parse_ipv4_type_string(line + MASK_LABEL.size(), "CELL_MASK", "/var/run/wwan_netmask", wwan_netmask,
                           sizeof wwan_netmask);
    const int prefix_length = netmask_to_cidr(wwan_netmask);
    syslog(LOG_DEBUG, "CIDR (%d) from netmask (%s)", prefix_length, wwan_netmask);
    write_str_to_file("/var/run/wwan_cidr", std::to_string(prefix_length).c_str());
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_gateway(const char *line) try {
    std::array<char, 16> gateway{};
    parse_ipv4_type_string(line + GATEWAY_LABEL.size(), "CELL_GATEWAY", "/var/run/wwan_gw", gateway.data(),
                           static_cast<int>(gateway.size()));
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_mtu(const char *line, const Json::Value &config, module_model model) try {
    const int mtu = chosen_mtu(line, config, model);
    syslog(LOG_DEBUG, "Using MTU:%d", mtu);
    write_str_to_file("/var/run/wwan_mtu", std::to_string(mtu).c_str());
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_dns1(const char *line) try {
    parse_dns_type_string(line + DNS1_LABEL.size(), "CELL_PRIMARY_DNS", "/var/run/wwan_dns1");
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_dns2(const char *line) try {
    parse_dns_type_string(line + DNS2_LABEL.size(), "CELL_SECONDARY_DNS", "/var/run/wwan_dns2");
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_ipv4_type_string(const char *value, const char *key, const char *path, char *dest, int size) try {
    constexpr std::size_t SHORTEST_DOTTED_QUAD = 7;  // "1.1.1.1"
    const std::string_view text(value);
    if (text.size() < SHORTEST_DOTTED_QUAD) {
        dest[0] = '\0';
        withdraw(key);
    } else {
        std::memset(dest, '\0', static_cast<std::size_t>(size));
        text.copy(dest, static_cast<std::size_t>(size) - 1);
        publish(key, dest);
    }
    write_str_to_file(path, dest);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

// No length check, no copy and no cut, unlike addresses: name servers go to their consumers as the network gave them.
void parse_dns_type_string(const char *value, const char *key, const char *path) try {
    if (*value == '\0') {
        withdraw(key);
    } else {
        publish(key, value);
    }
    write_str_to_file(path, value);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void calculate_bcast_and_save_to_sysdb(const char *ipv4, const char *mask) try {
    calculate_bcast_from_ipv4_and_mask(ipv4, mask, wwan_bcast);
    sysdb_namedb_write_str(nullptr, "CELL", "CELL_BCAST", wwan_bcast, 0);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void delete_wwan_files() try {
    for (const char *path : {"/var/run/wwan_ipv4", "/var/run/wwan_netmask", "/var/run/wwan_gw", "/var/run/wwan_mtu",
                             "/var/run/wwan_dns1", "/var/run/wwan_dns2"}) {
        delete_file(path);
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void delete_wwan_sysdb_keys() try {
    for (const char *key : {"CELL_IPV4", "CELL_MASK", "CELL_GATEWAY", "CELL_PRIMARY_DNS", "CELL_SECONDARY_DNS"}) {
        sysdb_namedb_del(nullptr, "CELL", key);
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
