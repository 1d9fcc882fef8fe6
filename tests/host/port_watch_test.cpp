// Another program at the port: before us, between two exchanges, within one, again and again, out of sight.
#include "host/port_watch.h"

#include <sys/mount.h>

#include <gmock/gmock.h>

#include "host/port_record.h"
#include "host/serial_port.h"
#include "tests/host/scripted_module.h"
#include "tests/support/device_user.h"
#include "tests/support/private_namespace.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The serving cell 27460098 as the module says it, in pieces that two readers can share out.
constexpr std::string_view ANSWER =
    "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",001,01,1A30202,389\r\n\r\nOK\r\n";
constexpr std::string_view LINE = "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",001,01,1A30202,389";

void say_in_pieces(scripted_module &module, std::string_view text, std::chrono::milliseconds pause) {
    constexpr std::size_t PIECE = 7;
    for (; !text.empty() && !module.rest(pause); text.remove_prefix(std::min(PIECE, text.size()))) {
        module.say(text.substr(0, PIECE));
    }
}

class shared_port : public testing::Test {
protected:
    void SetUp() override {
        testing::internal::CaptureStderr();
        get_back_in_step();
    }
    void TearDown() override { testing::internal::GetCapturedStderr(); }

    static at_answer ask(int fd, const at_limits &limits = patient) { return ask_module(fd, "at+qeng\r", "", limits); }
    static void expect_right_answer(const scripted_module &module) {
        const opened_port port(module);
        EXPECT_THAT(ask(port.fd()).lines, ElementsAre(LINE, "OK"));
    }
    static void expect_in_use(const scripted_module &module, const device_user &user) {
        EXPECT_LT(ser_open(module.device().c_str()), 0);
        EXPECT_EQ(recorded_port()->state, port_state::in_use);
        EXPECT_EQ(recorded_port()->reason, "cat, process " + std::to_string(user.pid()));
    }
    static bool is_to_be_had(const scripted_module &module) {
        const opened_port port(module);
        return port.fd() >= 0;
    }
};

device_user reader(const scripted_module &module) {
    return device_user(module.device(), "cat", "-");
}

TEST_F(shared_port, is_not_opened_while_another_program_had_it_open_before) {
    scripted_module module(always(std::string(ANSWER)));
    device_user user = reader(module);
    expect_in_use(module, user);
    user.end();
    ASSERT_TRUE(becomes_true([&] { return is_to_be_had(module); }));
    expect_right_answer(module);
    EXPECT_EQ(recorded_port()->state, port_state::answers);
    EXPECT_THAT(module.heard(), ElementsAre("at+qeng")) << "nothing was asked before";
}

TEST_F(shared_port, is_not_opened_again_after_another_program_opened_it) {
    const scripted_module module(always(std::string(ANSWER)));
    expect_right_answer(module);
    const device_user user = reader(module);
    expect_in_use(module, user);
}

TEST_F(shared_port, is_to_be_had_at_once_after_a_user_that_has_gone) {
    const scripted_module module(always(std::string(ANSWER)));
    for (int i = 0; i < 3; ++i) {
        expect_right_answer(module);
        reader(module).end();
    }
}

TEST_F(shared_port, answer_during_which_it_was_opened_is_none) {
    std::optional<device_user> user;
    scripted_module module([&](scripted_module &self) {
        self.hear();
        say_in_pieces(self, ANSWER.substr(0, 21), 5ms);
        user.emplace(self.device(), "cat", "-");
        say_in_pieces(self, ANSWER.substr(21), 5ms);
    });
    {
        const opened_port port(module);
        const at_answer answer = ask(port.fd());
        EXPECT_EQ(answer.ending, at_ending::port_shared);
        EXPECT_THAT(answer.lines, IsEmpty());
    }
    module.heard();  // it has started the other program
    expect_in_use(module, *user);
    EXPECT_THAT(module.heard(), ElementsAre("at+qeng"));
}

// What it took may have come before the wanted line did.
TEST_F(shared_port, wanted_line_is_none_either) {
    scripted_module module([&](scripted_module &self) {
        self.hear();
        const device_user user(self.device(), "cat", "-");
        self.say(ANSWER);
        self.rest(10min);
    });
    const opened_port port(module);
    const std::array<std::string, 3> texts{"+QENG:", "OK", "ERROR"};
    std::array<char, 128> line{};
    EXPECT_GT(ser_write_and_wait_for_txt_get_line(port.fd(), "at+qeng\r", texts.data(), 3, line.data(), 128, 1, 1),
              SER_LINE_FOUND);
    EXPECT_STREQ(line.data(), "");
}

TEST_F(shared_port, old_answer_does_not_become_the_next_ones_after_it_was_shared) {
    scripted_module module([&](scripted_module &self) {
        self.hear();
        { device_user(self.device(), "cat", "-").end(); }
        self.rest(100ms);
        self.say("\r\n+QENG: late\r\n\r\nOK\r\n");
        always(std::string(ANSWER))(self);
    });
    {
        const opened_port port(module);
        EXPECT_EQ(ask(port.fd()).ending, at_ending::port_shared);
        EXPECT_EQ(recorded_port()->state, port_state::in_use);
    }
    ASSERT_TRUE(becomes_true([&] { return is_to_be_had(module); }));
    expect_right_answer(module);
    EXPECT_THAT(module.heard(), ElementsAre("at+qeng", MARK, "at+qeng"));
}

TEST_F(shared_port, program_is_named_once_however_often_it_is_started) {
    const scripted_module module(always(std::string(ANSWER)));
    for (int i = 0; i < 3; ++i) {
        const device_user user(module.device(), "tail", "-f");
        EXPECT_LT(ser_open(module.device().c_str()), 0);
        EXPECT_EQ(look_for_users_of_port().size(), 1U);
    }
    const std::string said = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    EXPECT_THAT(said, HasSubstr("in use by another program (tail)"));
    EXPECT_EQ(said.find("(tail)"), said.rfind("(tail)"));
}

// As root; TIOCEXCL keeps others away.
TEST_F(shared_port, never_gives_a_wrong_answer_to_a_program_that_opens_it_again_and_again) {
    scripted_module module([&](scripted_module &self) {
        for (std::string command = self.hear(); !command.empty(); command = self.hear()) {
            command == MARK ? static_cast<void>(self.say(MARK_ANSWER)) : say_in_pieces(self, ANSWER, 1ms);
        }
    });
    std::optional<other_process> attack;
    const std::string loop = "while :; do timeout 0.05 cat <\"$0\" >/dev/null; sleep 0.03; done";
    attack.emplace([&] { return become({"/bin/sh", "-c", loop, module.device()}); });
    int right = 0;
    int refused = 0;
    for (int i = 0; i < 60; ++i) {
        const opened_port port(module);
        if (port.fd() < 0) {
            ++refused;
            std::this_thread::sleep_for(50ms);
            continue;
        }
        const at_answer answer = ask(port.fd());
        if (answer.is_complete()) {
            ++right;
            EXPECT_THAT(answer.lines, ElementsAre(LINE, "OK"));
        } else {
            EXPECT_THAT(answer.lines, IsEmpty());
        }
    }
    EXPECT_GT(refused, 0);
    attack->kill();
    ASSERT_TRUE(becomes_true([&] { return is_to_be_had(module); }));
    expect_right_answer(module);
}

// In a container, as in the box with a real module: the programs outside cannot be seen, their opens can.
TEST_F(shared_port, is_not_opened_while_a_program_out_of_sight_has_it_open) {
    if (other_process([] { return unshare_as_root(CLONE_NEWNS | CLONE_NEWPID) ? 0 : 1; }).wait() != 0) {
        GTEST_SKIP() << "the kernel forbids namespaces here: run as root or allow user namespaces";
    }
    const scripted_module module(always(std::string(ANSWER)));
    const notice asked;
    const notice opened;
    const notice refused;
    const notice closed;
    const auto inside = [&] {
        mount("proc", "/proc", "proc", 0, nullptr);
        expect_right_answer(module);
        asked.give();
        opened.await();
        EXPECT_LT(ser_open(module.device().c_str()), 0);
        EXPECT_EQ(recorded_port()->reason, "a program that cannot be seen from here");
        refused.give();
        closed.await();
        EXPECT_TRUE(becomes_true([&] { return is_to_be_had(module); }));
        return HasFailure() ? 1 : 0;
    };
    other_process container([&] {
        unshare_as_root(CLONE_NEWNS | CLONE_NEWPID);
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        return other_process(inside).wait();
    });
    asked.await();
    device_user user = reader(module);
    opened.give();
    refused.await();
    user.end();
    closed.give();
    EXPECT_EQ(container.wait(), 0);
}

}  // namespace
