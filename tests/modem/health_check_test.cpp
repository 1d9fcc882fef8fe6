// The health check: which answers restore the module, and what is left when its library fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include <unistd.h>

#include "base/run_flag.h"
#include "modem/health_check.h"
#include "modem/mqtt_results.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

using fake::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string reset_request() {
    return R"({"pid":)" + std::to_string(getpid()) + R"(,"ps":"zstats","req":"SOFT_RESET"})" + "\n";
}

class health_check : public testing::Test {
protected:
    health_check() {
        platform().cfun = {1, "7"};
        platform().journal.clear();
    }

    void check(module_model model = MODULE_EC25) { check_health(model, &mqtt_); }

private:
    mqtt_brel mqtt_{"zstats", "127.0.0.1", 1883, true};
};

TEST_F(health_check, level_7_restores_the_module_and_requests_its_reset_while_holding_the_port) {
    check();
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: Health check", "log info: Getting CFUN", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "zelt_at_cmd_get_cfun 7 8", "log alert: CFUN=7, rebooting module",
                            "zelt_at_cmd_restore_factory_settings 7",
                            "log notice: Sending cell module reset request " + reset_request(),
                            "send_message null v1/device/zelt-man " + reset_request(), "ser_close 7",
                            "delete_file /tmp/zelt.cli"));
}

TEST_F(health_check, only_models_2_and_3_are_asked) {
    for (const int model : {0, 1, 4, 5, 6, 7, 255}) {
        SCOPED_TRACE(model);
        platform().journal.clear();
        check(static_cast<module_model>(model));
        EXPECT_THAT(platform().journal, ElementsAre("log info: Health check"));
    }
    for (const int model : {2, 3}) {
        SCOPED_TRACE(model);
        platform().journal.clear();
        check(static_cast<module_model>(model));
        EXPECT_THAT(fake::journal_of({"zelt_at_cmd_get_cfun"}), SizeIs(1));
    }
}

TEST_F(health_check, which_answers_count_as_level_7) {
    struct row {
        const char *why;
        int result;
        const char *text;
        bool stuck;
    };
    static constexpr row ROWS[] = {
        {"plain", 1, "7", true},
        {"leading zero", 2, "07", true},
        {"text behind it", 3, "7,0", true},
        {"leading white space", 2, " 7", true},
        {"seven characters fill the buffer", 7, "0000007", true},
        {"the eighth character is cut off", 8, "00000078", true},
        {"normal operation", 1, "1", false},
        {"minimum", 1, "0", false},
        {"radio off", 1, "4", false},
        {"one below", 1, "6", false},
        {"one above", 1, "8", false},
        {"seventy", 2, "70", false},
        {"seventeen", 2, "17", false},
        {"negative", 2, "-7", false},
        {"text before it", 2, "x7", false},
        {"no text", 1, "", false},
        {"failed query with a 7 in the buffer", 0, "7", false},
        {"failed query, negative, with a 7 in the buffer", -1, "7", false},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        platform().journal.clear();
        platform().cfun = {each.result, each.text};
        check();
        const std::vector<std::string> actions =
            fake::journal_of({"zelt_at_cmd_restore_factory_settings", "send_message"});
        EXPECT_EQ(actions.size(), each.stuck ? 2U : 0U);
        EXPECT_EQ(platform().journal.back(), "delete_file /tmp/zelt.cli");
    }
}

TEST_F(health_check, a_healthy_or_silent_module_is_left_alone_without_a_further_line) {
    for (const fake::typed_answer &answer : {fake::typed_answer{1, "1"}, fake::typed_answer{-1, ""}}) {
        SCOPED_TRACE(answer.result);
        fake::reset();
        platform().cfun = answer;
        check();
        EXPECT_THAT(platform().journal,
                    ElementsAre("log info: Health check", "log info: Getting CFUN", "create_empty_file /tmp/zelt.cli",
                                "ser_open /dev/ttyQSB3", "zelt_at_cmd_get_cfun 7 8", "ser_close 7",
                                "delete_file /tmp/zelt.cli"));
    }
}

TEST_F(health_check, without_a_port_nothing_is_asked) {
    fake::fail("ser_open");
    check();
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: Health check", "log info: Getting CFUN", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "delete_file /tmp/zelt.cli"));
}

TEST_F(health_check, a_stopping_daemon_asks_nothing) {
    keep_running = false;
    check();
    EXPECT_THAT(platform().journal, ElementsAre("log info: Health check", "log info: Getting CFUN"));
}

TEST_F(health_check, a_failed_restore_does_not_keep_the_reset_request_back) {
    fake::fail("zelt_at_cmd_restore_factory_settings");
    check();
    EXPECT_THAT(fake::journal_of({"send_message"}),
                ElementsAre("send_message null v1/device/zelt-man " + reset_request()));
}

TEST_F(health_check, an_exception_of_the_query_leaves_the_port_open_and_locked) {
    fake::before("zelt_at_cmd_get_cfun", 1, [] { throw std::runtime_error("no answer"); });
    check();
    EXPECT_EQ(platform().journal.back(), "log alert: exception no answer in check_health");
    EXPECT_THAT(fake::journal_of({"ser_close", "delete_file"}), IsEmpty());
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST_F(health_check, an_exception_of_the_restore_leaves_the_port_open_and_locked_and_requests_nothing) {
    fake::before("zelt_at_cmd_restore_factory_settings", 1, [] { throw std::runtime_error("refused"); });
    check();
    EXPECT_EQ(platform().journal.back(), "log alert: exception refused in check_health");
    EXPECT_THAT(fake::journal_of({"ser_close", "delete_file", "send_message"}), IsEmpty());
    EXPECT_TRUE(platform().files.contains("/tmp/zelt.cli"));
}

TEST_F(health_check, an_exception_of_the_request_is_logged_by_the_request_and_the_port_is_closed) {
    fake::before("send_message", 1, [] { throw std::runtime_error("no broker"); });
    check();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no broker in generate_request_to_reset_cell_module");
    EXPECT_THAT(fake::journal_of({"ser_close", "delete_file"}),
                ElementsAre("ser_close 7", "delete_file /tmp/zelt.cli"));
}

TEST_F(health_check, a_failed_publication_is_not_reported) {
    fake::fail("send_message");
    check();
    EXPECT_EQ(fake::log_lines().back(), "notice: Sending cell module reset request " + reset_request());
}

TEST(mqtt_results, each_code_has_its_text_and_no_other_code_has_one) {
    EXPECT_THAT(MQTT_RESULT_TEXTS,
                ElementsAre(testing::Pair(200, "Request successful"),
                            testing::Pair(400, "Error sending request, check the topic and payload format"),
                            testing::Pair(500, "Request unsuccessful"),
                            testing::Pair(503, "Service is busy, try again later")));
}

}  // namespace
