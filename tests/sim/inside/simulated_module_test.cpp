#include "sim/inside/simulated_module.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using moment = simulated_module::clock::time_point;

constexpr moment START{};

// Everything that the module says up to `now`.
std::string said(simulated_module &module, moment now) {
    std::string all;
    for (std::string piece = module.next_output(now); !piece.empty(); piece = module.next_output(now)) {
        all += piece;
    }
    return all;
}

simulated_module module_with(const char *command, const char *answer) {
    simulated_module module;
    module.set_answer({.command = command, .bytes = answer});
    return module;
}

}  // namespace

TEST(simulated_module, repeats_the_command_and_answers_it) {
    simulated_module module = module_with("at+csq", "+CSQ: 1\r\n");
    EXPECT_EQ(module.receive("at+csq\r"), std::vector<std::string>{"at+csq"});
    EXPECT_EQ(said(module, START), "at+csq\r\r\n+CSQ: 1\r\n");
    EXPECT_EQ(said(module, START + 1h), "");
}

TEST(simulated_module, without_echo_only_the_answer_comes) {
    simulated_module module = module_with("at+csq", "OK\r\n");
    module.set_echo(false);
    module.receive("at+csq\r");
    EXPECT_EQ(said(module, START), "OK\r\n");
}

TEST(simulated_module, upper_and_lower_case_are_alike) {
    simulated_module module = module_with("at+csq", "OK\r\n");
    module.receive("At+CSQ\r");
    EXPECT_EQ(said(module, START), "At+CSQ\r\r\nOK\r\n");
}

TEST(simulated_module, an_unknown_command_gets_error) {
    simulated_module module;
    module.set_echo(false);
    module.receive("at+huh\r");
    EXPECT_EQ(said(module, START), "\r\nERROR\r\n");
}

TEST(simulated_module, a_silent_command_is_not_even_repeated) {
    simulated_module module = module_with("at", "OK\r\n");
    module.set_silence("at");
    EXPECT_EQ(module.receive("at\r").size(), 1U);
    EXPECT_EQ(said(module, START), "");
    EXPECT_EQ(module.next_time(START), std::nullopt);
}

TEST(simulated_module, a_command_may_come_in_pieces_and_end_with_either_line_end) {
    simulated_module module = module_with("at", "OK\r\n");
    EXPECT_TRUE(module.receive("a").empty());
    EXPECT_EQ(module.receive("t\r\nat\n\r\r"), (std::vector<std::string>{"at", "at"}));
}

TEST(simulated_module, a_delay_holds_back_the_answer_but_not_the_echo) {
    simulated_module module;
    module.set_answer({.command = "at", .bytes = "OK\r\n", .delay = 2s});
    module.receive("at\r");
    EXPECT_EQ(said(module, START), "at\r\r\n");
    EXPECT_EQ(module.next_time(START), START + 2s);
    EXPECT_EQ(said(module, START + 1999ms), "");
    EXPECT_EQ(said(module, START + 2s), "OK\r\n");
}

TEST(simulated_module, commands_wait_for_a_delayed_answer) {
    simulated_module module = module_with("second", "2\r\n");
    module.set_answer({.command = "first", .bytes = "1\r\n", .delay = 2s});
    module.receive("first\r");
    EXPECT_EQ(said(module, START), "first\r\r\n");
    module.receive("second\r");
    EXPECT_EQ(said(module, START + 1s), "");
    EXPECT_EQ(said(module, START + 2s), "1\r\nsecond\r\r\n2\r\n");
}

TEST(simulated_module, a_torn_answer_comes_in_pieces_with_pauses) {
    simulated_module module;
    module.set_echo(false);
    module.set_answer({.command = "at", .bytes = "12345", .torn = 2});
    module.receive("at\r");
    moment now = START;
    std::vector<std::string> pieces;
    while (const auto due = module.next_time(now)) {
        EXPECT_TRUE(pieces.empty() || *due > now);
        now = *due;
        pieces.push_back(module.next_output(now));
        EXPECT_EQ(module.next_output(now), "");
    }
    EXPECT_EQ(pieces, (std::vector<std::string>{"12", "34", "5"}));
}

TEST(simulated_module, an_answer_holds_until_the_next_one) {
    simulated_module module = module_with("at", "1\r\n");
    module.set_echo(false);
    module.receive("at\rat\r");
    EXPECT_EQ(said(module, START), "1\r\n1\r\n");
    module.set_answer({.command = "at", .bytes = "2\r\n"});
    module.receive("at\r");
    EXPECT_EQ(said(module, START), "2\r\n");
}

TEST(simulated_module, without_power_everything_pending_is_lost) {
    simulated_module module;
    module.set_answer({.command = "at", .bytes = "OK\r\n", .delay = 1s});
    module.receive("at\rat\rhalf");
    said(module, START);
    module.forget();
    EXPECT_EQ(said(module, START + 1h), "");
    EXPECT_TRUE(module.receive("\r").empty());
}
