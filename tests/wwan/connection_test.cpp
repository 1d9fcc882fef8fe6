// The connection check and the event log: when a line is written, and with how many minutes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/fake_platform/fake_platform.h"
#include "wwan/connection.h"

namespace {

using fake::platform;
using testing::ElementsAre;

constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";

// The log up to now is about the link being down at the start.
void start_with_link_down() {
    check_connection();
    platform().journal.clear();
}

TEST(connection_check, publishes_before_it_logs_the_event) {
    platform().wwan_ip = "10.1.2.3";
    platform().files[TIME_FILE] = "400";
    check_connection();
    EXPECT_THAT(platform().journal,
                ElementsAre("check_interface_ip wwan0", "log debug: Check connection (ip:10.1.2.3):1",
                            "sysdb_namedb_write_int CELL CELL_CONNECTED int 1",
                            "log alert: Cell connected (10.00 minutes offline)",
                            "open /tmp/cell_last_connect_changed_time"));
}

TEST(connection_check, without_an_address_the_log_shows_an_empty_one) {
    check_connection();
    EXPECT_THAT(fake::log_lines(), ElementsAre("debug: Check connection (ip:):0", "alert: Cell disconnected"));
    EXPECT_EQ(fake::cell("CELL_CONNECTED"), "int 0");
}

TEST(connection_check, a_database_that_refuses_the_write_changes_nothing_else) {
    fake::fail("sysdb_namedb_write_int");
    platform().wwan_ip = "10.1.2.3";
    check_connection();
    EXPECT_EQ(cell_connected, 1);
    EXPECT_EQ(fake::cell("CELL_CONNECTED"), "");
    EXPECT_TRUE(cell_new_connection);
}

TEST(connection_check, an_exception_is_logged_and_skips_the_event_log) {
    fake::before("check_interface_ip", 1, [] { throw std::runtime_error("no interfaces"); });
    check_connection();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no interfaces in check_connection"));
}

TEST(event_log, connect_after_600_seconds_offline_is_ten_minutes) {
    start_with_link_down();
    platform().files[TIME_FILE] = "1000";
    platform().now = 1600;
    platform().wwan_ip = "10.1.2.3";
    check_connection();
    EXPECT_EQ(fake::log_lines().back(), "alert: Cell connected (10.00 minutes offline)");
    EXPECT_EQ(platform().files[TIME_FILE], "1600");
    EXPECT_TRUE(cell_new_connection);
}

TEST(event_log, an_unchanged_state_logs_nothing_and_leaves_the_time_file_alone) {
    start_with_link_down();
    platform().files[TIME_FILE] = "77";
    platform().now += 60;
    check_connection();
    EXPECT_THAT(fake::log_lines(), ElementsAre("debug: Check connection (ip:):0"));
    EXPECT_EQ(platform().files[TIME_FILE], "77");
}

TEST(event_log, first_call_with_the_link_down_has_no_number) {
    update_event_log();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: Cell disconnected"));
    EXPECT_EQ(platform().files[TIME_FILE], "1000");
    EXPECT_FALSE(cell_new_connection);
}

TEST(event_log, first_call_with_the_link_up_counts_from_the_time_an_earlier_daemon_left) {
    platform().files[TIME_FILE] = "970";
    cell_connected = 1;
    update_event_log();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: Cell connected (0.50 minutes offline)"));
}

TEST(event_log, a_disconnect_after_the_first_event_always_carries_its_minutes) {
    cell_connected = 1;
    update_event_log();
    platform().now += 90;
    cell_connected = 0;
    update_event_log();
    EXPECT_EQ(fake::log_lines().back(), "alert: Cell disconnected (1.50 minutes online)");
}

TEST(event_log, a_failed_write_of_the_time_file_is_ignored) {
    fake::fail("open_write");
    update_event_log();
    update_event_log();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: Cell disconnected"));
    EXPECT_FALSE(platform().files.contains(TIME_FILE));
}

TEST(event_log, an_exception_is_logged_with_its_name) {
    fake::before("fwtime_s", 1, [] { throw std::runtime_error("no clock"); });
    update_event_log();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no clock in update_event_log"));
}

TEST(event_log, minutes_of_every_kind_of_time_file) {
    struct row {
        const char *why;
        const char *file;  // null: missing
        const char *minutes;
    };
    static const std::string BLANKS_AND_940 = std::string(5000, ' ') + "940";
    static const row ROWS[] = {
        {"missing: since boot", nullptr, "16.67"},
        {"empty: since boot", "", "16.67"},
        {"text: since boot", "yesterday", "16.67"},
        {"a sign without a number: since boot", "-", "16.67"},
        {"leading blanks and line ends are skipped", " \n 940", "1.00"},
        {"any number of them", BLANKS_AND_940.c_str(), "1.00"},
        {"what follows the number is ignored", "940 seconds", "1.00"},
        {"the same second", "1000", "0.00"},
        {"one second ahead: wraps to 2^32 - 1 s", "1001", "71582788.25"},
        {"the largest time: 1001 s ago", "4294967295", "16.68"},
        {"beyond 32 bits clamps to the largest time", "4294967296", "16.68"},
        {"thirty digits clamp too", "999999999999999999999999999999", "16.68"},
        {"a minus sign negates within 32 bits: 1000 + 5 s", "-5", "16.75"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        // Each row is a connect event after a disconnect that leaves the time file as the row wants it.
        cell_connected = 0;
        update_event_log();
        platform().files.erase(TIME_FILE);
        if (each.file != nullptr) {
            platform().files[TIME_FILE] = each.file;
        }
        cell_connected = 1;
        update_event_log();
        EXPECT_EQ(fake::log_lines().back(),
                  std::string("alert: Cell connected (") + each.minutes + " minutes offline)");
    }
}

TEST(change_time_file, a_failed_read_leaves_the_output_alone) {
    unsigned int time = 42;
    EXPECT_EQ(read_last_connect_change_time(&time), -1);
    platform().files[TIME_FILE] = "soon";
    EXPECT_EQ(read_last_connect_change_time(&time), -1);
    EXPECT_EQ(time, 42U);
}

TEST(change_time_file, without_a_digit_leaves_the_output_alone) {
    for (const char *content : {"", "-", "+", "--5", "+-5"}) {
        SCOPED_TRACE(content);
        platform().files[TIME_FILE] = content;
        unsigned int time = 42;
        EXPECT_EQ(read_last_connect_change_time(&time), -1);
        EXPECT_EQ(time, 42U);
    }
}

TEST(change_time_file, an_exception_is_logged_and_is_a_failure) {
    const auto break_down = [] { throw std::runtime_error("broken"); };
    fake::before("open_read", 1, break_down);
    fake::before("open_write", 1, break_down);
    unsigned int time = 42;
    EXPECT_EQ(read_last_connect_change_time(&time), -1);
    EXPECT_EQ(time, 42U);
    EXPECT_EQ(write_last_connect_change_time(1), -1);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception broken in read_last_connect_change_time",
                                               "alert: exception broken in write_last_connect_change_time"));
}

TEST(change_time_file, holds_the_number_without_a_line_end) {
    platform().files[TIME_FILE] = "123456 and more";
    EXPECT_EQ(write_last_connect_change_time(4294967295U), 0);
    EXPECT_EQ(platform().files[TIME_FILE], "4294967295");
    unsigned int time = 0;
    EXPECT_EQ(read_last_connect_change_time(&time), 0);
    EXPECT_EQ(time, 4294967295U);
}

TEST(change_time_file, cannot_be_opened_for_writing) {
    fake::fail("open_write");
    EXPECT_EQ(write_last_connect_change_time(1), -1);
}

}  // namespace
