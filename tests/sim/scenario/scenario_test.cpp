#include "sim/scenario/scenario.h"

#include <csignal>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// The only statement of a text that holds one, from whatever section.
template <typename Action>
Action only(const std::string &text) {
    const scenario story = parse_scenario(text, "test");
    std::vector<statement> all;
    for (const section &part : story.sections) {
        all.insert(all.end(), part.statements.begin(), part.statements.end());
    }
    EXPECT_EQ(all.size(), 1U) << text;
    if (all.empty() || !std::holds_alternative<Action>(all[0].what)) {
        ADD_FAILURE() << "another statement: " << text;
        return {};
    }
    return std::get<Action>(all[0].what);
}

}  // namespace

TEST(scenario, of_an_empty_text_starts_the_daemon_and_does_nothing) {
    const scenario story = parse_scenario("", "test");
    ASSERT_EQ(story.sections.size(), 1U);
    EXPECT_TRUE(story.sections[0].statements.empty());
    EXPECT_EQ(story.module, "");
    EXPECT_EQ(story.summary, "");
}

TEST(scenario, the_first_comment_is_the_summary) {
    EXPECT_EQ(parse_scenario("\n#  What it shows, \"odd\"  \n# more\n", "test").summary, "What it shows, \"odd\"  ");
}

TEST(scenario, module) {
    EXPECT_EQ(parse_scenario("module EC25", "test").module, "EC25");
    EXPECT_EQ(parse_scenario("module none", "test").module, "");
}

TEST(scenario, answer) {
    const auto answer = only<set_answer>("answer AT+CSQ delay 1.5s torn 3\n| +CSQ: 1\n|\n|  OK\\\n");
    EXPECT_EQ(answer.command, "at+csq");
    EXPECT_EQ(answer.bytes, "+CSQ: 1\r\n\r\n OK");
    EXPECT_EQ(answer.delay, 1500ms);
    EXPECT_EQ(answer.torn, 3U);
    const auto plain = only<set_answer>("answer at\n|OK");
    EXPECT_EQ(plain.bytes, "OK\r\n");
    EXPECT_EQ(plain.delay, 0ms);
    EXPECT_EQ(plain.torn, 0U);
    EXPECT_EQ(only<set_answer>("answer at torn 2 delay 3ms\n| x").delay, 3ms);
}

TEST(scenario, what_else_the_module_says) {
    EXPECT_EQ(only<set_silence>("silence AT+CSQ").command, "at+csq");
    EXPECT_TRUE(only<set_echo>("echo on").on);
    EXPECT_FALSE(only<set_echo>("echo off").on);
    EXPECT_EQ(only<unsolicited>("unsolicited\n| +CREG: 1").bytes, "+CREG: 1\r\n");
    only<unplug_module>("vanish");
    only<plug_module>("return");
}

TEST(scenario, what_the_router_does) {
    EXPECT_EQ(only<write_config_statement>("config\n| {\n|  \"a\": \"\\n\"\n| }").json, "{\n \"a\": \"\\n\"\n}\n");
    EXPECT_EQ(only<touch_file_statement>("touch /tmp/a").path, "/tmp/a");
    EXPECT_EQ(only<remove_file_statement>("remove /tmp/a").path, "/tmp/a");
    EXPECT_EQ(only<make_directory_statement>("directory /tmp/a").path, "/tmp/a");
    EXPECT_EQ(only<write_file_statement>("write /tmp/a\n| one\n| two").bytes, "one\ntwo\n");
    EXPECT_EQ(only<set_address_statement>("address 10.1.2.3/30").address, "10.1.2.3/30");
    EXPECT_EQ(only<set_address_statement>("address none").address, "");
    const auto key = only<set_key>("set GPIO GPIO_TEMP string  38 C");
    EXPECT_EQ(key.database, "GPIO");
    EXPECT_EQ(key.what.key, "GPIO_TEMP");
    EXPECT_EQ(key.what.value, (typed_value{"string", " 38 C"}));
    EXPECT_EQ(only<send_signal>("at 1s\nsignal KILL").number, SIGKILL);
    only<start_daemon>("at 1s\nstart");
    EXPECT_EQ(only<say>("say  the end, \"nearly\"").text, "the end, \"nearly\"");
}

TEST(scenario, programs_of_the_router) {
    const auto program = only<install_program_statement>("program /run/qos delay 300ms status 3");
    EXPECT_EQ(program.path, "/run/qos");
    EXPECT_EQ(program.status, 3);
    EXPECT_EQ(program.delay, 300ms);
    EXPECT_EQ(program.output, "");
    const auto plain = only<install_program_statement>("program /usr/bin/wwan-up");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.delay, 0ms);
    EXPECT_EQ(only<install_program_statement>("program /a status 255").status, 255);

    const auto tool = only<install_program_statement>("qmicli\n|   MTU: 1500\n| \\x00\\");
    EXPECT_EQ(tool.path, "/usr/bin/qmicli");
    EXPECT_EQ(tool.output, std::string("  MTU: 1500\n\0", 13));
    EXPECT_EQ(tool.status, 0);
    EXPECT_EQ(tool.delay, 0ms);
    EXPECT_NE(only<install_program_statement>("qmicli fail").status, 0);
    EXPECT_GT(only<install_program_statement>("qmicli hang").delay, 1h);

    EXPECT_TRUE(only<set_broker>("broker start").runs);
    EXPECT_FALSE(only<set_broker>("broker stop").runs);
}

TEST(scenario, uptime) {
    EXPECT_EQ(only<write_uptime_statement>("uptime /tmp/a").path, "/tmp/a");
    EXPECT_EQ(only<write_uptime_statement>("uptime /tmp/a").offset_seconds, 0);
    EXPECT_EQ(only<write_uptime_statement>("uptime /tmp/a 600s ago").offset_seconds, -600);
    EXPECT_EQ(only<write_uptime_statement>("uptime /tmp/a 4294967295s ahead").offset_seconds, 4294967295);
}

TEST(scenario, the_whole_journal_must_come_out) {
    only<set_mark>("at 1s\nmark");
    const auto journal = only<expect_journal>("at 1s\nexpect-journal\n| run a  b\n| log local0.notice  c");
    EXPECT_EQ(journal.lines, (std::vector<std::string>{"run a  b", "log local0.notice  c"}));
    EXPECT_TRUE(only<expect_journal>("at 1s\nexpect-journal").lines.empty());
    EXPECT_EQ(only<expect_no_file>("at 1s\nexpect-no-file /run/a").path, "/run/a");
    EXPECT_EQ(only<expect_interface>("at 1s\nexpect-interface eth1 up").name, "eth1");
    EXPECT_TRUE(only<expect_interface>("at 1s\nexpect-interface eth1 up").up);
    EXPECT_FALSE(only<expect_interface>("at 1s\nexpect-interface eth1 down").up);
    EXPECT_EQ(only<expect_message>("at 1s\nexpect-message v1/x\n| {$PID}").topic, "v1/x");
    EXPECT_EQ(only<expect_message>("at 1s\nexpect-message v1/x\n| {$PID}").payload, "{$PID}\n");
    only<expect_no_message>("at 1s\nexpect-no-message");
}

TEST(scenario, what_must_come_out) {
    const auto cell =
        only<expect_cell>("after cycle 1\nexpect\n| CELL_MCC string  460\n| CELL_MNC string\n| A real -999.0");
    ASSERT_EQ(cell.keys.size(), 3U);
    EXPECT_EQ(cell.keys[0].value, (typed_value{"string", " 460"}));
    EXPECT_EQ(cell.keys[1].value, (typed_value{"string", ""}));
    EXPECT_EQ(cell.keys[2].value, (typed_value{"real", "-999.0"}));
    EXPECT_TRUE(only<expect_cell>("after cycle 1\nexpect\n").keys.empty());
    EXPECT_EQ(only<expect_key>("at 1s\nexpect-key A int -3").what.value, (typed_value{"int", "-3"}));
    EXPECT_EQ(only<expect_absent>("at 1s\nexpect-absent A").key, "A");
    const auto log = only<expect_log>("at 1s\nexpect-log local0.alert\n| one\n|  two");
    EXPECT_EQ(log.priority, "local0.alert");
    EXPECT_EQ(log.lines, (std::vector<std::string>{"one", " two"}));
    EXPECT_EQ(only<expect_log>("at 1s\nexpect-run\n| cmd_ddns stop").priority, "run");
    EXPECT_EQ(only<expect_log>("at 1s\nexpect-asked\n| at&f").priority, "asked");
    EXPECT_EQ(only<expect_file>("at 1s\nexpect-file /run/a\n| one").bytes, "one");
    EXPECT_EQ(only<expect_file>("at 1s\nexpect-file /run/a\n| one\n|").bytes, "one\n");
}

TEST(scenario, sections) {
    const scenario story =
        parse_scenario("echo on\nat 300ms\necho off\nafter cycle 2\nafter exit KILL\nat 12s\nend\n", "test");
    ASSERT_EQ(story.sections.size(), 5U);
    EXPECT_EQ(story.sections[0].statements.size(), 1U);
    EXPECT_EQ(std::get<at_time>(story.sections[1].when).time, 300ms);
    EXPECT_EQ(story.sections[1].statements[0].line, 3U);
    EXPECT_EQ(std::get<after_cycle>(story.sections[2].when).cycle, 2U);
    EXPECT_EQ(std::get<after_exit>(story.sections[3].when).status, "KILL");
    EXPECT_TRUE(std::holds_alternative<end_scenario>(story.sections[4].statements[0].what));
}

TEST(scenario, line_ends_of_another_system_are_no_error) {
    EXPECT_EQ(only<set_answer>("answer at\r\n| OK\r\n").bytes, "OK\r\n");
}

struct error_row {
    const char *why;
    const char *text;
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
        {"address without length", "address 10.1.2.3", 1},
        {"address with 33 bits", "address 10.1.2.3/33", 1},
        {"address that is none", "address 10.1.2/30", 1},
        {"key without a type", "set CELL KEY", 1},
        {"key of an unknown type", "set CELL KEY float 1.0", 1},
        {"integer that is none", "set CELL KEY int 1.5", 1},
        {"integer with a blank more", "set CELL KEY int  1", 1},
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
