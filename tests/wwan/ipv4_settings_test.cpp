// From the QMI tool's text to run-time files and keys.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>

#include <json/json.h>

#include "tests/fake_platform/fake_platform.h"
#include "wwan/ipv4_settings.h"

namespace {

using fake::platform;
using testing::ElementsAre;

Json::Value json(const char *text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

void parse(std::string text, const char *config = "{}", module_model model = MODULE_EC25) {
    parse_ipv4_info(text.data(), json(config), model);
}

constexpr const char *FULL_ANSWER = "[/dev/cdc-wdm0] Current settings retrieved:\n"
                                    "           IP Family: IPv4\n"
                                    "        IPv4 address: 10.129.39.207\n"
                                    "    IPv4 subnet mask: 255.255.255.224\n"
                                    "IPv4 gateway address: 10.129.39.208\n"
                                    "    IPv4 primary DNS: 172.17.163.218\n"
                                    "  IPv4 secondary DNS: 172.17.167.218\n"
                                    "                 MTU: 1500\n"
                                    "             Domains: none\n";

TEST(ipv4_settings, journal_of_a_full_answer_is_in_the_written_order) {
    parse(FULL_ANSWER);
    EXPECT_THAT(
        platform().journal,
        ElementsAre(
            "delete_file /var/run/wwan_ipv4", "delete_file /var/run/wwan_netmask", "delete_file /var/run/wwan_gw",
            "delete_file /var/run/wwan_mtu", "delete_file /var/run/wwan_dns1", "delete_file /var/run/wwan_dns2",
            "sysdb_namedb_del CELL CELL_IPV4", "sysdb_namedb_del CELL CELL_MASK", "sysdb_namedb_del CELL CELL_GATEWAY",
            "sysdb_namedb_del CELL CELL_PRIMARY_DNS", "sysdb_namedb_del CELL CELL_SECONDARY_DNS",
            "log debug: Updating CELL_IPV4 with 10.129.39.207",
            "sysdb_namedb_write_str CELL CELL_IPV4 string 10.129.39.207",
            "write_str_to_file /var/run/wwan_ipv4 10.129.39.207", "log debug: Updating CELL_MASK with 255.255.255.224",
            "sysdb_namedb_write_str CELL CELL_MASK string 255.255.255.224",
            "write_str_to_file /var/run/wwan_netmask 255.255.255.224",
            "log debug: CIDR (27) from netmask (255.255.255.224)", "write_str_to_file /var/run/wwan_cidr 27",
            "log debug: Updating CELL_GATEWAY with 10.129.39.208",
            "sysdb_namedb_write_str CELL CELL_GATEWAY string 10.129.39.208",
            "write_str_to_file /var/run/wwan_gw 10.129.39.208",
            "log debug: Updating CELL_PRIMARY_DNS with 172.17.163.218",
            "sysdb_namedb_write_str CELL CELL_PRIMARY_DNS string 172.17.163.218",
            "write_str_to_file /var/run/wwan_dns1 172.17.163.218",
            "log debug: Updating CELL_SECONDARY_DNS with 172.17.167.218",
            "sysdb_namedb_write_str CELL CELL_SECONDARY_DNS string 172.17.167.218",
            "write_str_to_file /var/run/wwan_dns2 172.17.167.218", "log debug: Using MTU:1500",
            "write_str_to_file /var/run/wwan_mtu 1500"));
}

TEST(ipv4_settings, a_database_and_a_disk_that_refuse_everything_change_no_step_and_log_nothing) {
    parse(FULL_ANSWER);
    const auto journal = platform().journal;
    platform().journal.clear();
    for (const char *operation : {"delete_file", "sysdb_namedb_del", "sysdb_namedb_write_str", "write_str_to_file"}) {
        for (int nth = 1; nth <= 7; ++nth) {
            fake::fail(operation, nth);
        }
    }
    parse(FULL_ANSWER);
    EXPECT_EQ(platform().journal, journal);
}

TEST(ipv4_settings, address_and_mask_give_files_keys_and_prefix) {
    parse("IPv4 address: 10.1.2.3\nIPv4 subnet mask: 255.255.255.252\n");
    EXPECT_EQ(platform().files["/var/run/wwan_ipv4"], "10.1.2.3");
    EXPECT_EQ(platform().files["/var/run/wwan_netmask"], "255.255.255.252");
    EXPECT_EQ(platform().files["/var/run/wwan_cidr"], "30");
    EXPECT_EQ(fake::cell("CELL_IPV4"), "string 10.1.2.3");
    EXPECT_EQ(fake::cell("CELL_MASK"), "string 255.255.255.252");
    EXPECT_STREQ(wwan_ipv4, "10.1.2.3");
    EXPECT_STREQ(wwan_netmask, "255.255.255.252");
}

TEST(ipv4_settings, addresses_by_their_length) {
    struct row {
        const char *why;
        const char *value;
        const char *stored;  // empty: key deleted, file empty
    };
    static constexpr row ROWS[] = {
        {"the shortest dotted quad", "1.1.1.1", "1.1.1.1"},
        {"empty: empties what the last answer left", "", ""},
        {"ten characters", "10.100.0.1", "10.100.0.1"},
        {"five characters: empties what the last answer left", "1.2.3", ""},
        {"six, one short of the shortest dotted quad", "1.1.1.", ""},
        {"seven characters of anything", "nothing", "nothing"},
        {"fifteen fit", "255.255.255.255", "255.255.255.255"},
        {"sixteen are cut to fifteen", "255.255.255.2550", "255.255.255.255"},
        {"twenty are cut to fifteen", "12345678901234567890", "123456789012345"},
        {"not trimmed", "1.1.1.1 ", "1.1.1.1 "},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        parse(std::string("IPv4 address: ") + each.value + "\n");
        const bool valid = *each.stored != '\0';
        EXPECT_EQ(fake::cell("CELL_IPV4"), valid ? std::string("string ") + each.stored : "");
        EXPECT_TRUE(platform().files.contains("/var/run/wwan_ipv4"));
        EXPECT_EQ(platform().files["/var/run/wwan_ipv4"], each.stored);
        EXPECT_STREQ(wwan_ipv4, each.stored);
    }
}

TEST(ipv4_settings, a_gateway_of_fifteen_characters_is_whole_and_one_of_sixteen_is_cut) {
    for (const char *value : {"255.255.255.255", "255.255.255.2550"}) {
        parse(std::string("IPv4 gateway address: ") + value + "\n");
        EXPECT_EQ(fake::cell("CELL_GATEWAY"), "string 255.255.255.255");
        EXPECT_EQ(platform().files["/var/run/wwan_gw"], "255.255.255.255");
    }
}

TEST(ipv4_settings, labels_of_one_line_are_taken_in_their_own_order) {
    parse("IPv4 secondary DNS: 2 IPv4 primary DNS: 1 MTU: 1400 IPv4 gateway address: 10.0.0.3 "
          "IPv4 subnet mask: 255.0.0.0 IPv4 address: 10.0.0.1\n");
    EXPECT_THAT(fake::journal_of({"log debug: Updating CELL_IPV4", "log debug: Updating CELL_MASK",
                                  "log debug: Updating CELL_GATEWAY", "log debug: Using",
                                  "log debug: Updating CELL_PRIMARY_DNS", "log debug: Updating CELL_SECONDARY_DNS"}),
                ElementsAre("log debug: Updating CELL_IPV4 with 10.0.0.1",
                            "log debug: Updating CELL_MASK with 255.0.0.0 IPv4 ",
                            "log debug: Updating CELL_GATEWAY with 10.0.0.3 IPv4 s", "log debug: Using MTU:1400",
                            testing::StartsWith("log debug: Updating CELL_PRIMARY_DNS with 1 MTU: 1400 "),
                            testing::StartsWith("log debug: Updating CELL_SECONDARY_DNS with 2 IPv4 primary DNS: 1 ")));
}

TEST(ipv4_settings, an_invalid_address_is_withdrawn_in_this_order) {
    parse_ipv4("IPv4 address: 1.2.3");
    EXPECT_THAT(platform().journal,
                ElementsAre("log debug: Invalid entry, deleting CELL_IPV4", "sysdb_namedb_del CELL CELL_IPV4",
                            "write_str_to_file /var/run/wwan_ipv4"));
}

TEST(ipv4_settings, a_rejected_mask_still_writes_the_prefix_of_the_empty_mask) {
    parse("IPv4 subnet mask: 255.0.0.0\n");
    parse("IPv4 subnet mask: 1.2\n");
    EXPECT_EQ(platform().files["/var/run/wwan_cidr"], "-1");
    EXPECT_EQ(platform().files["/var/run/wwan_netmask"], "");
}

TEST(ipv4_settings, name_servers_of_any_length_are_stored_whole) {
    const std::string longer(100, 'x');
    parse("IPv4 primary DNS: 1\nIPv4 secondary DNS: " + longer + "\n");
    EXPECT_EQ(fake::cell("CELL_PRIMARY_DNS"), "string 1");
    EXPECT_EQ(platform().files["/var/run/wwan_dns1"], "1");
    EXPECT_EQ(fake::cell("CELL_SECONDARY_DNS"), "string " + longer);
    EXPECT_EQ(platform().files["/var/run/wwan_dns2"], longer);
}

TEST(ipv4_settings, an_empty_secondary_name_server_leaves_an_empty_file_and_no_key) {
    platform().databases["CELL"]["CELL_SECONDARY_DNS"] = std::string("9.9.9.9");
    parse("IPv4 secondary DNS: \n");
    EXPECT_EQ(fake::cell("CELL_SECONDARY_DNS"), "");
    EXPECT_TRUE(platform().files.contains("/var/run/wwan_dns2"));
    EXPECT_EQ(platform().files["/var/run/wwan_dns2"], "");
    EXPECT_THAT(fake::log_lines(), ElementsAre("debug: Invalid entry, deleting CELL_SECONDARY_DNS"));
}

TEST(ipv4_settings, mtu_rule) {
    struct row {
        const char *why;
        const char *reported;
        const char *config;
        module_model model;
        const char *written;
    };
    static constexpr const char *OVERRIDE_1400 = R"({"wireless":{"cell":{"mtu_override":true,"mtu":1400}}})";
    static constexpr const char *OVERRIDE_0 = R"({"wireless":{"cell":{"mtu_override":true,"mtu":0}}})";
    static constexpr const char *OVERRIDE_MINUS_1 = R"({"wireless":{"cell":{"mtu_override":true,"mtu":-1}}})";
    static constexpr const char *OVERRIDE_ABSENT = R"({"wireless":{"cell":{"mtu_override":true}}})";
    static constexpr const char *OVERRIDE_TEXT = R"({"wireless":{"cell":{"mtu_override":true,"mtu":"1400"}}})";
    static constexpr const char *OVERRIDE_OFF = R"({"wireless":{"cell":{"mtu_override":false,"mtu":1400}}})";
    static constexpr const char *OVERRIDE_IS_TEXT = R"({"wireless":{"cell":{"mtu_override":"yes","mtu":1400}}})";
    static constexpr row ROWS[] = {
        {"as reported", "1500", "{}", MODULE_EC25, "1500"},
        {"one is enough", "1", "{}", MODULE_EC25, "1"},
        {"zero falls back", "0", "{}", MODULE_EC25, "1428"},
        {"negative falls back", "-1", "{}", MODULE_EC25, "1428"},
        {"no number falls back", "unknown", "{}", MODULE_EC25, "1428"},
        {"nothing falls back", "", "{}", MODULE_EC25, "1428"},
        {"stops at the first non-digit", "1400 bytes", "{}", MODULE_EC25, "1400"},
        {"thirty digits clamp at the target's limit", "999999999999999999999999999999", "{}", MODULE_EC25,
         "2147483647"},
        {"override wins", "1500", OVERRIDE_1400, MODULE_EC25, "1400"},
        {"override of zero is taken, then falls back", "1500", OVERRIDE_0, MODULE_EC25, "1428"},
        {"override of -1 is not taken", "1500", OVERRIDE_MINUS_1, MODULE_EC25, "1500"},
        {"override without a value", "1500", OVERRIDE_ABSENT, MODULE_EC25, "1500"},
        {"override with a text for a value", "1500", OVERRIDE_TEXT, MODULE_EC25, "1500"},
        {"override switched off", "1500", OVERRIDE_OFF, MODULE_EC25, "1500"},
        {"override of the wrong type counts as absent", "1500", OVERRIDE_IS_TEXT, MODULE_EC25, "1500"},
        {"model 6 ignores the module", "1280", "{}", MODULE_RM52X, "1500"},
        {"model 6 ignores the override", "1280", OVERRIDE_1400, MODULE_RM52X, "1500"},
        {"model 5 does not", "1280", "{}", MODULE_RM50X, "1280"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        parse(std::string("   MTU: ") + each.reported + "\n", each.config, each.model);
        EXPECT_EQ(platform().files["/var/run/wwan_mtu"], each.written);
        EXPECT_EQ(fake::log_lines().back(), std::string("debug: Using MTU:") + each.written);
    }
}

TEST(ipv4_settings, an_answer_without_mtu_leaves_no_mtu_file) {
    platform().files["/var/run/wwan_mtu"] = "1500";
    parse("IPv4 address: 10.1.2.3\n");
    EXPECT_FALSE(platform().files.contains("/var/run/wwan_mtu"));
}

TEST(ipv4_settings, a_missing_label_keeps_the_address_in_memory_but_not_its_file_and_key) {
    parse(FULL_ANSWER);
    parse("IPv4 subnet mask: 255.0.0.0\n");
    EXPECT_STREQ(wwan_ipv4, "10.129.39.207");
    EXPECT_STREQ(wwan_netmask, "255.0.0.0");
    EXPECT_FALSE(platform().files.contains("/var/run/wwan_ipv4"));
    EXPECT_EQ(fake::cell("CELL_IPV4"), "");
}

TEST(ipv4_settings, prefix_interface_and_broadcast_survive_a_parse) {
    platform().files["/var/run/wwan_cidr"] = "30";
    platform().files["/var/run/wwan_intf"] = "wwan0";
    platform().databases["CELL"]["CELL_BCAST"] = std::string("10.1.2.3");
    parse("nothing of interest");
    EXPECT_EQ(platform().files["/var/run/wwan_cidr"], "30");
    EXPECT_EQ(platform().files["/var/run/wwan_intf"], "wwan0");
    EXPECT_EQ(fake::cell("CELL_BCAST"), "string 10.1.2.3");
}

TEST(ipv4_settings, the_first_line_with_a_label_wins) {
    parse("IPv4 address: 10.0.0.1\nIPv4 address: 10.0.0.2\n");
    EXPECT_EQ(fake::cell("CELL_IPV4"), "string 10.0.0.1");
}

TEST(ipv4_settings, labels_in_any_order_on_one_line_or_behind_other_text) {
    struct row {
        const char *why;
        const char *text;
        const char *address;
        const char *mask;
    };
    static constexpr row ROWS[] = {
        {"mask first", "IPv4 subnet mask: 255.0.0.0\nIPv4 address: 10.0.0.1\n", "string 10.0.0.1", "string 255.0.0.0"},
        {"CR LF line ends", "IPv4 address: 10.0.0.1\r\n\r\nIPv4 subnet mask: 255.0.0.0\r\n", "string 10.0.0.1",
         "string 255.0.0.0"},
        {"both on one line: the first value runs to the line's end, cut to 15",
         "IPv4 address: 10.0.0.1 IPv4 subnet mask: 255.0.0.0\n", "string 10.0.0.1 IPv4 s", "string 255.0.0.0"},
        {"inside other text", "x=IPv4 address: 10.0.0.1\n", "string 10.0.0.1", ""},
        {"label without its blank is no label", "IPv4 address:10.0.0.1\n", "", ""},
        {"upper and lower case differ", "ipv4 address: 10.0.0.1\n", "", ""},
        {"no line end at all", "IPv4 address: 10.0.0.1", "string 10.0.0.1", ""},
        {"empty text", "", "", ""},
        {"one long line", "................................................................................", "", ""},
        {"bytes that are no text", "\x01\xff\xfe\nIPv4 address: 10.0.0.1\n\x80", "string 10.0.0.1", ""},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        parse(each.text);
        EXPECT_EQ(fake::cell("CELL_IPV4"), each.address);
        EXPECT_EQ(fake::cell("CELL_MASK"), each.mask);
    }
}

TEST(ipv4_settings, broadcast_is_computed_and_published) {
    calculate_bcast_and_save_to_sysdb("10.1.2.1", "255.255.255.252");
    EXPECT_STREQ(wwan_bcast, "10.1.2.3");
    EXPECT_THAT(platform().journal, ElementsAre("sysdb_namedb_write_str CELL CELL_BCAST string 10.1.2.3"));
}

TEST(ipv4_settings, each_operation_logs_its_own_exception) {
    const auto throws = [] { throw std::runtime_error("disk gone"); };
    char buffer[16] = "";
    const auto last_log = [] { return fake::log_lines().back(); };

    fake::before("write_str_to_file", 1, throws);
    parse_ipv4_type_string("10.1.2.3", "CELL_IPV4", "/var/run/wwan_ipv4", buffer, 16);
    EXPECT_EQ(last_log(), "alert: exception disk gone in parse_ipv4_type_string");

    fake::before("write_str_to_file", 1, throws);
    parse_dns_type_string("10.1.2.3", "CELL_PRIMARY_DNS", "/var/run/wwan_dns1");
    EXPECT_EQ(last_log(), "alert: exception disk gone in parse_dns_type_string");

    fake::before("write_str_to_file", 2, throws);
    parse_mask("IPv4 subnet mask: 255.0.0.0");
    EXPECT_EQ(last_log(), "alert: exception disk gone in parse_mask");

    fake::before("write_str_to_file", 1, throws);
    parse_mtu("MTU: 1500", Json::Value(), MODULE_EC25);
    EXPECT_EQ(last_log(), "alert: exception disk gone in parse_mtu");

    fake::before("sysdb_namedb_write_str", 1, throws);
    calculate_bcast_and_save_to_sysdb("10.1.2.1", "255.0.0.0");
    EXPECT_EQ(last_log(), "alert: exception disk gone in calculate_bcast_and_save_to_sysdb");

    // The handlers of one label log only what escapes the operation that they pass the value to.
    struct handler {
        void (*parse)(const char *line);
        const char *line;
        const char *log;
    };
    static constexpr handler HANDLERS[] = {
        {parse_ipv4, "IPv4 address: 10.1.2.3", "alert: exception no log in parse_ipv4"},
        {parse_gateway, "IPv4 gateway address: 10.1.2.3", "alert: exception no log in parse_gateway"},
        {parse_dns1, "IPv4 primary DNS: 10.1.2.3", "alert: exception no log in parse_dns1"},
        {parse_dns2, "IPv4 secondary DNS: 10.1.2.3", "alert: exception no log in parse_dns2"},
    };
    for (const handler &each : HANDLERS) {
        fake::before("write_str_to_file", 1, throws);
        fake::before("syslog", 2, [] { throw std::runtime_error("no log"); });
        each.parse(each.line);
        EXPECT_EQ(last_log(), each.log);
    }

    // What withdraws the last answer logs for itself, and the new one is parsed all the same.
    fake::before("delete_file", 1, throws);
    fake::before("sysdb_namedb_del", 1, throws);
    platform().journal.clear();
    parse("IPv4 address: 10.1.2.3");
    EXPECT_THAT(fake::journal_of({"log alert:"}),
                ElementsAre("log alert: exception disk gone in delete_wwan_files",
                            "log alert: exception disk gone in delete_wwan_sysdb_keys"));
    EXPECT_EQ(fake::cell("CELL_IPV4"), "string 10.1.2.3");

    fake::before("write_str_to_file", 1, throws);
    fake::before("syslog", 2, [] { throw std::runtime_error("no log"); });
    fake::before("syslog", 3, [] { throw std::runtime_error("no log at all"); });
    parse("IPv4 address: 10.1.2.3");
    EXPECT_EQ(last_log(), "alert: exception no log at all in parse_ipv4_info");
}

TEST(ipv4_settings, nothing_is_split_behind_the_line_that_completes_the_six_labels) {
    std::string text = "IPv4 address: 10.1.2.3\nIPv4 subnet mask: 255.0.0.0\nIPv4 gateway address: 10.1.2.4\n"
                       "MTU: 1500\nIPv4 primary DNS: 1.1.1.1\nIPv4 secondary DNS: 2.2.2.2\n";
    const std::size_t begin_of_the_rest = text.size();
    text += "one\nmore\n";
    parse_ipv4_info(text.data(), Json::Value(), MODULE_EC25);
    EXPECT_EQ(text.substr(begin_of_the_rest), "one\nmore\n");
}

TEST(ipv4_settings, an_address_fills_its_buffer_up_to_the_last_byte) {
    std::array<char, 16> buffer{};
    buffer.fill('x');
    parse_ipv4_type_string("10.1.2.3", "CELL_IPV4", "/var/run/wwan_ipv4", buffer.data(), 16);
    EXPECT_STREQ(buffer.data(), "10.1.2.3");
    EXPECT_EQ(buffer.back(), '\0');
    buffer.fill('x');
    parse_ipv4_type_string("a text of 23 characters", "CELL_IPV4", "/var/run/wwan_ipv4", buffer.data(), 16);
    EXPECT_STREQ(buffer.data(), "a text of 23 ch");
}

}  // namespace
