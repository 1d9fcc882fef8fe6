// The router's configuration as the daemon uses it: the hardware description, and what a new connection makes of the
// network settings.
#include <algorithm>
#include <optional>

#include "base/run_flag.h"
#include "daemon/module_identification.h"
#include "fuzz/daemon_play.h"
#include "wwan/connection.h"
#include "wwan/ipv4_settings.h"
#include "wwan/route.h"

namespace {

void prepare(fuzz_input input) {
    auto &platform = fake::platform();
    platform.whole_config = bytes_of(input);
    for (const char *path : {"/dev/cdc-wdm0", "/run/qos", "/usr/bin/wwan-up", "/var/run/wwan_mss_clamp"}) {
        platform.files[path] = "";
    }
    platform.qmicli = {0, "IPv4 address: 10.1.2.3\nIPv4 subnet mask: 255.255.255.0\nMTU: 1400\n"};
    fake::before("sleep", 3, [] { keep_running = false; });  // nobody else ends the wait for a good configuration
    keep_running = true;
    route_updated = false;
    wwan_ipv4[0] = '\0';
    wwan_netmask[0] = '\0';
}

module_model model = MODULE_UNKNOWN;

void run() {
    Json::Value hardware;
    model = get_module_model_from_hw_schema(hardware);
    update_route(MODULE_EC25);
}

bool is_command(const std::string &line) {
    static constexpr std::array<std::string_view, 12> BEGINNINGS{"brelsys /usr/bin/cmd_netgen wwan_apply",
                                                                 "brelsys /usr/bin/cmd_netgen dnsmasq",
                                                                 "brelsys /usr/bin/cmd_firewall passthrough",
                                                                 "brelsys /sbin/ip route flush cache",
                                                                 "brelsys /usr/sbin/conntrack -F",
                                                                 "brelsys /usr/sbin/iptables -t mangle -",
                                                                 "brelsys /usr/bin/cmd_ipsec restart",
                                                                 "brelsys /usr/bin/cmd_ddns restart",
                                                                 "brelsys /usr/bin/cmd_pproxy restart",
                                                                 "brelsys /run/qos st",
                                                                 "brelsys /usr/bin/wwan-up",
                                                                 "brelsys /etc/init.d/cell-agent kill"};
    return std::ranges::any_of(BEGINNINGS, [&line](std::string_view each) { return line.starts_with(each); });
}

void check(fuzz_input) {
    for (const std::string &line : fake::journal_of({"brelsys"})) {
        require(is_command(line), "no text of the configuration reaches a shell: ", line);
    }
    const auto down = fake::journal_of({"ip_link_set_interface_down"});
    const auto up = fake::journal_of({"ip_link_set_interface_up"});
    require(down.size() == up.size() && down.size() <= 1, "a port that is taken down comes up");
    require(down.empty() || up.front() == "ip_link_set_interface_up" + down.front().substr(down.front().find(' ')),
            "the same port");
    const std::string mtu = fake::platform().files["/var/run/wwan_mtu"];
    require(mtu.empty() || std::strtol(mtu.c_str(), nullptr, 10) > 0, "a positive MTU: ", mtu);
    require(!route_updated || fake::cell("CELL_BCAST") == "string 10.1.2.255", "the broadcast address");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check});
    return 0;
}
