// The route update: when the tool is asked, when the link is brought up, and what a failure leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "base/run_flag.h"
#include "tests/fake_platform/fake_platform.h"
#include "wwan/ipv4_settings.h"
#include "wwan/network_config.h"
#include "wwan/route.h"

namespace {

using fake::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class route_update : public testing::Test {
protected:
    route_update() {
        const std::string settings = "IPv4 address: 10.1.2.1\nIPv4 subnet mask: 255.255.255.252\nMTU: 1400\n";
        platform().files["/dev/cdc-wdm0"] = "";
        platform().qmicli = {static_cast<int>(settings.size()), settings};
        platform().config["network"] = R"({"wired":{"eth0":{"network":{"mode":"router"}}}})";
    }

    static void update(module_model model = MODULE_EC25) {
        platform().journal.clear();
        update_route(model);
    }
};

TEST_F(route_update, a_first_connection_brings_the_link_up_once) {
    update();
    EXPECT_THAT(fake::journal_of({"run_qmicli_and_get_result", "cmd_get_value_json", "brelsys",
                                  "sysdb_namedb_write_str", "sleep", "system", "delete_file /tmp/fail.cnt",
                                  "write_str_to_file /var/run/wwan_intf", "log info:"}),
                ElementsAre("log info: Updating route", "run_qmicli_and_get_result --wds-get-current-settings 512",
                            "cmd_get_value_json network", "write_str_to_file /var/run/wwan_intf wwan0",
                            "sysdb_namedb_write_str CELL CELL_IPV4 string 10.1.2.1",
                            "sysdb_namedb_write_str CELL CELL_MASK string 255.255.255.252",
                            "sysdb_namedb_write_str CELL CELL_BCAST string 10.1.2.3", "delete_file /tmp/fail.cnt",
                            "brelsys /usr/bin/cmd_netgen wwan_apply", "brelsys /usr/bin/cmd_netgen dnsmasq",
                            "log info: WWAN link up", "brelsys /usr/sbin/conntrack -F"));
    EXPECT_EQ(platform().files["/var/run/wwan_intf"], "wwan0");
    EXPECT_TRUE(route_updated);
}

TEST_F(route_update, logs_the_tools_answer_with_its_length) {
    update();
    EXPECT_THAT(fake::log_lines(), Contains("info: Updating route"));
    EXPECT_THAT(
        fake::log_lines(),
        Contains("debug: qmicli (len:67):IPv4 address: 10.1.2.1\nIPv4 subnet mask: 255.255.255.252\nMTU: 1400\n"));
}

TEST_F(route_update, configuration_and_model_decide_the_mtu) {
    struct row {
        const char *why;
        const char *config;
        module_model model;
        const char *mtu;
    };
    static constexpr const char *OVERRIDDEN = R"({"wireless":{"cell":{"mtu_override":true,"mtu":1300}}})";
    static constexpr row ROWS[] = {
        {"the module's", "{}", MODULE_EC25, "1400"},
        {"the configured one", OVERRIDDEN, MODULE_EC25, "1300"},
        {"one model less has no MTU of its own", OVERRIDDEN, MODULE_RM50X, "1300"},
        {"has its own", OVERRIDDEN, MODULE_RM52X, "1500"},
        {"one model more has not", OVERRIDDEN, static_cast<module_model>(7), "1300"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        platform().config["network"] = each.config;
        update(each.model);
        EXPECT_EQ(platform().files["/var/run/wwan_mtu"], each.mtu);
    }
}

TEST_F(route_update, both_steps_of_the_bring_up_get_the_configuration) {
    platform().config["network"] = R"({"wired":{"eth1":{"network":{"mode":"pass-through-auto"}}},
                                       "ddns":{"enable":true}})";
    update();
    EXPECT_THAT(fake::journal_of({"brelsys", "ip_link_set_interface_down"}),
                ElementsAre("brelsys /usr/bin/cmd_netgen wwan_apply", "brelsys /usr/bin/cmd_firewall passthrough",
                            "brelsys /usr/bin/cmd_netgen dnsmasq", "ip_link_set_interface_down eth1",
                            "brelsys /sbin/ip route flush cache", "brelsys /usr/sbin/conntrack -F",
                            "brelsys /usr/bin/cmd_ddns restart"));
}

TEST_F(route_update, a_second_call_refreshes_files_and_keys_without_bringing_the_link_up_again) {
    update();
    platform().qmicli.text = "IPv4 address: 10.9.9.9\nIPv4 subnet mask: 255.255.255.0\n";
    update();
    EXPECT_EQ(fake::cell("CELL_IPV4"), "string 10.9.9.9");
    EXPECT_EQ(platform().files["/var/run/wwan_ipv4"], "10.9.9.9");
    EXPECT_EQ(fake::cell("CELL_BCAST"), "string 10.1.2.3");
    EXPECT_THAT(fake::journal_of({"brelsys"}), IsEmpty());
}

TEST_F(route_update, a_missing_control_device_changes_nothing_at_all) {
    platform().files.erase("/dev/cdc-wdm0");
    update();
    EXPECT_THAT(platform().journal, ElementsAre("log info: Updating route"));
    EXPECT_FALSE(platform().files.contains("/var/run/wwan_intf"));
}

TEST_F(route_update, a_failed_tool_makes_the_cell_agent_restart_and_leaves_files_and_flags) {
    platform().files["/var/run/wwan_ipv4"] = "10.1.1.1";
    platform().qmicli = {-1, ""};
    update();
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: Updating route", "run_qmicli_and_get_result --wds-get-current-settings 512",
                            "log debug: qmicli (len:-1):", "brelsys /etc/init.d/cell-agent kill"));
    EXPECT_EQ(platform().files["/var/run/wwan_ipv4"], "10.1.1.1");
    EXPECT_FALSE(route_updated);
}

TEST_F(route_update, an_empty_answer_is_no_failure) {
    platform().qmicli = {0, ""};
    update();
    EXPECT_EQ(platform().files["/var/run/wwan_intf"], "wwan0");
    EXPECT_THAT(fake::journal_of({"brelsys"}), IsEmpty());
    EXPECT_FALSE(route_updated);
}

TEST_F(route_update, waits_for_the_configuration_store_once_a_second) {
    const std::string config = platform().config["network"];
    platform().config.clear();
    fake::before("sleep", 3, [config] { platform().config["network"] = config; });
    update();
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 1", "sleep 1", "sleep 1"));
    EXPECT_TRUE(route_updated);
}

TEST_F(route_update, a_stop_ends_the_wait_for_the_configuration_store) {
    for (const int failure : {-1, 1}) {
        SCOPED_TRACE(failure);
        platform().failure = failure;
        platform().config.clear();
        platform().journal.clear();
        keep_running = true;
        fake::before("sleep", 2, [] { keep_running = false; });
        Json::Value config("left from before");
        read_network_config(config);
        EXPECT_TRUE(config.isNull());
        EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 1", "sleep 1"));
    }
}

TEST_F(route_update, a_stop_in_the_wait_goes_on_without_a_configuration) {
    platform().config.clear();
    fake::before("sleep", 1, [] { keep_running = false; });
    update();
    EXPECT_EQ(platform().files["/var/run/wwan_intf"], "wwan0");
    EXPECT_THAT(fake::journal_of({"ip_link_set_interface_down"}), ElementsAre("ip_link_set_interface_down eth0"));
    EXPECT_TRUE(route_updated);
}

TEST_F(route_update, a_stop_before_the_first_fetch_gives_a_null_configuration) {
    keep_running = false;
    Json::Value config("left from before");
    read_network_config(config);
    EXPECT_TRUE(config.isNull());
    EXPECT_THAT(fake::journal_of({"cmd_get_value_json"}), IsEmpty());
}

TEST_F(route_update, an_address_without_a_mask_does_not_bring_the_link_up) {
    platform().qmicli.text = "IPv4 address: 10.1.2.1\n";
    update();
    EXPECT_THAT(fake::journal_of({"brelsys"}), IsEmpty());
    EXPECT_FALSE(route_updated);
}

TEST_F(route_update, a_short_address_does_not_bring_the_link_up) {
    platform().qmicli.text = "IPv4 address: 10.1.2.1\n";
    update();
    platform().qmicli.text = "IPv4 address: 1.2.3\nIPv4 subnet mask: 255.255.255.252\n";
    update();
    EXPECT_THAT(fake::journal_of({"brelsys"}), IsEmpty());
}

TEST_F(route_update, the_address_and_the_mask_may_come_in_two_answers) {
    platform().qmicli.text = "IPv4 address: 10.1.2.1\n";
    update();
    platform().qmicli.text = "IPv4 subnet mask: 255.255.255.252\n";
    update();
    EXPECT_TRUE(route_updated);
}

TEST_F(route_update, the_post_networkd_script_runs_after_five_seconds_when_it_is_there) {
    platform().files["/var/run/post_networkd_start_actions_script"] = "";
    fake::fail("system");
    update();
    const std::vector<std::string> journal = platform().journal;
    ASSERT_GE(journal.size(), 3U);
    EXPECT_THAT(std::vector(journal.end() - 3, journal.end()),
                ElementsAre("sleep 5", "log debug: update_route: run post networkd script",
                            "system /var/run/post_networkd_start_actions_script"));
    EXPECT_TRUE(route_updated);
}

TEST_F(route_update, an_exception_of_the_configuration_is_logged_under_the_name_of_its_reading) {
    fake::before("cmd_get_value_json", 1, [] { throw std::runtime_error("no store"); });
    Json::Value config = "as it was";
    read_network_config(config);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no store in read_network_config"));
    EXPECT_EQ(config, "as it was");
}

TEST_F(route_update, an_exception_within_the_bring_up_makes_the_next_call_try_all_of_it_again) {
    platform().files["/var/run/post_networkd_start_actions_script"] = "";
    fake::before("system", 1, [] { throw std::runtime_error("no memory"); });
    update();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no memory in update_route");
    EXPECT_FALSE(route_updated);
    update();
    EXPECT_THAT(fake::journal_of({"brelsys"}), Contains("brelsys /usr/bin/cmd_netgen wwan_apply"));
    EXPECT_TRUE(route_updated);
}

}  // namespace
