#include "sim/outside/command_line.h"

#include <gtest/gtest.h>

namespace {

using words = std::vector<std::string>;

struct refused {
    const char *why;
    play_request (*read)(const words &arguments);
    words arguments;
    const char *expected;  // part of the message
};

const refused REFUSED[] = {
    {"no scenario", read_run_request, {}, "expected a scenario"},
    {"two scenarios", read_run_request, {"a", "b"}, "did not expect \"b\""},
    {"unknown option", read_run_request, {"a", "--loud"}, "did not expect \"--loud\""},
    {"no speed", read_run_request, {"a", "--speed"}, "from 1 to 1000"},
    {"standstill", read_run_request, {"a", "--speed", "0"}, "from 1 to 1000"},
    {"just too fast", read_run_request, {"a", "--speed", "1001"}, "from 1 to 1000"},
    {"a broken number", read_run_request, {"a", "--speed", "8x"}, "from 1 to 1000"},
    {"seconds beyond eight digits", read_run_request, {"a", "--seconds", "100000000"}, "from 1 to 99999999"},
    {"no time at all", read_run_request, {"a", "--seconds", "0"}, "behind --seconds, found \"0\""},
    {"no command", read_run_request, {"a", "--"}, "expected a command"},
    {"a shell has the terminal already", read_shell_request, {"--view"}, "did not expect \"--view\""},
    {"no port", read_module_request, {"--model", "EC25"}, "AT port"},
    {"no model", read_module_request, {"/dev/ttyUSB2"}, "expected --model with one of"},
    {"unknown model", read_module_request, {"/dev/ttyUSB2", "--model", "EC99"}, "found \"EC99\""},
    {"a single dash is no scenario", read_run_request, {"-"}, "did not expect \"-\""},
    {"no short options", read_run_request, {"a", "-vq"}, "did not expect \"-vq\""},
    {"a value that nobody asked for", read_run_request, {"a", "--quiet=1"}, "did not expect \"--quiet=1\""},
    {"a second scenario behind an option", read_run_request, {"a", "--view", "b"}, "did not expect \"b\""},
    {"a shell runs the daemon", read_shell_request, {"a", "--", "b"}, "did not expect \"--\""},
    {"dashes without a command are no less wrong", read_module_request, {"/dev/x", "--"}, "did not expect \"--\""},
    {"a real module has its own pace", read_module_request, {"/dev/ttyUSB2", "--speed", "2"}, "did not expect"},
};

TEST(command_line, what_cannot_be_is_refused_with_what_was_expected) {
    for (const refused &row : REFUSED) {
        try {
            row.read(row.arguments);
            ADD_FAILURE() << row.why << ": accepted";
        } catch (const request_error &e) {
            EXPECT_NE(e.text.find(row.expected), std::string::npos) << row.why << ": " << e.text;
        }
    }
}

TEST(command_line, words_behind_the_dashes_are_the_command) {
    const play_request request = read_run_request({"a", "--speed", "100", "--view", "--", "daemon", "--quiet"});
    EXPECT_EQ(request.scenario, "a");
    EXPECT_EQ(request.speed, 100U);
    EXPECT_EQ(request.beside, companion::view);
    EXPECT_EQ(request.level, journal_level::story);
    EXPECT_EQ(request.command, (words{"daemon", "--quiet"}));
}

TEST(command_line, a_shell_without_a_scenario_plays_the_drive) {
    EXPECT_EQ(read_shell_request({}).scenario, "drive");
    EXPECT_EQ(read_shell_request({"mine"}).scenario, "mine");
}

TEST(command_line, attaching_takes_a_box_and_a_command) {
    EXPECT_EQ(read_attach_request({}).box, 0);
    EXPECT_TRUE(read_attach_request({}).command.empty());
    EXPECT_EQ(read_attach_request({"--box", "12"}).box, 12);
    EXPECT_EQ(read_attach_request({"--box", "12", "--", "ls", "--", "-l"}).command, (words{"ls", "--", "-l"}));
    const words wrong[] = {{"ls"}, {"--"}, {"--box"}, {"--box", "x"}, {"--box", "0"}, {"--box", "1", "2"}};
    for (const words &arguments : wrong) {
        EXPECT_THROW(read_attach_request(arguments), request_error) << arguments.back();
    }
}

TEST(command_line, ports_are_named_in_full) {
    EXPECT_EQ(read_ports({"/dev/ttyUSB2", "/dev/x"}), (words{"/dev/ttyUSB2", "/dev/x"}));
    EXPECT_TRUE(read_ports({}).empty());
    EXPECT_THROW(read_ports({"ttyUSB2"}), request_error);
    EXPECT_THROW(read_ports({"/dev/ttyUSB2", "--loud"}), request_error);
}

TEST(command_line, models_are_known_as_the_daemon_knows_them) {
    for (const char *model : {"EC21", "EC25", "EC25-AF", "BG96", "RM500Q", "RM520N"}) {
        EXPECT_EQ(read_module_request({"/dev/x", "--model", model}).model, model);
    }
}

}  // namespace
