// The exchange, over a PTY with a module that behaves well, badly, late or not at all.
#include "host/serial_port.h"

#include <array>
#include <csignal>
#include <filesystem>

#include <sys/ioctl.h>
#include <sys/time.h>

#include <gmock/gmock.h>

#include "tests/host/scripted_module.h"
#include "tests/support/other_process.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr at_limits brief{.total = 400ms, .after_wanted_line = 100ms, .mark = 100ms, .silence = 50ms};

const std::array<std::string, 3> CSQ_TEXTS = {"+CSQ:", "OK", "ERROR"};
const std::array<std::string, 2> ENDS = {"OK", "ERROR"};

// What a caller sees of an operation; the buffer begins with an odd value.
struct outcome {
    unsigned int result;
    std::string text;
    bool operator==(const outcome &) const = default;
};
std::ostream &operator<<(std::ostream &out, const outcome &o) {
    return out << o.result << " \"" << o.text << '"';
}

template <std::size_t size = 512>
outcome ask_line(int fd) {
    std::array<char, size> buffer = {};
    buffer.fill('#');
    const unsigned int result =
        ser_write_and_wait_for_txt_get_line(fd, "at+csq\r", CSQ_TEXTS.data(), 3, buffer.data(), size, 1, 1);
    const std::string text(buffer.data(), buffer.size());
    return {result, text.substr(0, text.find('\0'))};
}

template <std::size_t size = 512>
outcome ask_all(int fd) {
    std::array<char, size> buffer = {};
    buffer.fill('#');
    const unsigned int result =
        ser_write_and_get_all_response_until_searchtxt(fd, "at+csq\r", ENDS.data(), 2, buffer.data(), size, 1, 1);
    const std::string text(buffer.data(), buffer.size());
    return {result, text.substr(0, text.find('\0'))};
}

// Runs the code in a process of its own, which a stop may spoil. Its result.
int in_child(const std::function<int()> &code) {
    return other_process(code).wait();
}

TEST(opening, makes_the_port_raw_8n1_at_115200) {
    const scripted_module module([](scripted_module &) {});
    termios settings = {};
    {
        const opened_port before(module);  // used otherwise by somebody else
        ASSERT_EQ(tcgetattr(before.fd(), &settings), 0);
        settings.c_lflag |= ECHO | ICANON | ISIG;
        settings.c_iflag |= ICRNL | IXON;
        settings.c_oflag |= OPOST;
        settings.c_cflag |= CSTOPB | CRTSCTS | HUPCL;
        settings.c_cflag &= ~static_cast<tcflag_t>(CLOCAL);
        cfsetspeed(&settings, B9600);
        ASSERT_EQ(tcsetattr(before.fd(), TCSANOW, &settings), 0);
    }
    const opened_port port(module);
    ASSERT_GE(port.fd(), 0);
    ASSERT_EQ(tcgetattr(port.fd(), &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(settings.c_iflag & (ICRNL | INLCR | IXON | IXOFF), 0U);
    EXPECT_EQ(settings.c_oflag & OPOST, 0U);
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS | HUPCL | CLOCAL | CREAD),
              static_cast<tcflag_t>(CS8 | CLOCAL | CREAD));
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_NE(fcntl(port.fd(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(port.fd(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(opening, fails_for_what_is_no_terminal_and_keeps_no_descriptor) {
    EXPECT_LT(ser_open("/nowhere/first"), 0);  // the kernel's notices of a port are kept from here on
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    testing::internal::CaptureStderr();
    EXPECT_LT(ser_open("/dev/null"), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Cannot use \"/dev/null\" as the AT port"));
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(after, before);
    close(after);
}

TEST(opening, names_each_reason_once) {
    testing::internal::CaptureStderr();
    EXPECT_LT(ser_open("/nowhere/port"), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("plug in the module"));
    testing::internal::CaptureStderr();
    EXPECT_LT(ser_open("/nowhere/port"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Of a pseudo-terminal only where the machine's root would get in again.
TEST(opening, keeps_other_users_away_until_the_close) {
    const scripted_module module([](scripted_module &) {});
    const auto is_exclusive = [&] {
        const descriptor look(open(module.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        int exclusive = -1;
        EXPECT_EQ(ioctl(look.get(), TIOCGEXCL, &exclusive), 0);
        return exclusive;
    };
    const bool is_root = geteuid() == 0 && std::filesystem::read_symlink("/proc/self/ns/user") == "user:[4026531837]";
    {
        const opened_port port(module);
        EXPECT_EQ(is_exclusive(), is_root ? 1 : 0);
    }
    EXPECT_EQ(is_exclusive(), 0);
}

TEST(opening, fails_without_a_name) {
    EXPECT_LT(ser_open(nullptr), 0);
    EXPECT_LT(ser_open(""), 0);
    ser_close(-1);
}

class exchange : public testing::Test {
protected:
    void SetUp() override { get_back_in_step(); }
};

struct row {
    const char *why;
    std::string answer;
    outcome line;
    outcome all;
};

std::vector<row> rows() {
    using namespace std::string_literals;
    return {
        {"plain", "\r\n+CSQ: 18,99\r\n\r\nOK\r\n", {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"echo", "at+csq\r\r\n+CSQ: 18,99\r\n\r\nOK\r\n", {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"echo in capitals", "AT+CSQ\r\n+CSQ: 18,99\r\nOK\r\n", {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"bare line feeds", "at+csq\n+CSQ: 18,99\n\nOK\n", {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"bare carriage returns", "at+csq\r+CSQ: 18,99\rOK\r", {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"no blank behind the colon", "+CSQ:18,99\r\nOK\r\n", {1, "+CSQ:18,99"}, {0, "+CSQ:18,99\r\nOK"}},
        {"blanks inside and behind", "+CSQ: 18, 99 \r\nOK\r\n", {1, "+CSQ: 18, 99 "}, {0, "+CSQ: 18, 99 \r\nOK"}},
        {"NUL bytes", "\0+C\0SQ: 18,99\r\0\nO\0K\r\n"s, {1, "+CSQ: 18,99"}, {0, "+CSQ: 18,99\r\nOK"}},
        {"unsolicited line before",
         "\r\n+CREG: 1,\"1A2B\"\r\n\r\n+CSQ: 18,99\r\n\r\nOK\r\n",
         {1, "+CSQ: 18,99"},
         {0, "+CREG: 1,\"1A2B\"\r\n+CSQ: 18,99\r\nOK"}},
        {"unsolicited line before the echo",
         "\r\nRDY\r\nat+csq\r\r\n+CSQ: 18,99\r\n\r\nOK\r\n",
         {1, "+CSQ: 18,99"},
         {0, "RDY\r\n+CSQ: 18,99\r\nOK"}},
        {"unsolicited line within",
         "\r\n+CSQ: 18,99\r\n+QIND: SMS DONE\r\n\r\nOK\r\n",
         {1, "+CSQ: 18,99"},
         {0, "+CSQ: 18,99\r\n+QIND: SMS DONE\r\nOK"}},
        {"the first of two lines",
         "+CSQ: 1,1\r\n+CSQ: 2,2\r\nOK\r\n",
         {1, "+CSQ: 1,1"},
         {0, "+CSQ: 1,1\r\n+CSQ: 2,2\r\nOK"}},
        {"no line", "\r\nOK\r\n", {2, ""}, {0, "OK"}},
        {"error", "\r\nERROR\r\n", {3, ""}, {1, "ERROR"}},
        {"equipment error", "\r\n+CME ERROR: 10\r\n", {3, ""}, {1, "+CME ERROR: 10"}},
        {"equipment error in words", "\r\n+CME ERROR: SIM busy\r\n", {3, ""}, {1, "+CME ERROR: SIM busy"}},
        {"message service error", "\r\n+CMS ERROR: 500\r\n", {3, ""}, {1, "+CMS ERROR: 500"}},
        {"a line and then an error", "+CSQ: 18,99\r\nERROR\r\n", {1, "+CSQ: 18,99"}, {1, "+CSQ: 18,99\r\nERROR"}},
        {"the prefix inside a line ends nothing", "x +CSQ: 1,1\r\nOK\r\n", {2, ""}, {0, "x +CSQ: 1,1\r\nOK"}},
        {"OK inside a line ends nothing",
         "+COPS: 0,0,\"OK\"\r\nOKAY\r\n+CSQ: 18,99\r\nOK\r\n",
         {1, "+CSQ: 18,99"},
         {0, "+COPS: 0,0,\"OK\"\r\nOKAY\r\n+CSQ: 18,99\r\nOK"}},
        {"ERROR inside a line ends nothing",
         "ERRORS\r\n+QIND: ERROR\r\n+CSQ: 18,99\r\nOK\r\n",
         {1, "+CSQ: 18,99"},
         {0, "ERRORS\r\n+QIND: ERROR\r\n+CSQ: 18,99\r\nOK"}},
    };
}

TEST_F(exchange, understands_each_answer_whole_and_byte_by_byte) {
    for (const bool torn : {false, true}) {
        for (const row &r : rows()) {
            SCOPED_TRACE(std::string(r.why) + (torn ? ", torn" : ""));
            scripted_module module(always(r.answer, torn));
            const opened_port port(module);
            EXPECT_EQ(ask_line(port.fd()), r.line);
            EXPECT_EQ(ask_all(port.fd()), r.all);
            EXPECT_THAT(module.heard(), ElementsAre("at+csq", "at+csq"));
        }
    }
}

TEST_F(exchange, returns_the_last_line_of_an_answer_that_has_OK_behind_blanks) {
    scripted_module module(always("+CSQ: 18,99  OK\r\n"));
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99  OK"}));
}

TEST_F(exchange, drops_what_came_before_the_port_was_opened) {
    scripted_module module([](scripted_module &m) {
        m.say("\r\n+CSQ: 1,1\r\n\r\nOK\r\n");
        m.hear();
        m.say("\r\n+CSQ: 2,2\r\n\r\nOK\r\n");
    });
    module.wait_until_readable();
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 2,2"}));
}

TEST_F(exchange, drops_what_came_since_the_last_one) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+CSQ: 1,1\r\n\r\nOK\r\n");
        m.rest(100ms);
        m.say("\r\n+CSQ: 9,9\r\n\r\nOK\r\n");
        m.hear();
        m.say("\r\n+CSQ: 2,2\r\n\r\nOK\r\n");
    });
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 1,1"}));
    module.wait_until_readable();
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 2,2"}));
}

TEST_F(exchange, cuts_the_line_to_the_buffer_and_reads_on_to_the_end) {
    scripted_module module(always("\r\n+CSQ: 18,99\r\n\r\nOK\r\n"));
    const opened_port port(module);
    EXPECT_EQ(ask_line<12>(port.fd()), (outcome{1, "+CSQ: 18,99"}));
    EXPECT_EQ(ask_line<11>(port.fd()), (outcome{1, "+CSQ: 18,9"}));
    EXPECT_EQ(ask_line<1>(port.fd()), (outcome{1, ""}));
    EXPECT_EQ(ask_all<16>(port.fd()), (outcome{0, "+CSQ: 18,99\r\nOK"}));
    EXPECT_EQ(ask_all<15>(port.fd()), (outcome{0, "+CSQ: 18,99\r\nO"}));
    EXPECT_EQ(ask_all<1>(port.fd()), (outcome{0, ""}));
    EXPECT_THAT(module.heard(), testing::Not(testing::Contains(MARK)));
}

TEST_F(exchange, does_not_need_a_buffer) {
    scripted_module module(always("\r\n+CSQ: 18,99\r\n\r\nOK\r\n"));
    const opened_port port(module);
    char untouched = '#';
    EXPECT_EQ(ser_write_and_wait_for_txt_get_line(port.fd(), "at\r", CSQ_TEXTS.data(), 3, &untouched, 0, 1, 1), 1U);
    EXPECT_EQ(ser_write_and_get_all_response_until_searchtxt(port.fd(), "at\r", ENDS.data(), 2, nullptr, 9, 1, 1), 0U);
    EXPECT_EQ(untouched, '#');
}

TEST_F(exchange, fails_when_no_text_names_the_ending) {
    scripted_module module(always("\r\nERROR\r\n"));
    const opened_port port(module);
    std::array<char, 32> buffer = {};
    EXPECT_EQ(ser_write_and_wait_for_txt_get_line(port.fd(), "at\r", CSQ_TEXTS.data(), 2, buffer.data(), 32, 1, 1), 3U);
    EXPECT_GT(
        ser_write_and_get_all_response_until_searchtxt(port.fd(), "at\r", ENDS.data(), 1, buffer.data(), 32, 1, 1),
        SER_ANSWER_COMPLETE_MAX);
}

TEST_F(exchange, bounds_a_line_that_is_too_long_and_reads_on) {
    scripted_module module(always(std::string(20'000, 'x') + "\r\n+CSQ: 18,99\r\nOK\r\n"));
    const opened_port port(module);
    const at_answer answer = ask_module(port.fd(), "at+csq\r", "", patient);
    EXPECT_EQ(answer.ending, at_ending::ok);
    EXPECT_THAT(answer.lines, ElementsAre(std::string(line_cutter::LONGEST_LINE, 'x'), "+CSQ: 18,99", "OK"));
}

TEST_F(exchange, finds_its_answer_behind_1_MB_without_a_line_end) {
    scripted_module module(always(std::string(1'000'000, 'x') + "\r\n+CSQ: 18,99\r\nOK\r\n"));
    const opened_port port(module);
    const at_answer answer = ask_module(port.fd(), "at+csq\r", "", {.total = 1min});
    EXPECT_EQ(answer.ending, at_ending::ok);
    EXPECT_THAT(answer.lines, ElementsAre(std::string(line_cutter::LONGEST_LINE, 'x'), "+CSQ: 18,99", "OK"));
}

// XOFF is a byte as any other: what comes from the module stops nobody, and XON says nothing either.
TEST_F(exchange, is_not_held_up_by_flow_control_characters) {
    scripted_module module([](scripted_module &m) {
        m.say("\x13");
        for (std::string command = m.hear(); !command.empty(); command = m.hear()) {
            m.say("\x13\r\n+CSQ: 18,99\r\n\x11\r\nOK\r\n");
        }
    });
    const opened_port port(module);
    module.wait_until_readable();
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
}

class failing_exchange : public exchange {};

TEST_F(failing_exchange, a_silent_module_ends_it_at_the_deadline) {
    scripted_module module([](scripted_module &m) { m.hear(); });
    const opened_port port(module);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask_line(port.fd()), (outcome{4, ""}));
    const auto time = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(time, 4900ms);  // a slow answer is waited for
    EXPECT_LT(time, 30s);     // and it does not hang
}

TEST_F(failing_exchange, an_answer_without_final_result_keeps_its_lines) {
    scripted_module module(always("\r\n+CSQ: 18,99\r\n+CREG: 1\r\n"));
    const opened_port port(module);
    const at_answer answer = ask_module(port.fd(), "at+csq\r", "", brief);
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    EXPECT_THAT(answer.lines, ElementsAre("+CSQ: 18,99", "+CREG: 1"));
}

TEST_F(failing_exchange, the_wanted_line_is_not_waited_for_again) {
    scripted_module module(always("\r\n+CSQ: 18,99\r\n"));
    const opened_port port(module);
    at_limits limits = patient;
    limits.total = 10min;
    EXPECT_THAT(ask_module(port.fd(), "at+csq\r", "+CSQ:", limits).lines, ElementsAre("+CSQ: 18,99"));
}

TEST_F(failing_exchange, chatter_without_line_end_ends_at_the_deadline) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        while (m.say("xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx") && !m.rest(0ms)) {
        }
    });
    const opened_port port(module);
    const at_answer answer = ask_module(port.fd(), "at+csq\r", "", brief);
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    EXPECT_THAT(answer.lines, IsEmpty());
}

TEST_F(failing_exchange, chatter_without_final_result_ends_at_the_deadline_in_bounded_memory) {
    std::atomic<std::size_t> said = 0;
    scripted_module module([&said](scripted_module &m) {
        m.hear();
        while (m.say("+QIND: x\r\n") && !m.rest(0ms)) {
            ++said;
        }
    });
    const opened_port port(module);
    at_limits limits = brief;
    limits.total = 1s;
    const at_answer answer = ask_module(port.fd(), "at+csq\r", "", limits);
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    ASSERT_GT(said, 256U);
    EXPECT_EQ(answer.lines.size(), 256U);
}

TEST_F(failing_exchange, a_module_that_does_not_take_the_command_ends_it_at_the_deadline) {
    scripted_module module([](scripted_module &m) {
        while (!m.rest(1h)) {
        }
    });
    const opened_port port(module);
    EXPECT_EQ(ask_module(port.fd(), std::string(200'000, 'x') + "\r", "", brief).ending, at_ending::no_final_result);
}

TEST_F(failing_exchange, a_bad_descriptor_is_a_closed_port) {
    EXPECT_EQ(ask_line(-1), (outcome{0, ""}));
    EXPECT_EQ(ask_line(9999), (outcome{0, ""}));
    EXPECT_EQ(ask_all(-1), (outcome{2, ""}));
    EXPECT_EQ(ask_all(9999), (outcome{2, ""}));
}

TEST_F(failing_exchange, a_port_that_hung_up_before_is_closed) {
    scripted_module module([](scripted_module &m) { m.vanish(); });
    const opened_port port(module);
    module.heard();
    EXPECT_EQ(ask_line(port.fd()), (outcome{0, ""}));
    EXPECT_EQ(ask_all(port.fd()), (outcome{2, ""}));
}

TEST_F(failing_exchange, a_port_that_hung_up_after_an_answer_costs_no_more_than_the_next_one) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+CSQ: 18,99\r\n\r\nOK\r\n");
        m.rest(100ms);
        m.vanish();
    });
    {
        const opened_port port(module);
        EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
        module.heard();  // it has gone
        EXPECT_EQ(ask_line(port.fd()), (outcome{0, ""}));
    }
    EXPECT_LT(ser_open(module.device().c_str()), 0);
}

TEST_F(failing_exchange, a_module_that_vanishes_while_asked_is_a_closed_port) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.vanish();
    });
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{0, ""}));
}

TEST_F(failing_exchange, the_wanted_line_counts_when_the_module_vanishes_behind_it) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+CSQ: 18,99\r\n");
        m.rest(300ms);
        m.vanish();
    });
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
}

TEST_F(failing_exchange, the_collected_lines_stay_when_the_module_vanishes) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+CSQ: 18,99\r\n");
        m.rest(300ms);
        m.vanish();
    });
    const opened_port port(module);
    EXPECT_EQ(ask_all(port.fd()), (outcome{2, "+CSQ: 18,99"}));
}

// Each begins with an exchange that left the port out of step.
class late_answer : public exchange {
protected:
    static void leave_without_answer(const opened_port &port) {
        ASSERT_EQ(ask_module(port.fd(), "at+old\r", "", brief).ending, at_ending::no_final_result);
    }
    static std::vector<std::string> ask(const opened_port &port, const at_limits &limits = patient) {
        return ask_module(port.fd(), "at+new\r", "+X:", limits).lines;
    }
};

constexpr std::string_view OLD = "\r\n+X: old\r\n\r\nOK\r\n";
constexpr std::string_view NEW = "\r\n+X: new\r\n\r\nOK\r\n";

TEST_F(late_answer, no_mark_is_sent_in_step) {
    scripted_module module(always("\r\n+X: new\r\n\r\nOK\r\n"));
    const opened_port port(module);
    ask(port);
    ask(port);
    EXPECT_THAT(module.heard(), ElementsAre("at+new", "at+new"));
}

TEST_F(late_answer, one_mark_is_sent_after_a_missing_final_result) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        always("\r\n+X: new\r\n\r\nOK\r\n")(m);
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+new", "at+new"));
}

TEST_F(late_answer, one_mark_is_sent_after_a_line_without_final_result) {
    scripted_module module(always("\r\n+CSQ: 18,99\r\n"));
    const opened_port port(module);
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
    EXPECT_EQ(ask_line(port.fd()), (outcome{1, "+CSQ: 18,99"}));
    EXPECT_THAT(module.heard(), ElementsAre("at+csq", MARK, "at+csq"));
}

TEST_F(late_answer, being_out_of_step_outlives_the_open_port) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        always("\r\n+X: new\r\n\r\nOK\r\n")(m);
    });
    {
        const opened_port port(module);
        leave_without_answer(port);
    }
    const opened_port again(module);
    EXPECT_THAT(ask(again), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+new"));
}

TEST_F(late_answer, before_the_answer_to_the_mark_is_dropped) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.say(OLD);
        m.say(MARK_ANSWER);
        m.hear();
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, torn_around_the_mark_is_dropped) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+X: ol");
        m.hear();
        m.say("d\r\n\r\nO");
        m.rest(20ms);
        m.say("K\r\n");
        m.say_torn(MARK_ANSWER);
        m.hear();
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, the_final_result_of_the_mark_is_waited_for) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.say(OLD);
        m.say("\r\n+CMEE: 0\r\n");
        m.rest(600ms);  // longer than the silence and the time for the mark
        m.say("\r\nOK\r\n");
        m.hear();
        m.rest(600ms);
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    at_limits limits = patient;
    limits.mark = 400ms;
    EXPECT_THAT(ask(port, limits), ElementsAre("+X: new", "OK"));
}

// Only the silence tells apart the late final result and that of a mark which the module does not know.
TEST_F(late_answer, before_the_error_to_the_mark_is_dropped) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.say(OLD);
        m.say("\r\nERROR\r\n");
        m.hear();
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+new"));
}

TEST_F(late_answer, long_before_the_answer_to_the_mark_does_not_count_as_that) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.say(OLD);
        m.rest(600ms);  // longer than the silence: the command comes before the mark's answer
        m.say(MARK_ANSWER);
        m.hear();
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, a_module_that_ignores_the_mark_stays_usable) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        while (!m.hear().empty()) {
            if (m.hear() == "at+new") {
                m.say(NEW);
            }
        }
    });
    const opened_port port(module);
    leave_without_answer(port);
    at_limits limits = patient;
    limits.mark = 100ms;
    EXPECT_THAT(ask(port, limits), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+new"));
}

TEST_F(late_answer, that_comes_with_all_the_others_is_dropped) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.hear();  // the mark was given up
        m.say(std::string(OLD) + std::string(MARK_ANSWER) + std::string(NEW));
    });
    const opened_port port(module);
    leave_without_answer(port);
    at_limits limits = patient;
    limits.mark = 50ms;
    EXPECT_THAT(ask(port, limits), ElementsAre("+X: new", "OK"));
}

// The module needs time for the new answer: the old one stands alone behind a silence, but for the mark's answer.
TEST_F(late_answer, is_not_taken_while_the_new_one_takes_its_time) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.hear();
        m.say(OLD);
        m.rest(50ms);
        m.say(MARK_ANSWER);
        m.rest(1200ms);
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    at_limits limits = patient;
    limits.mark = 50ms;
    limits.silence = 600ms;
    EXPECT_THAT(ask(port, limits), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, without_mark_and_without_the_new_one_fails_and_leaves_no_line) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.hear();
        m.say(OLD);
        m.say(MARK_ANSWER);
        m.say("\r\n+X: of nobody\r\n");
    });
    const opened_port port(module);
    leave_without_answer(port);
    const at_answer answer = ask_module(port.fd(), "at+new\r", "+X:", {.total = 600ms, .mark = 50ms, .silence = 50ms});
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    EXPECT_THAT(answer.lines, IsEmpty());
}

TEST_F(late_answer, of_an_earlier_mark_is_no_proof) {
    scripted_module module([](scripted_module &m) {
        m.hear();  // old
        m.hear();  // first mark
        m.hear();  // old again
        m.hear();  // second mark
        m.say(OLD);
        m.say(MARK_ANSWER);  // the first one's
        m.hear();            // new
        m.say(OLD);
        m.say(MARK_ANSWER);  // the second one's
        m.rest(600ms);
        m.say(NEW);
        always("\r\n+X: newer\r\n\r\nOK\r\n")(m);
    });
    const opened_port port(module);
    leave_without_answer(port);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(ask(port), ElementsAre("+X: newer", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+old", MARK, "at+new", "at+new"));
}

TEST_F(late_answer, before_the_echo_of_the_new_command_is_dropped) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.hear();
        m.say(OLD);
        m.say("at+new\r\r\n");
        m.rest(600ms);  // longer than the silence
        m.say(NEW);
    });
    const opened_port port(module);
    leave_without_answer(port);
    at_limits limits = patient;
    limits.mark = 50ms;
    EXPECT_THAT(ask(port, limits), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, an_unsolicited_line_behind_the_new_one_is_no_answer) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.say("\r\nERROR\r\n");
        m.hear();
        m.say(NEW);
        m.say("\r\n+CREG: 1\r\n");
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
}

TEST_F(late_answer, an_answer_in_doubt_does_not_count_before_the_silence) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.hear();
        m.hear();
        m.say(OLD);
    });
    const opened_port port(module);
    leave_without_answer(port);
    const at_answer answer = ask_module(port.fd(), "at+new\r", "+X:", {.total = 400ms, .mark = 50ms, .silence = 1h});
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    EXPECT_THAT(answer.lines, IsEmpty());
}

// The chain in which every command gets its predecessor's answer.
TEST_F(late_answer, a_wrong_belief_to_be_in_step_ends_with_the_marks_answer) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.say("\r\n+X: stale\r\n");
        m.say(MARK_ANSWER);
        m.say(OLD);
        always("\r\n+X: new\r\n\r\nOK\r\n")(m);
    });
    const opened_port port(module);
    const at_answer answer = ask_module(port.fd(), "at+new\r", "+X:", patient);
    EXPECT_EQ(answer.ending, at_ending::no_final_result);
    EXPECT_THAT(answer.lines, IsEmpty());
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(module.heard(), ElementsAre("at+new", MARK, "at+new"));
}

TEST_F(late_answer, a_caller_may_ask_for_what_the_mark_asks) {
    scripted_module module(always(""));
    const opened_port port(module);
    EXPECT_THAT(ask_module(port.fd(), "at+cmee?\r", "", patient).lines, ElementsAre("+CMEE: 0", "OK"));
}

TEST_F(late_answer, a_module_that_vanishes_at_the_mark_stays_out_of_step) {
    {
        scripted_module module([](scripted_module &m) {
            m.hear();
            m.hear();
            m.vanish();
        });
        const opened_port port(module);
        leave_without_answer(port);
        EXPECT_EQ(ask_line(port.fd()), (outcome{0, ""}));
    }
    scripted_module back(always("\r\n+X: new\r\n\r\nOK\r\n"));
    const opened_port port(back);
    EXPECT_THAT(ask(port), ElementsAre("+X: new", "OK"));
    EXPECT_THAT(back.heard(), ElementsAre(MARK, "at+new"));
}

TEST_F(late_answer, a_module_that_says_nothing_more_ends_it_within_one_total_time) {
    scripted_module module([](scripted_module &m) {
        while (!m.hear().empty()) {
        }
    });
    const opened_port port(module);
    leave_without_answer(port);
    EXPECT_EQ(ask_module(port.fd(), "at+new\r", "", brief).ending, at_ending::no_final_result);
    EXPECT_THAT(module.heard(), ElementsAre("at+old", MARK, "at+new"));
}

class stop : public exchange {
protected:
    // From a signal handler, while the exchange waits.
    static void soon() {
        std::signal(SIGALRM, [](int) { stop_libzelt_funcs(); });
        const itimerval once = {{0, 0}, {0, 100'000}};
        setitimer(ITIMER_REAL, &once, nullptr);
    }
    static void silent(scripted_module &m) {
        while (!m.hear().empty()) {
        }
    }
};

TEST_F(stop, ends_a_waiting_line_exchange_at_once) {
    EXPECT_EQ(in_child([] {
                  scripted_module module(silent);
                  const opened_port port(module);
                  const auto begin = std::chrono::steady_clock::now();
                  soon();
                  const outcome seen = ask_line(port.fd());
                  return seen == outcome{4, ""} && std::chrono::steady_clock::now() - begin < 4s ? 7 : 0;
              }),
              7);
}

// No signal interrupts the wait: what a signal between the last test of the flag and the wait comes to.
TEST_F(stop, wakes_a_wait_that_nothing_interrupts) {
    EXPECT_EQ(in_child([] {
                  scripted_module module([](scripted_module &m) {
                      m.hear();
                      m.rest(100ms);
                      stop_libzelt_funcs();
                  });
                  const opened_port port(module);
                  at_limits limits;
                  limits.total = 10min;
                  return ask_module(port.fd(), "at\r", "", limits).ending == at_ending::no_final_result ? 7 : 0;
              }),
              7);
}

TEST_F(stop, ends_a_waiting_collection_at_once_and_keeps_its_lines) {
    EXPECT_EQ(in_child([] {
                  scripted_module module(always("\r\n+CSQ: 18,99\r\n"));
                  const opened_port port(module);
                  const auto begin = std::chrono::steady_clock::now();
                  soon();
                  const outcome seen = ask_all(port.fd());
                  return seen == outcome{2, "+CSQ: 18,99"} && std::chrono::steady_clock::now() - begin < 4s ? 7 : 0;
              }),
              7);
}

TEST_F(stop, ends_the_waiting_for_the_mark_and_sends_no_command) {
    EXPECT_EQ(in_child([] {
                  scripted_module module(silent);
                  const opened_port port(module);
                  ask_module(port.fd(), "at+old\r", "", brief);
                  soon();
                  at_limits limits;
                  limits.total = limits.mark = 10min;
                  const at_answer answer = ask_module(port.fd(), "at+new\r", "", limits);
                  const std::vector<std::string> commands = {"at+old", std::string(MARK)};
                  return answer.ending == at_ending::no_final_result && module.heard() == commands ? 7 : 0;
              }),
              7);
}

TEST_F(stop, before_an_exchange_sends_nothing_for_the_rest_of_the_process) {
    EXPECT_EQ(in_child([] {
                  scripted_module module(always("\r\n+CSQ: 18,99\r\n\r\nOK\r\n"));
                  const opened_port port(module);
                  stop_libzelt_funcs();
                  const bool stopped = ask_line(port.fd()) == outcome{4, ""} && ask_line(port.fd()) == outcome{4, ""};
                  return stopped && module.heard().empty() ? 7 : 0;
              }),
              7);
}

TEST_F(stop, ends_endless_chatter) {
    EXPECT_EQ(in_child([] {
                  scripted_module module([](scripted_module &m) {
                      m.hear();
                      while (m.say("+QIND: x\r\n") && !m.rest(0ms)) {
                      }
                  });
                  const opened_port port(module);
                  soon();
                  at_limits limits;
                  limits.total = 10min;
                  return ask_module(port.fd(), "at\r", "", limits).ending == at_ending::no_final_result ? 7 : 0;
              }),
              7);
}

}  // namespace
