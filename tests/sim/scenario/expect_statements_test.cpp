#include <gmock/gmock.h>

#include "tests/sim/scenario/paper_router.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// How what the router shows differs from what the statement expects.
std::vector<std::string> differences(const std::string &statement, paper_router &router) {
    router.differences = {"the statement judged nothing"};
    carry_out("at 1s\n" + statement, router);
    return router.differences;
}

class expectation : public testing::Test {
protected:
    paper_router router_;
};

class expect_keys : public expectation {
protected:
    expect_keys() {
        router_.keys_before = router_.keys = {{"CELL_BAND", {"int", "-999"}}, {"CELL_OTHER", {"int", "1"}}};
    }
};

TEST_F(expect_keys, hold_when_listed_keys_match_and_others_stayed) {
    router_.keys = {{"CELL_BAND", {"int", "-999"}}, {"CELL_MCC", {"string", ""}}, {"CELL_OTHER", {"int", "2"}}};
    EXPECT_THAT(differences("expect\n| CELL_MCC string", router_), IsEmpty());
}

TEST_F(expect_keys, one_blank_stands_before_the_value_and_further_ones_belong_to_it) {
    router_.keys = {{"CELL_BAND", {"int", "-999"}}, {"CELL_MCC", {"string", " 460"}}};
    EXPECT_THAT(differences("expect\n| CELL_MCC string  460", router_), IsEmpty());
}

TEST_F(expect_keys, name_a_wrong_value_a_wrong_type_and_a_missing_key) {
    router_.keys = {{"CELL_BAND", {"int", "-999"}}, {"CELL_MCC", {"string", "262"}}, {"CELL_TAC", {"string", "1"}}};
    EXPECT_THAT(differences("expect\n| CELL_MCC string 263\n| CELL_TAC int 1\n| CELL_CID int 5", router_),
                ElementsAre("CELL_MCC: expected string 263, found string 262",
                            "CELL_TAC: expected int 1, found string 1", "CELL_CID: expected int 5, found nothing"));
}

TEST_F(expect_keys, name_a_key_that_should_have_stayed) {
    router_.keys = {{"CELL_BAND", {"int", "3"}}, {"CELL_RSRP", {"int", "-90"}}};
    EXPECT_THAT(differences("expect", router_), ElementsAre("CELL_BAND: expected int -999 as before, found int 3",
                                                            "CELL_RSRP: expected nothing as before, found int -90"));
}

TEST_F(expect_keys, fail_while_the_module_was_not_asked) {
    router_.keys_before.reset();
    EXPECT_THAT(differences("expect", router_), ElementsAre("the module was not asked for its serving cell yet"));
}

TEST_F(expect_keys, or_look_at_one_alone) {
    EXPECT_THAT(differences("expect-key CELL_OTHER int 1", router_), IsEmpty());
    EXPECT_THAT(differences("expect-key CELL_OTHER int 2", router_),
                ElementsAre("CELL_OTHER: expected int 2, found int 1"));
    EXPECT_THAT(differences("expect-key CELL_NONE real -999.0", router_),
                ElementsAre("CELL_NONE: expected real -999.0, found nothing"));
}

TEST_F(expect_keys, or_that_one_is_absent) {
    EXPECT_THAT(differences("expect-absent CELL_NONE", router_), IsEmpty());
    EXPECT_THAT(differences("expect-absent CELL_OTHER", router_),
                ElementsAre("CELL_OTHER: expected nothing, found int 1"));
}

class expect_log : public expectation {};

TEST_F(expect_log, wants_lines_in_order_with_others_between) {
    router_.log = {{"local0.alert", "one"}, {"local0.info", "two"}, {"local0.alert", "two"}, {"local0.alert", "three"}};
    EXPECT_THAT(differences("expect-log local0.alert\n| one\n| three", router_), IsEmpty());
    EXPECT_THAT(differences("expect-log local0.alert\n| three\n| one", router_),
                ElementsAre("local0.alert: expected, in this order: one", "local0.alert: found: one",
                            "local0.alert: found: two", "local0.alert: found: three"));
    const std::pair<const char *, const char *> wrong[] = {
        {"one line counts once", "expect-log local0.alert\n| one\n| one"},
        {"wrong priority", "expect-log local0.notice\n| one"},
        {"whole lines", "expect-log local0.alert\n| thre"},
        {"a blank more", "expect-log local0.alert\n|  one"},
    };
    for (const auto &[why, statement] : wrong) {
        EXPECT_FALSE(differences(statement, router_).empty()) << why;
    }
}

TEST_F(expect_log, takes_any_number_of_a_range) {
    router_.log = {{"local0.alert", "Cell connected (10.07 minutes offline)"}};
    EXPECT_THAT(differences("expect-log local0.alert\n| Cell connected ({10.06..10.20} minutes offline)", router_),
                IsEmpty());
    EXPECT_FALSE(
        differences("expect-log local0.alert\n| Cell connected ({10.08..10.20} minutes offline)", router_).empty());
}

TEST_F(expect_log, takes_the_daemons_process_number) {
    router_.log = {{"local0.alert", "77 ends"}};
    EXPECT_THAT(differences("expect-log local0.alert\n| $PID ends", router_), IsEmpty());
}

TEST_F(expect_log, calls_and_queries_are_no_log_lines) {
    router_.log = {{CALL_PRIORITY, "cmd_ddns stop"}, {QUERY_PRIORITY, "at&f"}};
    EXPECT_THAT(differences("expect-run\n| cmd_ddns stop", router_), IsEmpty());
    EXPECT_THAT(differences("expect-asked\n| at&f", router_), IsEmpty());
    EXPECT_THAT(differences("expect-run\n| at&f", router_),
                ElementsAre("run: expected, in this order: at&f", "run: found: cmd_ddns stop"));
    EXPECT_THAT(differences("expect-asked\n| cmd_ddns stop", router_),
                ElementsAre("asked: expected, in this order: cmd_ddns stop", "asked: found: at&f"));
}

class expect_journal : public expectation {};

TEST_F(expect_journal, wants_every_line_in_order_and_no_other) {
    router_.log = {{CALL_PRIORITY, "cmd_ddns stop"}, {"local0.notice", "one"}, {CALL_PRIORITY, "cmd_ddns  $PID"}};
    EXPECT_THAT(
        differences("expect-journal\n| run cmd_ddns stop\n| log local0.notice one\n| run cmd_ddns  $PID", router_),
        ElementsAre("the journal differs from line 3 on: expected \"run cmd_ddns  77\", found",
                    "| run cmd_ddns  $PID"));
    router_.log.back().text = "cmd_ddns  77";
    EXPECT_THAT(
        differences("expect-journal\n| run cmd_ddns stop\n| log local0.notice one\n| run cmd_ddns  $PID", router_),
        IsEmpty());
    EXPECT_THAT(differences("expect-journal\n| run cmd_ddns stop\n| log local0.alert one\n| run cmd_ddns  77", router_),
                ElementsAre("the journal differs from line 2 on: expected \"log local0.alert one\", found",
                            "| log local0.notice one", "| run cmd_ddns  77"));
    EXPECT_THAT(differences("expect-journal\n| run cmd_ddns stop\n| log local0.notice one", router_),
                ElementsAre("the journal differs from line 3 on: expected nothing more, found", "| run cmd_ddns  77"));
}

TEST_F(expect_journal, without_a_block_nothing_happened) {
    EXPECT_THAT(differences("expect-journal", router_), IsEmpty());
    EXPECT_THAT(differences("expect-journal\n| run a", router_),
                ElementsAre("the journal differs from line 1 on: expected \"run a\", found nothing more"));
}

TEST_F(expectation, a_file_holds_every_byte) {
    router_.file = "10.0.0.1";
    EXPECT_THAT(differences("expect-file /tmp/f\n| 10.0.0.1", router_), IsEmpty());
    router_.file = "10.0.0.1\n";
    EXPECT_THAT(differences("expect-file /tmp/f\n| 10.0.0.1\n|", router_), IsEmpty());
    EXPECT_THAT(differences("expect-file /tmp/f\n| 10.0.0.1", router_),
                ElementsAre("/tmp/f: expected \"10.0.0.1\", found \"10.0.0.1\\n\""));
    router_.file = "77";
    EXPECT_THAT(differences("expect-file /tmp/f\n| $PID", router_), IsEmpty());
    router_.file.reset();
    EXPECT_THAT(differences("expect-file /tmp/f\n| \\", router_), ElementsAre("/tmp/f: expected \"\", found no file"));
}

TEST_F(expectation, nothing_is_at_a_path) {
    EXPECT_THAT(differences("expect-no-file /tmp/f", router_), IsEmpty());
    router_.file = "";
    EXPECT_THAT(differences("expect-no-file /tmp/f", router_), ElementsAre("/tmp/f: expected nothing there"));
}

TEST_F(expectation, an_interface_that_is_down_is_told_from_a_missing_one) {
    EXPECT_THAT(differences("expect-interface eth1 down", router_),
                ElementsAre("eth1: expected down, found no such interface"));
    router_.interface = false;
    EXPECT_THAT(differences("expect-interface eth1 down", router_), IsEmpty());
    EXPECT_THAT(differences("expect-interface eth1 up", router_), ElementsAre("eth1: expected up, found down"));
    router_.interface = true;
    EXPECT_THAT(differences("expect-interface eth1 up", router_), IsEmpty());
}

TEST_F(expectation, a_message_has_its_topic_and_every_byte) {
    EXPECT_THAT(differences("expect-message t\n| x", router_), ElementsAre("expected t \"x\\n\", found no message"));
    router_.message = {"t", "x\n"};
    EXPECT_THAT(differences("expect-message t\n| x", router_), IsEmpty());
    EXPECT_THAT(differences("expect-message t2\n| x", router_), ElementsAre("expected t2 \"x\\n\", found t \"x\\n\""));
    router_.message = {"t", "{77}"};
    EXPECT_THAT(differences("expect-message t\n| {$PID}\\", router_), IsEmpty());
}

TEST_F(expectation, no_further_message) {
    EXPECT_THAT(differences("expect-no-message", router_), IsEmpty());
    router_.message = {"t", "x"};
    EXPECT_THAT(differences("expect-no-message", router_), ElementsAre("expected no further message, found t \"x\""));
}

}  // namespace
