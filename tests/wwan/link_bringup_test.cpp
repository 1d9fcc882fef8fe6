// The one-time bring-up of the link: which commands, in which order, for which configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include <json/json.h>

#include "tests/fake_platform/fake_platform.h"
#include "wwan/link_bringup.h"

namespace {

using fake::platform;
using testing::ElementsAre;
using testing::IsEmpty;

Json::Value json(const char *text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

// What the step does to the system, without the connection check in between.
std::vector<std::string> actions() {
    return fake::journal_of({"write_str_to_file", "brelsys", "check_interface_ip", "ip_link_set_interface_down",
                             "ip_link_set_interface_up", "sleep", "log notice:"});
}

TEST(networkd_step, pass_through_on_eth1_holds_the_port_down_for_its_time) {
    create_systemd_networkd_and_restart_networkd(
        json(R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":10}}}}})"));
    EXPECT_THAT(actions(),
                ElementsAre("write_str_to_file /sys/class/net/wwan0/qmi/raw_ip 1",
                            "brelsys /usr/bin/cmd_netgen wwan_apply", "check_interface_ip wwan0",
                            "brelsys /usr/bin/cmd_firewall passthrough", "brelsys /usr/bin/cmd_netgen dnsmasq",
                            "ip_link_set_interface_down eth1", "log notice: Setting ethernet link down for 10 seconds",
                            "sleep 10", "ip_link_set_interface_up eth1", "brelsys /sbin/ip route flush cache",
                            "write_str_to_file /proc/sys/net/ipv4/conf/wwan0/proxy_arp 1"));
}

TEST(networkd_step, router_mode_only_runs_the_network_generator_for_dnsmasq) {
    create_systemd_networkd_and_restart_networkd(json(R"({"wired":{"eth0":{"network":{"mode":"router"}}}})"));
    EXPECT_THAT(actions(), ElementsAre("write_str_to_file /sys/class/net/wwan0/qmi/raw_ip 1",
                                       "brelsys /usr/bin/cmd_netgen wwan_apply", "check_interface_ip wwan0",
                                       "brelsys /usr/bin/cmd_netgen dnsmasq"));
}

TEST(networkd_step, port_and_hold_time_for_every_pair_of_modes) {
    struct row {
        const char *why;
        const char *config;
        const char *port;  // null: router mode
        int held_seconds;  // 0: up again at once, without a log line
    };
    static constexpr row ROWS[] = {
        {"no modes at all: pass-through on eth0", "{}", "eth0", 0},
        {"eth1 static", R"({"wired":{"eth1":{"network":{"mode":"pass-through-static"}}}})", "eth1", 0},
        {"hold time 0 is no hold",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":0}}}}})", "eth1", 0},
        {"negative hold time is no hold",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":-3}}}}})", "eth1", 0},
        {"hold time 1 is the shortest",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":1}}}}})", "eth1", 1},
        {"hold time of the wrong type is missing",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":"9"}}}}})", "eth1", 0},
        {"eth0 auto with its time",
         R"({"wired":{"eth0":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":4}}}}})", "eth0", 4},
        {"both: the port is eth1, the time is eth0's",
         R"({"wired":{"eth0":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":7}}},
                      "eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":5}}}}})",
         "eth1", 7},
        {"both, eth0 without a time: eth1's stays",
         R"({"wired":{"eth0":{"network":{"mode":"pass-through-static"}},
                      "eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":5}}}}})",
         "eth1", 5},
        {"eth1 passes through, eth0 is a router: the last mode read decides",
         R"({"wired":{"eth0":{"network":{"mode":"router"}},
                      "eth1":{"network":{"mode":"pass-through-auto","advanced":{"link_down_time":5}}}}})",
         nullptr, 0},
        {"eth1 is a router and eth0 has no mode", R"({"wired":{"eth1":{"network":{"mode":"router"}}}})", nullptr, 0},
        {"any other mode is pass-through on eth0", R"({"wired":{"eth0":{"network":{"mode":"bridge"}}}})", "eth0", 0},
        {"a longer name than auto on eth1",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-autoX","advanced":{"link_down_time":9}}}}})", "eth0", 0},
        {"a longer name than static on eth1",
         R"({"wired":{"eth1":{"network":{"mode":"pass-through-static-2","advanced":{"link_down_time":9}}}}})", "eth0",
         0},
        {"a longer name than auto on eth0",
         R"({"wired":{"eth0":{"network":{"mode":"pass-through-automatic","advanced":{"link_down_time":9}}}}})", "eth0",
         0},
        {"a shorter name", R"({"wired":{"eth1":{"network":{"mode":"pass-through","advanced":{"link_down_time":9}}}}})",
         "eth0", 0},
        {"upper case", R"({"wired":{"eth1":{"network":{"mode":"Pass-Through-Auto"}}}})", "eth0", 0},
        {"a longer name than router", R"({"wired":{"eth0":{"network":{"mode":"router2"}}}})", "eth0", 0},
        {"router in upper case", R"({"wired":{"eth0":{"network":{"mode":"Router"}}}})", "eth0", 0},
        {"its hold time is not read",
         R"({"wired":{"eth0":{"network":{"mode":"bridge","advanced":{"link_down_time":9}}}}})", "eth0", 0},
        {"a mode of the wrong type counts as absent", R"({"wired":{"eth0":{"network":{"mode":7}}}})", "eth0", 0},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        platform().journal.clear();
        create_systemd_networkd_and_restart_networkd(json(each.config));
        if (each.port == nullptr) {
            EXPECT_THAT(fake::journal_of({"ip_link_set_interface_down"}), IsEmpty());
            continue;
        }
        EXPECT_THAT(fake::journal_of({"ip_link_set_interface_down"}),
                    ElementsAre(std::string("ip_link_set_interface_down ") + each.port));
        EXPECT_THAT(fake::journal_of({"ip_link_set_interface_up"}),
                    ElementsAre(std::string("ip_link_set_interface_up ") + each.port));
        if (each.held_seconds > 0) {
            EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep " + std::to_string(each.held_seconds)));
        } else {
            EXPECT_THAT(fake::journal_of({"sleep"}), IsEmpty());
            EXPECT_THAT(fake::journal_of({"log notice:"}), IsEmpty());
        }
    }
}

TEST(networkd_step, failing_commands_and_interfaces_do_not_stop_the_sequence) {
    platform().link_error = 19;
    platform().command_status["/usr/bin/cmd_netgen wwan_apply"] = 1;
    platform().command_status["/usr/bin/cmd_firewall passthrough"] = 127;
    fake::fail("write_str_to_file", 1);
    create_systemd_networkd_and_restart_networkd(Json::Value());
    EXPECT_EQ(actions().back(), "write_str_to_file /proc/sys/net/ipv4/conf/wwan0/proxy_arp 1");
}

TEST(networkd_step, an_exception_is_logged_and_skips_the_rest) {
    fake::before("brelsys", 2, [] { throw std::runtime_error("no shell"); });
    create_systemd_networkd_and_restart_networkd(Json::Value());
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no shell in create_systemd_networkd_and_restart_networkd");
    EXPECT_THAT(fake::journal_of({"ip_link_set_interface_down"}), IsEmpty());
}

TEST(link_up_step, without_any_configuration_only_connection_tracking_is_flushed) {
    wwan_link_up(Json::Value());
    EXPECT_THAT(platform().journal, ElementsAre("log info: WWAN link up", "brelsys /usr/sbin/conntrack -F"));
}

TEST(link_up_step, everything_enabled_runs_in_the_written_order_whatever_the_commands_return) {
    platform().command_status = {
        {"/usr/sbin/conntrack -F", 127}, {"/usr/bin/cmd_ipsec restart", 1}, {"/run/qos stop", 1}};
    platform().files["/var/run/wwan_mss_clamp"] = "";
    platform().files["/run/qos"] = "";
    platform().files["/usr/bin/wwan-up"] = "";
    wwan_link_up(json(R"({"tunnels":{"ipsec":{"enable":true}},"ddns":{"enable":true},
                          "monitoring":{"ping_proxy":{"enable":true}},"qos":{"enable":true}})"));
    const auto rule = [](const char *how) {
        return std::string("brelsys /usr/sbin/iptables -t mangle ") + how +
               " wwan0 -p tcp -m tcp --tcp-flags SYN,RST SYN -m comment --comment \"!fw3: Zone wan MTU fixing\" "
               "-j TCPMSS --clamp-mss-to-pmtu";
    };
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: WWAN link up", "brelsys /usr/sbin/conntrack -F", rule("-D FORWARD -o"),
                            rule("-D FORWARD -i"), rule("-A FORWARD -o"), rule("-A FORWARD -i"),
                            "brelsys /usr/bin/cmd_ipsec restart", "brelsys /usr/bin/cmd_ddns restart",
                            "brelsys /usr/bin/cmd_pproxy restart", "brelsys /run/qos stop", "brelsys /run/qos start",
                            "brelsys /usr/bin/wwan-up"));
}

TEST(link_up_step, each_service_hangs_on_its_own_switch) {
    struct row {
        const char *why;
        const char *config;
        const char *file;                   // exists for this row; empty: none
        std::vector<std::string> commands;  // behind the flush of connection tracking
    };
    const row rows[] = {
        {"IPsec", R"({"tunnels":{"ipsec":{"enable":true}}})", "", {"brelsys /usr/bin/cmd_ipsec restart"}},
        {"dynamic DNS", R"({"ddns":{"enable":true}})", "", {"brelsys /usr/bin/cmd_ddns restart"}},
        {"dynamic DNS switched off", R"({"ddns":{"enable":false}})", "", {}},
        {"a number is no switch", R"({"ddns":{"enable":1}})", "", {}},
        {"ping proxy", R"({"monitoring":{"ping_proxy":{"enable":true}}})", "", {"brelsys /usr/bin/cmd_pproxy restart"}},
        {"QoS without its script", R"({"qos":{"enable":true}})", "", {}},
        {"QoS with its script",
         R"({"qos":{"enable":true}})",
         "/run/qos",
         {"brelsys /run/qos stop", "brelsys /run/qos start"}},
        {"the hook alone", "{}", "/usr/bin/wwan-up", {"brelsys /usr/bin/wwan-up"}},
        {"the QoS script without its switch", "{}", "/run/qos", {}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        platform().journal.clear();
        platform().files.clear();
        platform().files[each.file] = "";
        wwan_link_up(json(each.config));
        auto commands = fake::journal_of({"brelsys"});
        ASSERT_EQ(commands.front(), "brelsys /usr/sbin/conntrack -F");
        commands.erase(commands.begin());
        EXPECT_EQ(commands, each.commands);
    }
}

TEST(link_up_step, an_exception_is_logged_and_skips_the_rest) {
    fake::before("brelsys", 1, [] { throw std::runtime_error("no shell"); });
    platform().files["/usr/bin/wwan-up"] = "";
    wwan_link_up(Json::Value());
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no shell in wwan_link_up");
    EXPECT_THAT(fake::journal_of({"brelsys"}), ElementsAre("brelsys /usr/sbin/conntrack -F"));
}

}  // namespace
