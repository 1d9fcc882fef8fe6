// Operator name, IMSI and MDN: three queries of one shape.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>

#include "daemon/run_control.h"
#include "modem/subscriber.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

using fake::platform;
using testing::ElementsAre;

struct subscriber_case {
    const char *name;
    void (*operation)();
    const char *log_line;
    const char *query;
    unsigned int buffer_size;
    const char *key;
    fake::typed_answer fake::platform_state::*answer;
};

// For the test framework, which would print the bytes.
void PrintTo(const subscriber_case &each, std::ostream *out) {
    *out << each.name;
}

constexpr subscriber_case CASES[] = {
    {"save_carrier_name_to_sysdb", save_carrier_name_to_sysdb, "Getting carrier name", "zelt_at_cmd_get_carrier_name",
     64, "CELL_CARRIER", &fake::platform_state::carrier},
    {"save_imsi_to_sysdb", save_imsi_to_sysdb, "Getting IMSI", "zelt_at_cmd_get_imsi", 32, "CELL_IMSI",
     &fake::platform_state::imsi},
    {"save_mdn_to_sysdb", save_mdn_to_sysdb, "Getting MDN", "zelt_at_cmd_get_mdn", 32, "CELL_MDN",
     &fake::platform_state::mdn},
};

class subscriber_query : public testing::TestWithParam<subscriber_case> {
protected:
    static const subscriber_case &self() { return GetParam(); }
    static void answer_with(int result, const std::string &text) { platform().*self().answer = {result, text}; }
    static std::string info_line() { return std::string("log info: ") + self().log_line; }
    static std::string query_line() { return std::string(self().query) + " 7 " + std::to_string(self().buffer_size); }
};

TEST_P(subscriber_query, publishes_the_answer_as_a_string_in_one_session) {
    answer_with(1, "0012345");
    self().operation();
    EXPECT_THAT(platform().journal,
                ElementsAre(info_line(), "create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3", query_line(),
                            std::string("sysdb_namedb_write_str CELL ") + self().key + " string 0012345", "ser_close 7",
                            "delete_file /tmp/zelt.cli"));
}

TEST_P(subscriber_query, a_result_of_0_or_less_keeps_the_old_value) {
    for (const int result : {0, -1, -100}) {
        SCOPED_TRACE(result);
        fake::reset();
        platform().databases["CELL"][self().key] = std::string("old");
        answer_with(result, "text that does not count");
        self().operation();
        EXPECT_EQ(fake::cell(self().key), "string old");
        EXPECT_THAT(platform().journal,
                    ElementsAre(info_line(), "create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3", query_line(),
                                "ser_close 7", "delete_file /tmp/zelt.cli"));
    }
}

TEST_P(subscriber_query, a_value_outlives_a_clear_and_failed_queries_until_the_next_good_one) {
    answer_with(3, "old");
    self().operation();
    clear_values();
    EXPECT_EQ(fake::cell(self().key), "string old");
    answer_with(0, "");
    self().operation();
    fake::fail("ser_open");
    self().operation();
    EXPECT_EQ(fake::cell(self().key), "string old");
    answer_with(3, "new");
    self().operation();
    EXPECT_EQ(fake::cell(self().key), "string new");
}

TEST_P(subscriber_query, a_text_longer_than_the_buffer_is_cut_to_its_size_minus_1) {
    answer_with(100, std::string(100, 'x'));
    self().operation();
    EXPECT_EQ(fake::cell(self().key), "string " + std::string(self().buffer_size - 1, 'x'));
}

TEST_P(subscriber_query, a_positive_result_publishes_even_an_empty_text) {
    answer_with(1, "");
    self().operation();
    EXPECT_EQ(fake::cell(self().key), "string ");
}

TEST_P(subscriber_query, without_a_port_nothing_is_asked_or_written) {
    answer_with(1, "new");
    fake::fail("ser_open");
    self().operation();
    EXPECT_THAT(platform().journal, ElementsAre(info_line(), "create_empty_file /tmp/zelt.cli", "ser_open /dev/ttyQSB3",
                                                "delete_file /tmp/zelt.cli"));
}

TEST_P(subscriber_query, a_failed_write_is_silent_and_the_port_is_closed) {
    answer_with(1, "new");
    fake::fail("sysdb_namedb_write_str");
    self().operation();
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("info: ") + self().log_line));
    EXPECT_EQ(platform().journal.back(), "delete_file /tmp/zelt.cli");
}

TEST_P(subscriber_query, an_exception_is_logged_with_the_operations_name) {
    fake::before(self().query, 1, [] { throw std::runtime_error("no answer"); });
    self().operation();
    EXPECT_THAT(fake::log_lines(), ElementsAre(std::string("info: ") + self().log_line,
                                               std::string("alert: exception no answer in ") + self().name));
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
}

INSTANTIATE_TEST_SUITE_P(each, subscriber_query, testing::ValuesIn(CASES),
                         [](const auto &test) { return std::string(test.param.name); });

}  // namespace
