#include "sim/inside/expectations.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const cell_values BEFORE{{"CELL_BAND", {"int", "-999"}}, {"CELL_OTHER", {"int", "1"}}};

}  // namespace

TEST(expect_cell, holds_when_listed_keys_match_and_others_stayed) {
    const cell_values now{{"CELL_BAND", {"int", "-999"}}, {"CELL_MCC", {"string", ""}}, {"CELL_OTHER", {"int", "2"}}};
    EXPECT_THAT(differences(expect_cell{{{"CELL_MCC", {"string", ""}}}}, now, BEFORE), IsEmpty());
}

TEST(expect_cell, names_a_wrong_value_a_wrong_type_and_a_missing_key) {
    const cell_values now{
        {"CELL_BAND", {"int", "-999"}}, {"CELL_MCC", {"string", "262"}}, {"CELL_TAC", {"string", "1"}}};
    const expect_cell expected{
        {{"CELL_MCC", {"string", "263"}}, {"CELL_TAC", {"int", "1"}}, {"CELL_CID", {"int", "5"}}}};
    EXPECT_THAT(differences(expected, now, BEFORE),
                ElementsAre("CELL_MCC: expected string 263, found string 262",
                            "CELL_TAC: expected int 1, found string 1", "CELL_CID: expected int 5, found nothing"));
}

TEST(expect_cell, names_a_key_that_should_have_stayed) {
    const cell_values now{{"CELL_BAND", {"int", "3"}}, {"CELL_RSRP", {"int", "-90"}}};
    EXPECT_THAT(differences(expect_cell{}, now, BEFORE),
                ElementsAre("CELL_BAND: expected int -999 as before, found int 3",
                            "CELL_RSRP: expected nothing as before, found int -90"));
}

TEST(expect_cell, fails_while_the_module_was_not_asked) {
    EXPECT_EQ(differences(expect_cell{}, BEFORE, std::nullopt).size(), 1U);
}

TEST(expect_key, looks_at_one_key) {
    EXPECT_THAT(differences(expect_key{{"CELL_OTHER", {"int", "1"}}}, BEFORE), IsEmpty());
    EXPECT_EQ(differences(expect_key{{"CELL_OTHER", {"int", "2"}}}, BEFORE).size(), 1U);
    EXPECT_EQ(differences(expect_key{{"CELL_NONE", {"int", "2"}}}, BEFORE).size(), 1U);
}

TEST(expect_absent, fails_when_the_key_is_there) {
    EXPECT_THAT(differences(expect_absent{"CELL_NONE"}, BEFORE), IsEmpty());
    EXPECT_THAT(differences(expect_absent{"CELL_OTHER"}, BEFORE),
                ElementsAre("CELL_OTHER: expected nothing, found int 1"));
}

TEST(expect_log, wants_lines_in_order_with_others_between) {
    const std::vector<log_line> log{
        {"local0.alert", "one"}, {"local0.info", "two"}, {"local0.alert", "two"}, {"local0.alert", "three"}};
    EXPECT_THAT(differences(expect_log{"local0.alert", {"one", "three"}}, log), IsEmpty());
    EXPECT_FALSE(differences(expect_log{"local0.alert", {"three", "one"}}, log).empty()) << "wrong order";
    EXPECT_FALSE(differences(expect_log{"local0.alert", {"one", "one"}}, log).empty()) << "one line counts once";
    EXPECT_FALSE(differences(expect_log{"local0.notice", {"one"}}, log).empty()) << "wrong priority";
    EXPECT_FALSE(differences(expect_log{"local0.alert", {"thre"}}, log).empty()) << "whole lines";
}

TEST(expect_log, takes_any_number_of_a_range) {
    const std::vector<log_line> log{{"local0.alert", "Cell connected (10.07 minutes offline)"}};
    EXPECT_THAT(differences(expect_log{"local0.alert", {"Cell connected ({10.06..10.20} minutes offline)"}}, log),
                IsEmpty());
    EXPECT_FALSE(
        differences(expect_log{"local0.alert", {"Cell connected ({10.08..10.20} minutes offline)"}}, log).empty());
}

TEST(expect_journal, wants_every_line_in_order_and_no_other) {
    const std::vector<log_line> found{
        {CALL_PRIORITY, "cmd_ddns stop"}, {"local0.notice", "one"}, {CALL_PRIORITY, "cmd_ddns stop"}};
    EXPECT_THAT(differences(expect_journal{{"run cmd_ddns stop", "log local0.notice one", "run cmd_ddns stop"}}, found),
                IsEmpty());
    EXPECT_THAT(differences(expect_journal{}, {}), IsEmpty());
    EXPECT_THAT(differences(expect_journal{{"run cmd_ddns stop", "log local0.alert one", "run cmd_ddns stop"}}, found),
                ElementsAre("the journal differs from line 2 on: expected \"log local0.alert one\", found",
                            "| log local0.notice one", "| run cmd_ddns stop"));
    EXPECT_THAT(differences(expect_journal{{"run cmd_ddns stop", "log local0.notice one"}}, found),
                ElementsAre("the journal differs from line 3 on: expected nothing more, found", "| run cmd_ddns stop"));
    EXPECT_THAT(differences(expect_journal{{"run a"}}, {}),
                ElementsAre("the journal differs from line 1 on: expected \"run a\", found nothing more"));
}

TEST(expect_no_file, fails_when_something_is_there) {
    EXPECT_THAT(differences(expect_no_file{"/f"}, false), IsEmpty());
    EXPECT_THAT(differences(expect_no_file{"/f"}, true), ElementsAre("/f: expected nothing there"));
}

TEST(expect_interface, tells_down_from_missing) {
    EXPECT_THAT(differences(expect_interface{"eth1", true}, true), IsEmpty());
    EXPECT_THAT(differences(expect_interface{"eth1", false}, false), IsEmpty());
    EXPECT_THAT(differences(expect_interface{"eth1", true}, false), ElementsAre("eth1: expected up, found down"));
    EXPECT_THAT(differences(expect_interface{"eth1", false}, std::nullopt),
                ElementsAre("eth1: expected down, found no such interface"));
}

TEST(expect_message, compares_topic_and_every_byte) {
    EXPECT_THAT(differences(expect_message{"t", "x\n"}, mqtt_message{"t", "x\n"}), IsEmpty());
    EXPECT_THAT(differences(expect_message{"t", "x\n"}, mqtt_message{"t", "x"}),
                ElementsAre("expected t \"x\\n\", found t \"x\""));
    EXPECT_EQ(differences(expect_message{"t", "x"}, mqtt_message{"t2", "x"}).size(), 1U);
    EXPECT_THAT(differences(expect_message{"t", "x"}, std::nullopt), ElementsAre("expected t \"x\", found no message"));
}

TEST(expect_no_message, names_the_message_that_came) {
    EXPECT_THAT(differences(expect_no_message{}, std::nullopt), IsEmpty());
    EXPECT_THAT(differences(expect_no_message{}, mqtt_message{"t", "x"}),
                ElementsAre("expected no further message, found t \"x\""));
}

TEST(expect_file, compares_every_byte) {
    EXPECT_THAT(differences(expect_file{"/f", "10.0.0.1"}, "10.0.0.1"), IsEmpty());
    EXPECT_THAT(differences(expect_file{"/f", "10.0.0.1"}, "10.0.0.1\n"),
                ElementsAre("/f: expected \"10.0.0.1\", found \"10.0.0.1\\n\""));
    EXPECT_THAT(differences(expect_file{"/f", ""}, std::nullopt), ElementsAre("/f: expected \"\", found no such file"));
}
