#include "sim/scenario/scenario.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <csignal>
#include <utility>

#include <arpa/inet.h>

#include "sim/inside/system_log.h"
#include "sim/scenario/line_text.h"

namespace {

constexpr std::array<std::pair<std::string_view, int>, 6> SIGNALS{{
    {"TERM", SIGTERM},
    {"INT", SIGINT},
    {"QUIT", SIGQUIT},
    {"KILL", SIGKILL},
    {"STOP", SIGSTOP},
    {"CONT", SIGCONT},
}};

constexpr const char *KEY_WANTED = "expected KEY TYPE VALUE with TYPE int, real or string";

// Where the parser stands. Every read_ function takes what it needs off the rest of the current line, or throws.
class parser {
public:
    parser(std::string_view text, std::string name) : name_(std::move(name)) {
        while (!text.empty()) {
            const auto end = text.find('\n');
            std::string_view line = text.substr(0, end);
            if (line.ends_with('\r')) {
                line.remove_suffix(1);
            }
            lines_.emplace_back(line);
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
    }

    [[noreturn]] void fail(const std::string &expected, std::size_t line) const {
        throw scenario_error(name_ + ":" + std::to_string(line) + ": " + expected);
    }
    [[noreturn]] void fail(const std::string &expected) const { fail(expected, statement_line_); }

    // Enters the next line; false behind the last one.
    bool next_line() {
        if (line_ == lines_.size()) {
            return false;
        }
        rest_ = lines_[line_++];
        statement_line_ = line_;
        return true;
    }

    std::size_t line() const { return statement_line_; }

    // What is left of the line, without leading blanks.
    std::string_view take_rest() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
        return std::exchange(rest_, {});
    }

    std::string word() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
        const std::size_t length = std::min(rest_.find_first_of(" \t"), rest_.size());
        std::string found(rest_.substr(0, length));
        rest_.remove_prefix(length);
        return found;
    }

    std::string word_or_fail(const std::string &expected) {
        std::string found = word();
        if (found.empty()) {
            fail("expected " + expected);
        }
        return found;
    }

    void end_of_line() {
        if (const std::string more = word(); !more.empty()) {
            fail("expected the line to end before \"" + more + "\"");
        }
    }

    std::vector<std::string> block() {
        std::vector<std::string> found;
        for (; line_ < lines_.size() && lines_[line_].starts_with('|'); ++line_) {
            found.push_back(lines_[line_].substr(lines_[line_].starts_with("| ") ? 2 : 1));
        }
        return found;
    }

    std::vector<std::string> block_or_fail() {
        std::vector<std::string> found = block();
        if (found.empty()) {
            fail("expected a block behind this line: lines that begin with \"|\"");
        }
        return found;
    }

    std::string block_bytes(std::string_view line_end) {
        const auto bytes = bytes_of_lines(block_or_fail(), line_end);
        if (!bytes) {
            fail("expected \\r, \\n, \\t, \\0, \\\\ or \\xHH behind a \"\\\" in the block of this line");
        }
        return *bytes;
    }

private:
    std::string name_;
    std::vector<std::string> lines_;
    std::size_t line_ = 0;            // index of the next line
    std::size_t statement_line_ = 0;  // counted from 1
    std::string_view rest_;
};

scenario_time read_time(parser &in) {
    const std::string text = in.word();
    const std::string_view unit = text.ends_with("ms") ? "ms" : "s";
    double number = 0;
    const char *const digits_end = text.data() + text.size() - std::min(text.size(), unit.size());
    const auto [end, error] = std::from_chars(text.data(), digits_end, number, std::chars_format::fixed);
    constexpr double LONGEST_SECONDS = 1e6;  // eleven days; beyond it a unit is wrong
    const double seconds = unit == "ms" ? number / 1000 : number;
    if (!text.ends_with(unit) || error != std::errc() || end != digits_end || !(seconds >= 0) ||
        seconds > LONGEST_SECONDS) {
        in.fail("expected a time such as 12s, 1.5s or 300ms, found \"" + text + "\"");
    }
    return scenario_time(std::llround(seconds * 1000));
}

std::string read_path(parser &in) {
    std::string path = in.word_or_fail("a path that begins with /");
    if (!path.starts_with('/')) {
        in.fail("expected a path that begins with /, found \"" + path + "\"");
    }
    return path;
}

bool is_type(std::string_view type, std::string_view text) {
    if (type == "int") {
        return whole_number<long long>(text).has_value();
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_real = error == std::errc() && end == text.data() + text.size() && text.find('.') != text.npos;
    return type == "string" || (type == "real" && is_real);
}

// One blank stands between type and value: further ones belong to the value.
std::optional<key_value> to_key_value(std::string_view text) {
    const auto key_end = text.find(' ');
    const auto type_end = key_end == text.npos ? text.npos : text.find(' ', key_end + 1);
    if (key_end == text.npos || key_end == 0) {
        return std::nullopt;
    }
    const auto type = text.substr(key_end + 1, type_end == text.npos ? text.npos : type_end - key_end - 1);
    const auto value = type_end == text.npos ? std::string_view() : text.substr(type_end + 1);
    if (!is_type(type, value)) {
        return std::nullopt;
    }
    return key_value{std::string(text.substr(0, key_end)), {std::string(type), std::string(value)}};
}

key_value read_key_value(parser &in) {
    auto found = to_key_value(in.take_rest());
    if (!found) {
        in.fail(KEY_WANTED);
    }
    return *std::move(found);
}

// --- One function for each statement that takes more than its word ---

action read_answer(parser &in) {
    set_answer answer;
    answer.command = lower_case(in.word_or_fail("the command that is answered"));
    bool delayed = false;
    for (std::string option = in.word(); !option.empty(); option = in.word()) {
        if (option == "delay" && !std::exchange(delayed, true)) {
            answer.delay = read_time(in);
        } else if (option == "torn" && answer.torn == 0) {
            answer.torn = whole_number<std::size_t>(in.word()).value_or(0);
            if (answer.torn == 0) {
                in.fail("expected a number of bytes from 1 behind torn");
            }
        } else {
            in.fail("expected \"delay TIME\" or \"torn N\", each once, found \"" + option + "\"");
        }
    }
    answer.bytes = in.block_bytes("\r\n");
    return answer;
}

action read_silence(parser &in) {
    return set_silence{lower_case(in.word_or_fail("the command that stays unanswered"))};
}

action read_echo(parser &in) {
    const std::string state = in.word();
    if (state != "on" && state != "off") {
        in.fail("expected echo on or echo off");
    }
    return set_echo{state == "on"};
}

action read_unsolicited(parser &in) {
    return unsolicited{in.block_bytes("\r\n")};
}

action read_config(parser &in) {
    return write_config_statement{join(in.block_or_fail(), "\n") + "\n"};
}

template <typename Action>
action read_path_only(parser &in) {
    return Action{read_path(in)};
}

action read_write(parser &in) {
    std::string path = read_path(in);
    return write_file_statement{std::move(path), in.block_bytes("\n")};
}

// "600s ago", "10s ahead"; nothing: now.
action read_uptime(parser &in) {
    std::string path = read_path(in);
    const std::string form = "expected a path, and behind it nothing or TIME ago or TIME ahead, in whole seconds";
    const auto rest = in.take_rest();
    if (rest.empty()) {
        return write_uptime_statement{std::move(path), 0};
    }
    const auto unit = rest.find("s ");
    const auto seconds = whole_number<unsigned int>(rest.substr(0, unit));
    const auto direction = unit == rest.npos ? std::string_view() : rest.substr(unit + 2);
    if (!seconds || (direction != "ago" && direction != "ahead")) {
        in.fail(form);
    }
    return write_uptime_statement{std::move(path), direction == "ago" ? -static_cast<long long>(*seconds) : *seconds};
}

action read_program(parser &in) {
    install_program_statement program{.path = read_path(in)};
    bool has_status = false;
    bool has_delay = false;
    for (std::string option = in.word(); !option.empty(); option = in.word()) {
        if (option == "status" && !std::exchange(has_status, true)) {
            const auto status = whole_number<unsigned char>(in.word());
            if (!status) {
                in.fail("expected an exit status from 0 to 255 behind status");
            }
            program.status = *status;
        } else if (option == "delay" && !std::exchange(has_delay, true)) {
            program.delay = read_time(in);
        } else {
            in.fail("expected \"status N\" or \"delay TIME\", each once, found \"" + option + "\"");
        }
    }
    return program;
}

// The tool that tells the connection's settings: what it prints, or how it goes wrong.
action read_qmicli(parser &in) {
    install_program_statement tool{.path = "/usr/bin/qmicli"};
    const std::string fault = in.word();
    if (fault.empty()) {
        tool.output = in.block_bytes("\n");
    } else if (fault == "fail") {
        tool.status = 1;
    } else if (fault == "hang") {
        tool.delay = std::chrono::hours(24);
    } else {
        in.fail("expected qmicli with a block, qmicli fail or qmicli hang");
    }
    return tool;
}

action read_broker(parser &in) {
    const std::string state = in.word();
    if (state != "start" && state != "stop") {
        in.fail("expected broker start or broker stop");
    }
    return set_broker{state == "start"};
}

action read_address(parser &in) {
    const std::string text = in.word_or_fail("an address such as 10.1.2.3/30, or none");
    if (text == "none") {
        return set_address_statement{};
    }
    const auto slash = text.find('/');
    in_addr address{};
    const auto bits = slash == text.npos ? std::nullopt : whole_number<unsigned int>(text.substr(slash + 1));
    if (!bits || *bits > 32 || inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1) {
        in.fail("expected an address such as 10.1.2.3/30, or none, found \"" + text + "\"");
    }
    return set_address_statement{text};
}

action read_set(parser &in) {
    std::string database = in.word_or_fail("set DATABASE KEY TYPE VALUE");
    return set_key{std::move(database), read_key_value(in)};
}

action read_signal(parser &in) {
    const std::string name = in.word();
    const auto number = signal_number(name);
    if (!number) {
        in.fail("expected a signal: TERM, INT, QUIT, KILL, STOP or CONT, found \"" + name + "\"");
    }
    return send_signal{*number};
}

action read_say(parser &in) {
    const std::string_view text = in.take_rest();
    if (text.empty()) {
        in.fail("expected a text behind say");
    }
    return say{std::string(text)};
}

action read_expect(parser &in) {
    expect_cell expected;
    std::size_t line = in.line();
    for (const std::string &text : in.block()) {
        ++line;
        auto found = to_key_value(text);
        if (!found) {
            in.fail(KEY_WANTED, line);
        }
        expected.keys.push_back(*std::move(found));
    }
    return expected;
}

action read_expect_key(parser &in) {
    return expect_key{read_key_value(in)};
}

action read_expect_absent(parser &in) {
    return expect_absent{in.word_or_fail("a key")};
}

action read_expect_log(parser &in) {
    const std::string priority = in.word();
    if (!is_priority_name(priority)) {
        in.fail("expected a priority such as local0.alert, found \"" + priority + "\"");
    }
    return expect_log{priority, in.block_or_fail()};
}

action read_expect_run(parser &in) {
    return expect_log{CALL_PRIORITY, in.block_or_fail()};
}

action read_expect_asked(parser &in) {
    return expect_log{QUERY_PRIORITY, in.block_or_fail()};
}

action read_expect_journal(parser &in) {
    expect_journal expected{in.block()};
    std::size_t line = in.line();
    for (const std::string &text : expected.lines) {
        ++line;
        const auto end = text.find(' ', 4);
        const bool is_log = text.starts_with("log ") && end != text.npos && is_priority_name(text.substr(4, end - 4));
        if (!is_log && !text.starts_with("run ")) {
            in.fail("expected \"run CALL\" or \"log PRIORITY TEXT\"", line);
        }
    }
    return expected;
}

action read_expect_interface(parser &in) {
    std::string name = in.word_or_fail("the name of an interface");
    const std::string state = in.word();
    if (state != "up" && state != "down") {
        in.fail("expected up or down behind the interface");
    }
    return expect_interface{std::move(name), state == "up"};
}

action read_expect_message(parser &in) {
    std::string topic = in.word_or_fail("the topic of a message");
    return expect_message{std::move(topic), in.block_bytes("\n")};
}

action read_expect_file(parser &in) {
    std::string path = read_path(in);
    std::string bytes = in.block_bytes("\n");
    if (bytes.ends_with('\n')) {
        bytes.pop_back();
    }
    return expect_file{std::move(path), std::move(bytes)};
}

template <typename Action>
action read_nothing(parser & /*in*/) {
    return Action{};
}

// --- The language ---

struct statement_form {
    std::string_view word;
    action (*read)(parser &in);
};

constexpr statement_form STATEMENTS[] = {
    {"answer", read_answer},
    {"silence", read_silence},
    {"echo", read_echo},
    {"unsolicited", read_unsolicited},
    {"vanish", read_nothing<unplug_module>},
    {"return", read_nothing<plug_module>},
    {"config", read_config},
    {"touch", read_path_only<touch_file_statement>},
    {"remove", read_path_only<remove_file_statement>},
    {"directory", read_path_only<make_directory_statement>},
    {"write", read_write},
    {"uptime", read_uptime},
    {"address", read_address},
    {"program", read_program},
    {"qmicli", read_qmicli},
    {"broker", read_broker},
    {"set", read_set},
    {"signal", read_signal},
    {"start", read_nothing<start_daemon>},
    {"say", read_say},
    {"mark", read_nothing<set_mark>},
    {"expect", read_expect},
    {"expect-key", read_expect_key},
    {"expect-absent", read_expect_absent},
    {"expect-log", read_expect_log},
    {"expect-run", read_expect_run},
    {"expect-asked", read_expect_asked},
    {"expect-journal", read_expect_journal},
    {"expect-file", read_expect_file},
    {"expect-no-file", read_path_only<expect_no_file>},
    {"expect-interface", read_expect_interface},
    {"expect-message", read_expect_message},
    {"expect-no-message", read_nothing<expect_no_message>},
    {"end", read_nothing<end_scenario>},
    {"repeat", read_nothing<repeat_scenario>},
};

const statement_form *find_statement(std::string_view word) {
    const auto *const found = std::ranges::find(STATEMENTS, word, &statement_form::word);
    return found == std::end(STATEMENTS) ? nullptr : found;
}

bool is_expectation(const action &what) {
    return std::holds_alternative<expect_cell>(what) || std::holds_alternative<expect_key>(what) ||
           std::holds_alternative<expect_absent>(what) || std::holds_alternative<expect_log>(what) ||
           std::holds_alternative<expect_journal>(what) || std::holds_alternative<expect_file>(what) ||
           std::holds_alternative<expect_no_file>(what) || std::holds_alternative<expect_interface>(what) ||
           std::holds_alternative<expect_message>(what) || std::holds_alternative<expect_no_message>(what);
}

// --- What holds between statements ---

class builder {
public:
    explicit builder(parser &in) : in_(in) { story_.sections.emplace_back(); }

    void add_comment(std::string_view text) {
        if (story_.summary.empty()) {
            text.remove_prefix(std::min(text.find_first_not_of("# "), text.size()));
            story_.summary = text;
        }
    }

    void set_module() {
        if (std::exchange(has_module_, true) || story_.sections.size() > 1) {
            in_.fail("expected module once, before the first at or after");
        }
        const std::string name = in_.word_or_fail("a module such as EC25, or none");
        story_.module = name == "none" ? "" : name;
    }

    void begin_at() {
        const scenario_time time = read_time(in_);
        if (time < latest_time_) {
            in_.fail("expected a time that is not before the last one");
        }
        latest_time_ = time;
        takes_time_ = takes_time_ || time > scenario_time(0);
        begin(at_time{time});
    }

    void begin_after() {
        const std::string word = in_.word();
        if (word == "cycle") {
            begin(after_cycle{read_cycle()});
        } else if (word == "exit") {
            begin(after_exit{read_exit()});
        } else {
            in_.fail("expected after cycle N or after exit STATUS");
        }
    }

    void add(action what) {
        if (ended_ && !is_expectation(what)) {
            in_.fail("expected nothing but expectations behind end");
        }
        if (repeats_) {
            in_.fail("expected nothing behind repeat");
        }
        repeats_ = std::holds_alternative<repeat_scenario>(what);
        if (repeats_ && !takes_time_) {
            in_.fail("expected a later at, or after cycle, before repeat: the table would take no time");
        }
        ended_ = ended_ || std::holds_alternative<end_scenario>(what);
        if (story_.sections.size() == 1 && (is_expectation(what) || needs_daemon(what))) {
            in_.fail("expected at or after before this statement: the daemon does not run yet");
        }
        story_.sections.back().statements.push_back({std::move(what), in_.line()});
    }

    scenario take() { return std::move(story_); }

private:
    static bool needs_daemon(const action &what) {
        return std::holds_alternative<send_signal>(what) || std::holds_alternative<end_scenario>(what) ||
               std::holds_alternative<repeat_scenario>(what) || std::holds_alternative<start_daemon>(what);
    }

    template <typename When>
    void begin(When when) {
        if (ended_ || repeats_) {
            in_.fail("expected nothing of this kind behind end or repeat");
        }
        story_.sections.push_back({std::move(when), {}, in_.line()});
    }

    unsigned int read_cycle() {
        const auto cycle = whole_number<unsigned int>(in_.word());
        if (!cycle || *cycle <= latest_cycle_) {
            in_.fail("expected the number of a cycle after " + std::to_string(latest_cycle_));
        }
        takes_time_ = true;
        return latest_cycle_ = *cycle;
    }

    std::string read_exit() {
        std::string status = in_.word();
        if (!whole_number<unsigned char>(status) && !signal_number(status)) {
            in_.fail("expected an exit status from 0 to 255, or the signal that ends the daemon, such as KILL");
        }
        return status;
    }

    parser &in_;
    scenario story_;
    scenario_time latest_time_{0};
    unsigned int latest_cycle_ = 0;
    bool has_module_ = false;
    bool takes_time_ = false;
    bool ended_ = false;
    bool repeats_ = false;
};

void read_statement(parser &in, builder &story, const std::string &word) {
    if (word == "module") {
        story.set_module();
    } else if (word == "at") {
        story.begin_at();
    } else if (word == "after") {
        story.begin_after();
    } else if (const statement_form *form = find_statement(word)) {
        story.add(form->read(in));
    } else if (word.starts_with('|')) {
        in.fail("expected a statement that takes a block before this line");
    } else {
        in.fail("expected a statement, found \"" + word + "\"");
    }
    in.end_of_line();
}

}  // namespace

scenario parse_scenario(std::string_view text, const std::string &name) {
    parser in(text, name);
    builder story(in);
    while (in.next_line()) {
        const std::string word = in.word();
        if (word.starts_with('#')) {
            story.add_comment(word + " " + std::string(in.take_rest()));
        } else if (!word.empty()) {
            read_statement(in, story, word);
        }
    }
    return story.take();
}

std::optional<int> signal_number(std::string_view name) {
    const auto *const found = std::ranges::find(SIGNALS, name, &std::pair<std::string_view, int>::first);
    return found == SIGNALS.end() ? std::nullopt : std::optional(found->second);
}

std::string signal_name(int number) {
    const auto *const found = std::ranges::find(SIGNALS, number, &std::pair<std::string_view, int>::second);
    return found == SIGNALS.end() ? std::to_string(number) : std::string(found->first);
}
