#include "wwan/link_bringup.h"

#include <exception>
#include <string>

#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "platform/config.h"
#include "platform/device_utils.h"
#include "wwan/connection.h"

namespace {

struct lan_settings {
    std::string mode;                        // the last LAN mode that could be read; empty without any
    const char *passthrough_iface = "eth0";  // the port that is taken down and up
    int link_down_seconds = -1;              // how long it is held down
};

bool is_passthrough(const std::string &mode) {
    return mode == "pass-through-auto" || mode == "pass-through-static";
}

// With both ports in a pass-through mode the port stays "eth1" while the hold time of "eth0", if set, wins.
lan_settings read_lan_settings(const Json::Value &config) {
    lan_settings lan;
    if (config_get_string(config, &lan.mode, "wired.eth1.network.mode") && is_passthrough(lan.mode)) {
        lan.passthrough_iface = "eth1";
        config_get_int(config, &lan.link_down_seconds, "wired.eth1.network.advanced.link_down_time");
    }
    if (config_get_string(config, &lan.mode, "wired.eth0.network.mode") && is_passthrough(lan.mode)) {
        config_get_int(config, &lan.link_down_seconds, "wired.eth0.network.advanced.link_down_time");
    }
    return lan;
}

// Devices behind the port notice the lost carrier and ask for an address again.
void bounce_port(const lan_settings &lan) {
    ip_link_set_interface_down(lan.passthrough_iface);
    if (lan.link_down_seconds > 0) {
        syslog(LOG_NOTICE, "Setting ethernet link down for %d seconds", lan.link_down_seconds);
        sleep(static_cast<unsigned int>(lan.link_down_seconds));
    }
    ip_link_set_interface_up(lan.passthrough_iface);
}

bool is_enabled(const Json::Value &config, const char *key) {
    bool enabled = false;
    return config_get_bool(config, &enabled, key) && enabled;
}

// Deleting before adding leaves one copy of each rule, however often the sequence runs.
void install_mss_clamping() {
    brelsys("/usr/sbin/iptables -t mangle -D FORWARD -o wwan0 -p tcp -m tcp --tcp-flags SYN,RST SYN "
            "-m comment --comment \"!fw3: Zone wan MTU fixing\" -j TCPMSS --clamp-mss-to-pmtu");
    brelsys("/usr/sbin/iptables -t mangle -D FORWARD -i wwan0 -p tcp -m tcp --tcp-flags SYN,RST SYN "
            "-m comment --comment \"!fw3: Zone wan MTU fixing\" -j TCPMSS --clamp-mss-to-pmtu");
    brelsys("/usr/sbin/iptables -t mangle -A FORWARD -o wwan0 -p tcp -m tcp --tcp-flags SYN,RST SYN "
            "-m comment --comment \"!fw3: Zone wan MTU fixing\" -j TCPMSS --clamp-mss-to-pmtu");
    brelsys("/usr/sbin/iptables -t mangle -A FORWARD -i wwan0 -p tcp -m tcp --tcp-flags SYN,RST SYN "
            "-m comment --comment \"!fw3: Zone wan MTU fixing\" -j TCPMSS --clamp-mss-to-pmtu");
}

}  // namespace

void create_systemd_networkd_and_restart_networkd(const Json::Value &config) try {
    const lan_settings lan = read_lan_settings(config);
    write_str_to_file("/sys/class/net/wwan0/qmi/raw_ip", "1");
    brelsys("/usr/bin/cmd_netgen wwan_apply");
    check_connection();
    if (lan.mode == "router") {
        brelsys("/usr/bin/cmd_netgen dnsmasq");
        return;
    }
    // Any other mode, none at all included, is pass-through.
    brelsys("/usr/bin/cmd_firewall passthrough");
    brelsys("/usr/bin/cmd_netgen dnsmasq");
    bounce_port(lan);
    brelsys("/sbin/ip route flush cache");
    write_str_to_file("/proc/sys/net/ipv4/conf/wwan0/proxy_arp", "1");
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void wwan_link_up(const Json::Value &config) try {
    syslog(LOG_INFO, "WWAN link up");
    brelsys("/usr/sbin/conntrack -F");
    if (access("/var/run/wwan_mss_clamp", F_OK) == 0) {
        install_mss_clamping();
    }
    if (is_enabled(config, "tunnels.ipsec.enable")) {
        brelsys("/usr/bin/cmd_ipsec restart");
    }
    if (is_enabled(config, "ddns.enable")) {
        brelsys("/usr/bin/cmd_ddns restart");
    }
    if (is_enabled(config, "monitoring.ping_proxy.enable")) {
        brelsys("/usr/bin/cmd_pproxy restart");
    }
    if (is_enabled(config, "qos.enable") && file_exists("/run/qos")) {
        brelsys("%s stop", "/run/qos");
        brelsys("%s start", "/run/qos");
    }
    if (file_exists("/usr/bin/wwan-up")) {
        brelsys("%s", "/usr/bin/wwan-up");
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
