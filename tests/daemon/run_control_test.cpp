// Run control: the two marker files, and everything that a clearing does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>

#include "base/run_flag.h"
#include "daemon/run_control.h"
#include "modem/registration.h"
#include "stats/cell_stats_map.h"
#include "tests/fake_platform/fake_platform.h"
#include "tests/stats/clearing_journal.h"
#include "wwan/connection.h"
#include "wwan/ipv4_settings.h"
#include "wwan/route.h"

namespace {

using fake::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char *CLEARING = "alert: zelt-stats clearing values";
constexpr const char *CLEAR_REQUEST = "alert: Zelt Stats received request to clear stats";
constexpr const char *IDLING = "debug: Idling waiting for zstats to continue to run";

// --- Clearing ---

TEST(clearing, whole_journal_of_the_first_one) {
    clear_values();
    std::vector<std::string> expected = journal_of_clearing();
    expected.insert(expected.end(), {"log alert: Cell disconnected", "open /tmp/cell_last_connect_changed_time"});
    EXPECT_THAT(platform().journal, ElementsAreArray(expected));
}

TEST(clearing, resets_the_link_state_in_memory) {
    std::snprintf(wwan_ipv4, sizeof wwan_ipv4, "10.1.2.1");
    std::snprintf(wwan_netmask, sizeof wwan_netmask, "255.255.255.252");
    std::snprintf(wwan_bcast, sizeof wwan_bcast, "10.1.2.3");
    route_updated = true;
    cell_registered = true;
    cell_connected = 1;
    fake::before("sysdb_init", 1, [] { EXPECT_FALSE(cell_registered) << "the memory comes before the database"; });
    clear_values();
    EXPECT_STREQ(wwan_ipv4, "");
    EXPECT_STREQ(wwan_netmask, "");
    EXPECT_STREQ(wwan_bcast, "");
    EXPECT_FALSE(route_updated);
    EXPECT_FALSE(cell_registered);
    EXPECT_EQ(cell_connected, 0);
}

TEST(clearing, resets_the_link_state_behind_the_commands_and_before_the_database) {
    cell_registered = true;
    fake::before("brelsys", 2, [] { EXPECT_TRUE(cell_registered); });
    fake::before("sysdb_init", 1, [] { EXPECT_FALSE(cell_registered); });
    clear_values();
}

TEST(clearing, leaves_the_run_time_files) {
    platform().files["/var/run/wwan_ipv4"] = "10.1.2.1";
    clear_values();
    EXPECT_EQ(platform().files["/var/run/wwan_ipv4"], "10.1.2.1");
}

TEST(clearing, a_link_that_was_up_is_logged_as_disconnected_with_its_minutes) {
    platform().wwan_ip = "10.1.2.1";
    check_connection();
    platform().now += 90;
    clear_values();
    EXPECT_EQ(fake::log_lines().back(), "alert: Cell disconnected (1.50 minutes online)");
    EXPECT_EQ(fake::cell("CELL_CONNECTED"), "int 0");
    for (const char *key : {"CELL_IPV4", "CELL_MASK", "CELL_GATEWAY", "CELL_BCAST"}) {
        EXPECT_EQ(fake::cell(key), "string 0.0.0.0") << key;
    }
}

TEST(clearing, makes_the_next_route_update_bring_the_link_up_again) {
    const std::string settings = "IPv4 address: 10.1.2.1\nIPv4 subnet mask: 255.255.255.252\n";
    platform().files["/dev/cdc-wdm0"] = "";
    platform().qmicli = {static_cast<int>(settings.size()), settings};
    platform().config["network"] = "{}";
    const std::string bring_up = "brelsys /usr/bin/cmd_netgen wwan_apply";

    update_route(MODULE_EC25);
    update_route(MODULE_EC25);
    EXPECT_THAT(fake::journal_of({bring_up}), SizeIs(1));
    clear_values();
    update_route(MODULE_EC25);
    EXPECT_THAT(fake::journal_of({bring_up}), SizeIs(2));
}

TEST(clearing, an_interface_that_stays_up_is_logged_and_the_clearing_completes) {
    platform().link_error = 19;
    clear_values();
    EXPECT_THAT(fake::log_lines(),
                ElementsAre(CLEARING, "notice: Error bringing wwan0 down:19", "alert: Cell disconnected"));
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -999");
}

TEST(clearing, dynamic_dns_that_does_not_stop_is_logged_and_the_clearing_completes) {
    platform().command_status["/usr/bin/cmd_ddns stop"] = 3;
    clear_values();
    EXPECT_THAT(fake::log_lines(),
                ElementsAre(CLEARING, "notice: Error running cmd_ddns stop:3", "alert: Cell disconnected"));
    EXPECT_EQ(fake::cell("CELL_RSRP"), "int -999");
}

// A status that no program can have: the command could not be run at all.
TEST(clearing, a_command_that_cannot_be_run_is_reported_too) {
    platform().command_status["/usr/bin/cmd_ddns stop"] = -1;
    clear_values();
    EXPECT_THAT(fake::log_lines(),
                ElementsAre(CLEARING, "notice: Error running cmd_ddns stop:-1", "alert: Cell disconnected"));
}

TEST(clearing, a_failed_network_reset_is_not_reported) {
    platform().command_status["/usr/bin/cmd_netgen WWAN_RESET"] = 1;
    clear_values();
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, "alert: Cell disconnected"));
}

TEST(clearing, catches_nothing) {
    fake::before("brelsys", 1, [] { throw std::runtime_error("no shell"); });
    EXPECT_THROW(clear_values(), std::runtime_error);
}

// --- Clear request ---

TEST(clear_request, without_the_file_nothing_happens) {
    check_if_need_to_clear_values(false);
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(clear_request, is_logged_deleted_and_honoured_and_the_summary_line_follows) {
    platform().files["/tmp/zstats.clear"] = "";
    check_if_need_to_clear_values(false);
    const std::vector<std::string> journal = platform().journal;
    ASSERT_GE(journal.size(), 3U);
    EXPECT_EQ(journal[0], std::string("log ") + CLEAR_REQUEST);
    EXPECT_EQ(journal[1], "delete_file /tmp/zstats.clear");
    EXPECT_EQ(journal[2], std::string("log ") + CLEARING);
    EXPECT_THAT(journal.back(), testing::StartsWith("sysdb_namedb_write_str CELL CELL_RSSIMON string "));
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.clear"));
}

TEST(clear_request, the_summary_line_shows_the_cleared_values) {
    update_cell_stats_map("CELL_RSRP", "-95");
    save_cell_stats_map_to_sysdb();
    check_if_need_to_clear_values(true);
    EXPECT_THAT(fake::cell("CELL_RSSIMON"), testing::HasSubstr("RSRP: -999 dBm"));
}

TEST(clear_request, forced_it_clears_without_the_file_and_without_the_request_line) {
    check_if_need_to_clear_values(true);
    EXPECT_EQ(platform().journal.front(), "delete_file /tmp/zstats.clear");
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, "alert: Cell disconnected"));
}

TEST(clear_request, forced_it_takes_a_request_that_is_there_along) {
    platform().files["/tmp/zstats.clear"] = "";
    check_if_need_to_clear_values(true);
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.clear"));
    EXPECT_THAT(fake::log_lines(), Not(Contains(CLEAR_REQUEST)));
}

TEST(clear_request, an_exception_of_the_clearing_is_logged_and_skips_the_summary_line) {
    fake::before("brelsys", 1, [] { throw std::runtime_error("no shell"); });
    check_if_need_to_clear_values(true);
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, "alert: exception no shell in check_if_need_to_clear_values"));
    EXPECT_EQ(fake::cell("CELL_RSSIMON"), "");
}

// --- Idle wait ---

class idle_wait : public testing::Test {
protected:
    idle_wait() { platform().files.erase("/tmp/zstats.running"); }

    static void the_daemon_may_run() { platform().files["/tmp/zstats.running"] = ""; }
    static void the_daemon_stops() { keep_running = false; }
};

TEST_F(idle_wait, with_run_permission_it_returns_at_once_and_clears_nothing) {
    the_daemon_may_run();
    chk_idle_blocking();
    EXPECT_THAT(platform().journal, IsEmpty());
    EXPECT_TRUE(platform().files.contains("/tmp/zstats.running"));
}

TEST_F(idle_wait, without_run_permission_it_clears_once_and_looks_again_every_3_seconds) {
    fake::before("sleep", 3, the_daemon_may_run);
    chk_idle_blocking();
    EXPECT_THAT(fake::journal_of({"log", "sleep"}),
                ElementsAre(std::string("log ") + CLEARING, "log alert: Cell disconnected",
                            std::string("log ") + IDLING, "sleep 3", std::string("log ") + IDLING, "sleep 3",
                            std::string("log ") + IDLING, "sleep 3"));
    EXPECT_TRUE(platform().files.contains("/tmp/zstats.running"));
}

TEST_F(idle_wait, each_new_pause_clears_again) {
    fake::before("sleep", 1, the_daemon_may_run);
    chk_idle_blocking();
    platform().files.erase("/tmp/zstats.running");
    platform().journal.clear();
    fake::before("sleep", 1, the_daemon_may_run);
    chk_idle_blocking();
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, IDLING));
}

TEST_F(idle_wait, a_clear_request_is_honoured_within_3_seconds) {
    fake::before("sleep", 2, [] { platform().files["/tmp/zstats.clear"] = ""; });
    fake::before("sleep", 3, the_daemon_may_run);
    chk_idle_blocking();
    EXPECT_THAT(fake::log_lines(),
                ElementsAre(CLEARING, "alert: Cell disconnected", IDLING, IDLING, CLEAR_REQUEST, CLEARING, IDLING));
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.clear"));
}

TEST_F(idle_wait, a_stop_ends_it_at_the_next_look) {
    fake::before("sleep", 2, the_daemon_stops);
    chk_idle_blocking();
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 3", "sleep 3"));
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.running"));
}

TEST_F(idle_wait, a_stopping_daemon_neither_waits_nor_clears) {
    keep_running = false;
    chk_idle_blocking();
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST_F(idle_wait, logs_a_connection_that_changes_in_the_meantime) {
    fake::before("sleep", 1, [] { cell_connected = 1; });
    fake::before("sleep", 2, the_daemon_may_run);
    chk_idle_blocking();
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, "alert: Cell disconnected", IDLING,
                                               "alert: Cell connected (0.05 minutes offline)", IDLING));
}

TEST_F(idle_wait, an_exception_of_the_first_clearing_is_logged_and_the_wait_goes_on) {
    fake::before("brelsys", 1, [] { throw std::runtime_error("no shell"); });
    fake::before("sleep", 2, the_daemon_may_run);
    chk_idle_blocking();
    EXPECT_THAT(fake::log_lines(), ElementsAre(CLEARING, "alert: exception no shell in check_if_need_to_clear_values",
                                               "alert: Cell disconnected", IDLING, IDLING));
}

TEST_F(idle_wait, an_exception_of_its_own_is_logged_and_ends_the_wait_without_permission) {
    fake::before("sleep", 1, [] { throw std::runtime_error("woken"); });
    chk_idle_blocking();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception woken in chk_idle_blocking");
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.running"));
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 3"));
}

}  // namespace
