// The port session: the lock shared with other programs, and what is left of it after a failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "base/run_flag.h"
#include "modem/at_exchange.h"
#include "modem/modem_port.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

using fake::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void another_program_holds_the_lock() {
    platform().files["/tmp/zelt.cli"] = "held";
}

void the_lock_is_released() {
    platform().files.erase("/tmp/zelt.cli");
}

TEST(modem_lock, a_free_lock_is_taken_at_once) {
    acquire_modem_lock();
    EXPECT_THAT(platform().journal, ElementsAre("create_empty_file /tmp/zelt.cli"));
    EXPECT_EQ(platform().files.at("/tmp/zelt.cli"), "");
}

TEST(modem_lock, a_held_lock_is_polled_every_50_ms_until_it_is_released) {
    another_program_holds_the_lock();
    fake::before("usleep", 3, the_lock_is_released);
    acquire_modem_lock();
    EXPECT_THAT(platform().journal,
                ElementsAre("usleep 50000", "usleep 50000", "usleep 50000", "create_empty_file /tmp/zelt.cli"));
}

TEST(modem_lock, there_is_no_limit_to_the_wait) {
    another_program_holds_the_lock();
    fake::before("usleep", 20000, the_lock_is_released);  // 1000 s
    acquire_modem_lock();
    EXPECT_THAT(fake::journal_of({"usleep"}), SizeIs(20000));
    EXPECT_EQ(platform().journal.back(), "create_empty_file /tmp/zelt.cli");
}

TEST(modem_lock, a_stopping_daemon_does_not_take_even_a_free_lock) {
    keep_running = false;
    acquire_modem_lock();
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(modem_lock, a_stop_during_the_wait_returns_at_once_without_the_lock) {
    another_program_holds_the_lock();
    fake::before("usleep", 2, [] { keep_running = false; });
    acquire_modem_lock();
    EXPECT_THAT(platform().journal, ElementsAre("usleep 50000", "usleep 50000"));
    EXPECT_EQ(platform().files.at("/tmp/zelt.cli"), "held");
}

TEST(modem_lock, a_stop_together_with_the_release_does_not_take_the_lock) {
    another_program_holds_the_lock();
    fake::before("usleep", 1, [] {
        the_lock_is_released();
        keep_running = false;
    });
    acquire_modem_lock();
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_lock, a_stop_during_the_last_look_does_not_take_the_lock) {
    fake::before("access", 1, [] { keep_running = false; });
    acquire_modem_lock();
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(modem_lock, a_stop_during_the_last_look_after_a_wait_does_not_take_the_lock) {
    another_program_holds_the_lock();
    fake::before("usleep", 1, the_lock_is_released);
    fake::before("access", 2, [] { keep_running = false; });
    acquire_modem_lock();
    EXPECT_THAT(platform().journal, ElementsAre("usleep 50000"));
}

TEST(modem_lock, an_exception_is_logged_under_its_name) {
    fake::before("create_empty_file", 1, [] { throw std::runtime_error("no file"); });
    acquire_modem_lock();
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no file in acquire_modem_lock"));
}

TEST(modem_port, an_exception_of_the_lock_is_logged_under_the_name_of_its_taking) {
    fake::before("create_empty_file", 1, [] { throw std::runtime_error("no file"); });
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_THAT(platform().journal,
                ElementsAre("create_empty_file /tmp/zelt.cli", "log alert: exception no file in acquire_modem_lock"));
}

TEST(modem_port, an_exception_while_the_lock_is_given_back_is_logged) {
    fake::fail("ser_open");
    fake::before("delete_file", 1, [] { throw std::runtime_error("no folder"); });
    EXPECT_LT(open_modem_port(), 0);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no folder in open_modem_port"));
}

TEST(modem_port, an_exception_of_the_closing_still_gives_the_lock_back) {
    const int fd = open_modem_port();
    fake::before("ser_close", 1, [] { throw std::runtime_error("no device"); });
    close_modem_port(fd);
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no device in close_modem_port"));
}

TEST(modem_port, opening_takes_the_lock_and_then_the_device) {
    EXPECT_EQ(open_modem_port(), 7);
    EXPECT_THAT(platform().journal, ElementsAre("create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3"));
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_port, a_device_that_cannot_be_opened_gives_the_lock_back_in_silence) {
    fake::fail("ser_open");
    EXPECT_LT(open_modem_port(), 0);
    EXPECT_THAT(platform().journal,
                ElementsAre("create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3", "delete_file /tmp/zelt.cli"));
}

TEST(modem_port, a_session_that_was_never_closed_leaves_a_lock_that_no_later_one_gives_back) {
    open_modem_port();
    fake::before("usleep", 1, [] { keep_running = false; });
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_port, a_session_that_was_never_closed_keeps_its_lock_when_the_daemon_stops_in_the_meantime) {
    open_modem_port();
    keep_running = false;
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_port, opening_while_stopping_returns_minus_1_without_lock_or_device) {
    keep_running = false;
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(modem_port, a_stop_during_the_wait_leaves_the_other_programs_lock) {
    another_program_holds_the_lock();
    fake::before("usleep", 1, [] { keep_running = false; });
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_THAT(platform().journal, ElementsAre("usleep 50000"));
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_port, a_stop_during_the_last_look_leaves_neither_lock_nor_device) {
    fake::before("access", 1, [] { keep_running = false; });
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(modem_port, a_stop_right_after_the_lock_was_created_gives_it_back) {
    fake::before("create_empty_file", 1, [] { keep_running = false; });
    EXPECT_EQ(open_modem_port(), -1);
    EXPECT_THAT(platform().journal, ElementsAre("create_empty_file /tmp/zelt.cli", "delete_file /tmp/zelt.cli"));
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(modem_port, a_stop_while_the_device_opens_still_returns_it) {
    fake::before("ser_open", 1, [] { keep_running = false; });
    EXPECT_GE(open_modem_port(), 0);
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli")) << "the session is closed like any other";
}

TEST(modem_port, an_exception_of_the_device_gives_the_lock_back_and_is_logged_under_its_name) {
    fake::before("ser_open", 1, [] { throw std::runtime_error("no device"); });
    EXPECT_LT(open_modem_port(), 0);
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no device in open_modem_port"));
}

TEST(modem_port, an_exception_of_the_closing_is_logged_under_its_name) {
    const int fd = open_modem_port();
    fake::before("delete_file", 1, [] { throw std::runtime_error("no folder"); });
    close_modem_port(fd);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no folder in close_modem_port"));
}

TEST(modem_port, closing_closes_the_device_and_then_gives_the_lock_back) {
    const int fd = open_modem_port();
    platform().journal.clear();
    close_modem_port(fd);
    EXPECT_THAT(platform().journal, ElementsAre("ser_close 7", "delete_file /tmp/zelt.cli"));
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(at_exchange, is_one_session_and_hands_the_librarys_result_through) {
    for (const unsigned int result : {0U, 1U, 2U, 4000000000U}) {
        SCOPED_TRACE(result);
        fake::reset();
        platform().at_answers["at+csq"] = {{result, "+CSQ: 20,99"}};
        std::array<char, 8> answer{};
        EXPECT_EQ(exchange_for_line("at+csq\r", "+CSQ:", answer), result);
        EXPECT_STREQ(answer.data(), "+CSQ: 2");
        EXPECT_THAT(platform().journal, ElementsAre("create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3",
                                                    "ser_write_and_wait_for_txt_get_line 7 at+csq", "ser_close 7",
                                                    "delete_file /tmp/zelt.cli"));
    }
}

TEST(at_exchange, of_all_lines_is_one_session_and_hands_the_librarys_result_through) {
    for (const unsigned int result : {0U, 1U, 2U}) {
        SCOPED_TRACE(result);
        fake::reset();
        platform().at_answers["at+qcainfo"] = {{result, "OK"}};
        std::array<char, 512> answer{};
        EXPECT_EQ(exchange_for_all_lines("at+qcainfo\r", answer), result);
        EXPECT_STREQ(answer.data(), "OK");
        EXPECT_THAT(platform().journal, ElementsAre("create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3",
                                                    "ser_write_and_get_all_response_until_searchtxt 7 at+qcainfo",
                                                    "ser_close 7", "delete_file /tmp/zelt.cli"));
    }
}

// Whatever leaves the exchange, the next one must not wait for its own lock.
TEST(at_exchange, that_throws_is_closed_before_the_caller_sees_the_exception) {
    const auto throws = [] { throw std::runtime_error("no answer"); };
    std::array<char, 32> answer{};
    fake::before("ser_write_and_wait_for_txt_get_line", 1, throws);
    EXPECT_THROW(exchange_for_line("at+csq\r", "+CSQ:", answer), std::runtime_error);
    fake::before("ser_write_and_get_all_response_until_searchtxt", 1, throws);
    EXPECT_THROW(exchange_for_all_lines("at+qcainfo\r", answer), std::runtime_error);
    EXPECT_THAT(fake::journal_of({"ser_close", "delete_file"}),
                ElementsAre("ser_close 7", "delete_file /tmp/zelt.cli", "ser_close 8", "delete_file /tmp/zelt.cli"));
}

TEST(at_exchange, without_a_port_there_is_no_result_and_no_exchange) {
    fake::fail("ser_open", 1);
    fake::fail("ser_open", 2);
    std::array<char, 32> answer{};
    EXPECT_EQ(exchange_for_line("at+csq\r", "+CSQ:", answer), std::nullopt);
    EXPECT_EQ(exchange_for_all_lines("at+qcainfo\r", answer), std::nullopt);
    EXPECT_THAT(fake::journal_of({"ser_write_and_wait_for_txt_get_line",
                                  "ser_write_and_get_all_response_until_searchtxt", "ser_close"}),
                IsEmpty());
}

}  // namespace
