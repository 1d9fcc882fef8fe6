#include "sim/scenario/scenario.h"

#include <gmock/gmock.h>

#include "tests/sim/scenario/paper_router.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// What the statements of a text do.
std::vector<std::string> done(const std::string &text) {
    paper_router router;
    carry_out(text, router);
    return router.done;
}

struct statement_row {
    const char *text;
    const char *done;  // the parts separated by "|", escapes as in the journal
};

constexpr statement_row WHAT_THE_MODULE_SAYS[] = {
    {"answer AT+CSQ delay 1.5s torn 3\n| +CSQ: 1\n|\n|  OK\\\n", R"(answer at+csq|1500 ms|3|+CSQ: 1\r\n\r\n OK)"},
    {"answer at\n|OK", R"(answer at|0 ms|0|OK\r\n)"},
    {"answer at torn 2 delay 3ms\n| x", R"(answer at|3 ms|2|x\r\n)"},
    {"answer at\r\n| OK\r\n", R"(answer at|0 ms|0|OK\r\n)"},  // line ends of another system
    {"silence AT+CSQ", "silence|at+csq"},
    {"echo on", "echo|on"},
    {"echo off", "echo|off"},
    {"unsolicited\n| +CREG: 1", R"(unsolicited|+CREG: 1\r\n)"},
    {"vanish", "unplug"},
    {"return", "plug"},
};

constexpr statement_row WHAT_THE_ROUTER_DOES[] = {
    {"config\n| {\n|  \"a\": \"\\n\"\n| }", R"(config|{\n "a": "\\n"\n}\n)"},  // JSON has escapes of its own
    {"touch /tmp/a", "touch|/tmp/a"},
    {"remove /tmp/a", "remove|/tmp/a"},
    {"directory /tmp/a", "directory|/tmp/a"},
    {"write /tmp/a\n| one\n| two", R"(write|/tmp/a|one\ntwo\n)"},
    {"uptime /tmp/a", "uptime|/tmp/a|0"},
    {"uptime /tmp/a 600s ago", "uptime|/tmp/a|-600"},
    {"uptime /tmp/a 4294967295s ahead", "uptime|/tmp/a|4294967295"},
    {"address 10.1.2.3/30", "address|10.1.2.3/30"},
    {"address 10.1.2.3/32", "address|10.1.2.3/32"},
    {"address none", "address|"},
    {"program /run/qos delay 300ms status 3", "program|/run/qos|3|300 ms|"},
    {"program /usr/bin/wwan-up", "program|/usr/bin/wwan-up|0|0 ms|"},
    {"program /sbin/a status 255", "program|/sbin/a|255|0 ms|"},
    {"qmicli\n|   MTU: 1500\n| \\x00\\", R"(program|/usr/bin/qmicli|0|0 ms|  MTU: 1500\n\x00)"},
    {"qmicli fail", "program|/usr/bin/qmicli|1|0 ms|"},
    {"qmicli hang", "program|/usr/bin/qmicli|0|86400000 ms|"},
    {"broker start", "broker|on"},
    {"broker stop", "broker|off"},
    {"set GPIO GPIO_TEMP string  38 C", "set|GPIO|GPIO_TEMP|string| 38 C"},
    {"set GPIO A string \\x1b\\x41", R"(set|GPIO|A|string|\\x1BA)"},  // in the form that is shown
    {"at 1s\nsignal KILL", "signal|KILL"},
    {"at 1s\nstart", "start"},
    {"say  the end, \"nearly\"", "say|the end, \"nearly\""},
    {"at 1s\nmark", "mark"},
    {"at 1s\nend", "end"},
    {"at 1s\nrepeat", "repeat"},
};

TEST(scenario, what_the_module_says) {
    for (const statement_row &row : WHAT_THE_MODULE_SAYS) {
        EXPECT_THAT(done(row.text), ElementsAre(row.done)) << row.text;
    }
}

TEST(scenario, what_the_router_does) {
    for (const statement_row &row : WHAT_THE_ROUTER_DOES) {
        EXPECT_THAT(done(row.text), ElementsAre(row.done)) << row.text;
    }
}

TEST(scenario, of_an_empty_text_starts_the_daemon_and_does_nothing) {
    const scenario story = parse_scenario("", "test");
    EXPECT_TRUE(story.steps.empty());
    EXPECT_EQ(story.module, "");
    EXPECT_EQ(story.summary, "");
}

TEST(scenario, the_first_comment_is_the_summary) {
    EXPECT_EQ(parse_scenario("\n#  What it shows, \"odd\"  \n# more\n", "test").summary, "What it shows, \"odd\"  ");
}

TEST(scenario, module) {
    EXPECT_EQ(parse_scenario("module EC25", "test").module, "EC25");
    EXPECT_EQ(parse_scenario("module none", "test").module, "");
    EXPECT_TRUE(parse_scenario("module EC25", "test").steps.empty()) << "nothing to do when its turn comes";
}

TEST(scenario, points_in_time_stand_between_statements) {
    const auto steps =
        parse_scenario("echo on\nat 300ms\necho off\nafter cycle 2\nafter exit KILL\nat 12s\nend\n", "test").steps;
    ASSERT_EQ(steps.size(), 7U);
    EXPECT_EQ(std::get<at_time>(steps[1].what).time, 300ms);
    EXPECT_TRUE(std::holds_alternative<action>(steps[2].what));
    EXPECT_EQ(steps[2].line, 3U);
    EXPECT_EQ(std::get<after_cycle>(steps[3].what).cycle, 2U);
    EXPECT_EQ(std::get<after_exit>(steps[4].what).status, "KILL");
    EXPECT_EQ(std::get<at_time>(steps[5].what).time, 12s);
}

TEST(scenario, an_unknown_statement_is_told_the_known_ones) {
    try {
        parse_scenario("answr at", "file");
        ADD_FAILURE() << "accepted";
    } catch (const scenario_error &e) {
        EXPECT_THAT(e.what(),
                    testing::StartsWith("file:1: expected a statement, found \"answr\"; statements are module, "));
        EXPECT_THAT(e.what(), testing::EndsWith(", expect-no-message"));
    }
}

TEST(scenario, errors_say_what_may_stand_there) {
    const std::pair<const char *, const char *> rows[] = {
        {"vanish now", "before \"now\"; written so: vanish"},
        {"set CELL A float 1",
         "int -95 (32 bits), real -999.0 (with a point) or string and any text, found \"A float 1\""},
        {"at 1s\nexpect-log local0.panic\n| x",
         "found \"local0.panic\"; behind the point stands emerg, alert, crit, err, "
         "warning, notice, info, debug"},
        {"after exit SIGKILL", "such as TERM, KILL, SEGV or ABRT, found \"SIGKILL\""},
        {"at 1s\nsignal HUP", "TERM, INT, QUIT, KILL, STOP or CONT, found \"HUP\""},
    };
    for (const auto &[text, expected] : rows) {
        try {
            parse_scenario(text, "file");
            ADD_FAILURE() << "accepted: " << text;
        } catch (const scenario_error &e) {
            EXPECT_THAT(e.what(), testing::HasSubstr(expected));
        }
    }
}

struct error_row {
    const char *why;
    std::string_view text;
    int line;
};

TEST(scenario, errors_name_the_line) {
    constexpr error_row ROWS[] = {
        {"unknown word", "# x\n\nanswr at\n| OK", 3},
        {"upper case", "Echo on", 1},
        {"block of nothing", "| OK", 1},
        {"block behind a statement that takes none", "echo on\n| OK", 2},
        {"blank line inside a block", "answer at\n| OK\n\n| OK", 4},
        {"comment inside a block", "answer at\n| OK\n# no\n| OK", 4},
        {"module twice", "module EC25\nmodule EC21", 2},
        {"module late", "at 1s\nmodule EC25", 2},
        {"module without a name", "module", 1},
        {"answer to nothing", "answer\n| OK", 1},
        {"answer without a block", "answer at\necho on", 1},
        {"answer with an unknown option", "answer at slowly\n| OK", 1},
        {"delay twice", "answer at delay 1s delay 1s\n| OK", 1},
        {"delay without a time", "answer at delay\n| OK", 1},
        {"torn into nothing", "answer at torn 0\n| OK", 1},
        {"torn twice", "answer at torn 1 torn 1\n| OK", 1},
        {"unknown escape", "answer at\n| O\\K", 1},
        {"silence of nothing", "silence", 1},
        {"echo neither on nor off", "echo maybe", 1},
        {"more behind a statement", "vanish now", 1},
        {"config without a block", "config", 1},
        {"path that is relative", "touch tmp/a", 1},
        {"no path", "touch", 1},
        {"path of the host", "touch /etc/none", 1},
        {"path that leaves its folder", "remove /tmp/../etc/none", 1},
        {"path that stays in its folder for no reason", "write /tmp/./a\n| x", 1},
        {"folder itself", "remove /tmp", 1},
        {"folder itself with a slash", "remove /tmp/", 1},
        {"folder that begins alike", "remove /tmpfiles/a", 1},
        {"other settings of the kernel", "write /proc/sys/kernel/hostname\n| x", 1},
        {"descriptors", "write /proc/self/fd/0\n| x", 1},
        {"secret of the host", "at 1s\nexpect-file /etc/shadow\n| x", 2},
        {"what the box needs itself", "remove /run/box/real", 1},
        {"by its second name", "remove /var/run/box", 1},
        {"what the box has open", "write /dev/fd/0/a\n| x", 1},
        {"with one slash more", "remove /run//box", 1},
        {"escape of a terminal", "say a\x1b[2J", 1},
        {"escape of a terminal in one byte", "echo on\n# a\x9b 2J", 2},
        {"escape of a terminal as UTF-8", "say a\xc2\x9b", 1},
        {"byte 0", {"say a\0b", 7}, 1},
        {"address without length", "address 10.1.2.3", 1},
        {"address with 33 bits", "address 10.1.2.3/33", 1},
        {"address that is none", "address 10.1.2/30", 1},
        {"key without a type", "set CELL KEY", 1},
        {"key of an unknown type", "set CELL KEY float 1.0", 1},
        {"integer that is none", "set CELL KEY int 1.5", 1},
        {"integer with a blank more", "set CELL KEY int  1", 1},
        {"integer that the database cannot hold", "set CELL KEY int 2147483648", 1},
        {"real without a point", "set CELL KEY real 1", 1},
        {"unknown signal", "at 1s\nsignal USR1", 2},
        {"signal without a name", "at 1s\nsignal", 2},
        {"signal before the start", "signal TERM", 1},
        {"say nothing", "say", 1},
        {"program at no path", "program qos", 1},
        {"exit status of a program beyond a byte", "program /run/qos status 256", 1},
        {"exit status twice", "program /run/qos status 1 status 1", 1},
        {"delay of a program twice", "program /run/qos delay 1s delay 1s", 1},
        {"program with an unknown option", "program /run/qos slowly", 1},
        {"tool that goes wrong in an unknown way", "qmicli crash", 1},
        {"tool without a text", "qmicli", 1},
        {"tool that fails with a text", "qmicli fail\n| x", 2},
        {"broker neither started nor stopped", "broker restart", 1},
        {"uptime at no path", "uptime", 1},
        {"uptime without a direction", "uptime /tmp/a 600s", 1},
        {"uptime without a unit", "uptime /tmp/a 600 ago", 1},
        {"uptime in fractions", "uptime /tmp/a 1.5s ago", 1},
        {"uptime with more behind it", "uptime /tmp/a 600s ago now", 1},
        {"asked for nothing", "at 1s\nexpect-asked", 2},
        {"mark with a name", "mark here", 1},
        {"journal before the start", "expect-journal", 1},
        {"journal line of an unknown kind", "at 1s\nexpect-journal\n| run a\n| start b", 4},
        {"journal line of an unknown priority", "at 1s\nexpect-journal\n| log alert x", 3},
        {"journal line without a text", "at 1s\nexpect-journal\n| log local0.alert", 3},
        {"journal line that is empty", "at 1s\nexpect-journal\n|", 3},
        {"interface without a state", "at 1s\nexpect-interface eth0", 2},
        {"interface without a name", "at 1s\nexpect-interface", 2},
        {"no file without a path", "at 1s\nexpect-no-file", 2},
        {"message without a topic", "at 1s\nexpect-message\n| x", 2},
        {"message without a payload", "at 1s\nexpect-message v1/x", 2},
        {"expectation before the start", "expect-absent KEY", 1},
        {"bad line in a block", "at 1s\nexpect\n| KEY int 1\n| KEY int", 4},
        {"unknown priority", "at 1s\nexpect-log alert\n| x", 2},
        {"log without lines", "at 1s\nexpect-log local0.alert", 2},
        {"time without a unit", "at 12", 1},
        {"time of an unknown unit", "at 12m", 1},
        {"negative time", "at -1s", 1},
        {"time that is no number", "at nans", 1},
        {"time without an end", "at 1e99s", 1},
        {"only a unit", "at s", 1},
        {"time that goes back", "at 2s\nat 1s", 2},
        {"cycle 0", "after cycle 0", 1},
        {"cycle that goes back", "after cycle 2\nafter cycle 2", 2},
        {"after something else", "after lunch", 1},
        {"exit status beyond a byte", "after exit 256", 1},
        {"end before the start", "end", 1},
        {"statement behind end", "at 1s\nend\necho on", 3},
        {"section behind end", "at 1s\nend\nat 2s", 3},
        {"statement behind repeat", "at 1s\nrepeat\necho on", 3},
        {"repeat without time", "at 0s\nrepeat", 2},
    };
    for (const error_row &row : ROWS) {
        try {
            parse_scenario(row.text, "file");
            ADD_FAILURE() << "no error: " << row.why;
        } catch (const scenario_error &e) {
            const std::string expected = "file:" + std::to_string(row.line) + ": expected ";
            EXPECT_EQ(std::string(e.what()).substr(0, expected.size()), expected) << row.why << ": " << e.what();
        }
    }
}

TEST(scenario, every_beginning_of_a_text_is_read_or_refused) {
    const std::string whole = "# x\nmodule EC25\nanswer at delay 1s torn 2\n| O\\x41\n|\nat 1.5s\nset A B real 1.0\n"
                              "expect\n| A int 1\nexpect-log local0.alert\n| x\nafter cycle 1\nend\n";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        try {
            parse_scenario(whole.substr(0, length), "test");
        } catch (const scenario_error &) {
            // A text that is cut in the middle of a statement may be refused.
        }
    }
}

TEST(scenario, expectations_may_stand_behind_end) {
    EXPECT_NO_THROW(parse_scenario("at 1s\nend\nexpect-log local0.alert\n| bye\n", "test"));
}

}  // namespace
