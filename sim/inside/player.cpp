#include "sim/inside/player.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <type_traits>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "sim/child.h"
#include "sim/cycle_line.h"
#include "sim/database.h"
#include "sim/handover.h"
#include "sim/inside/broker.h"
#include "sim/inside/expectations.h"
#include "sim/inside/interfaces.h"
#include "sim/inside/module_port.h"
#include "sim/inside/router_files.h"
#include "sim/inside/router_programs.h"
#include "sim/inside/simulated_module.h"
#include "sim/inside/system_log.h"
#include "sim/scenario/line_text.h"

namespace {

using clock_type = std::chrono::steady_clock;

// A stop request ends every wait of the daemon early.
constexpr auto STOP_PATIENCE = std::chrono::seconds(10);

constexpr const char *SERVING_CELL_QUERY = "at+qeng=\"servingcell\"";
constexpr std::string_view CYCLE_END = "ATRES:";  // the daemon's last log line of a cycle

// One entry of the time table: a point to wait for, or something to do.
using step = std::variant<at_time, after_cycle, after_exit, statement>;

std::vector<step> to_steps(const scenario &story) {
    std::vector<step> steps;
    for (const section &part : story.sections) {
        std::visit(
            [&steps](const auto &when) {
                if constexpr (!std::is_same_v<std::decay_t<decltype(when)>, before_start>) {
                    steps.emplace_back(when);
                }
            },
            part.when);
        std::ranges::copy(part.statements, std::back_inserter(steps));
    }
    return steps;
}

std::string describe_exit(const std::string &status) {
    return signal_number(status) ? "by signal " + status : "with exit status " + status;
}

bool is_for_people(const log_line &line) {
    return !line.priority.ends_with(".info") && !line.priority.ends_with(".debug") && line.priority != QUERY_PRIORITY;
}

bool is_not_reported(const typed_value &value) {
    return value.text == "-999" || value.text == "-999.0";
}

std::string was(const typed_value &value) {
    constexpr std::size_t READABLE = 24;  // two long texts beside each other help nobody
    return value.text.size() > READABLE ? "" : "  (was " + value.text + ")";
}

class player {
public:
    player(const scenario &story, const play_options &options)
        : options_(options), steps_(to_steps(story)), preamble_(story.sections.front().statements.size()),
          journal_(options.level), log_("/dev/log"), port_(MODULE_PORT) {}

    int play();

    // Each carries out one statement.
    void perform(const set_answer &what) { module_.set_answer(what); }
    void perform(const set_silence &what) { module_.set_silence(what.command); }
    void perform(const set_echo &what) { module_.set_echo(what.on); }
    void perform(const unsolicited &what) { say_as_module(what.bytes); }
    void perform(const unplug_module &what);
    void perform(const plug_module &what);
    void perform(const set_key &what) { report_problem(database_.write(what)); }
    void perform(const send_signal &what);
    void perform(const start_daemon &what);
    void perform(const say &what) { journal_.story("", "== " + what.text); }
    void perform(const expect_cell &what) { judge(differences(what, database_.cell(), before_serving_cell_)); }
    void perform(const expect_key &what) { judge(differences(what, database_.cell())); }
    void perform(const expect_absent &what) { judge(differences(what, database_.cell())); }
    void perform(const set_mark & /*what*/) { mark_ = lines_.size(); }
    void perform(const set_broker &what);
    void perform(const expect_log &what) { judge(differences(lines_with_process_id(what), lines_)); }
    void perform(const expect_journal &what) { judge(differences(lines_with_process_id(what), journal_since_mark())); }
    void perform(const expect_no_file &what) { judge(differences(what, access(what.path.c_str(), F_OK) == 0)); }
    void perform(const expect_interface &what) { judge(differences(what, is_interface_up(what.name))); }
    void perform(const expect_message &what);
    void perform(const expect_no_message &what) { judge(differences(what, broker_.next_message())); }
    void perform(const expect_file &what) { judge(differences(what, file_content(what.path))); }
    void perform(const end_scenario &what);
    void perform(const repeat_scenario &what);
    void perform(const write_config_statement &what) { report_problem(::write_config(what.json)); }
    void perform(const touch_file_statement &what) { report_problem(::touch_file(what.path)); }
    void perform(const remove_file_statement &what) { report_problem(::remove_file(what.path)); }
    void perform(const make_directory_statement &what) { report_problem(::make_directory(what.path)); }
    void perform(const write_file_statement &what) { report_problem(::write_file(what.path, what.bytes)); }
    void perform(const write_uptime_statement &what) { report_problem(::write_uptime(what.path, what.offset_seconds)); }
    void perform(const set_address_statement &what) { report_problem(::set_address(what.address)); }
    void perform(const install_program_statement &what) {
        report_problem(::install_program(what.path, {what.status, what.delay, what.output}));
    }

private:
    // --- The time table ---
    void advance();
    bool is_reached(const step &next) const;
    clock_type::time_point moment_of(const at_time &at) const { return table_start_ + at.time / options_.speed; }
    void carry_out(const statement &what);
    void judge(const std::vector<std::string> &wrong);
    void report_problem(const std::string &problem);
    void fail(const std::string &text);
    std::vector<log_line> journal_since_mark() const;
    std::string with_process_id(const std::string &text) const;
    template <typename Expectation>
    Expectation lines_with_process_id(Expectation expected) const;
    void start();
    void stop();

    // --- What happens ---
    void wait();
    int wait_milliseconds();
    void handle_commands();
    void say_what_is_due();
    void say_as_module(const std::string &bytes);
    void handle_log();
    void handle_log_line(const log_line &line);
    void handle_output();
    void handle_exit();
    void end_cycle();
    void show_changes();
    void check_limits();

    const play_options &options_;
    std::vector<step> steps_;
    std::size_t preamble_;  // how many steps stand before the start
    std::size_t next_step_ = 0;
    std::size_t line_ = 0;  // of the statement that is being carried out
    journal journal_;
    system_log log_;
    module_port port_;
    simulated_module module_;
    box_database database_;
    child daemon_;
    clock_type::time_point table_start_;
    clock_type::time_point play_start_;
    std::optional<clock_type::time_point> stop_deadline_;
    bool stopped_by_user_ = false;
    bool ends_ = false;  // the statement `end` was reached
    bool over_ = false;
    unsigned int cycles_ = 0;
    std::size_t judged_ = 0;
    std::optional<std::string> exit_;  // of the daemon, while it does not run
    std::vector<log_line> lines_;
    std::size_t mark_ = 0;  // how many of them expect-journal passes over
    message_broker broker_;
    pid_t daemon_pid_ = -1;  // of the last one that was started
    std::string output_;     // of the daemon: a line that has not ended
    cell_values shown_;
    std::optional<cell_values> before_serving_cell_;
};

int player::play() {
    if (!options_.real_module) {
        port_.plug();
    }
    report_problem(::touch_file("/tmp/zstats.running"));
    while (next_step_ < preamble_) {
        carry_out(std::get<statement>(steps_[next_step_++]));
    }
    journal_.start_clock();
    start();
    play_start_ = table_start_ = clock_type::now();
    if (options_.beside != nullptr) {
        options_.beside->start();
    }
    while (!over_) {
        say_what_is_due();
        advance();
        if (!over_) {
            wait();
        }
    }
    if (journal_.failures() == 0) {
        journal_.story("", judged_ == 0 ? "== the end"
                                        : "== the end: all " + std::to_string(judged_) + " expectations hold");
    }
    return journal_.failures() == 0 ? 0 : 1;
}

// --- The time table ---

void player::advance() {
    while (!over_ && !stopped_by_user_ && next_step_ < steps_.size()) {
        if (ends_ && !exit_) {
            return;
        }
        if (const auto *what = std::get_if<statement>(&steps_[next_step_])) {
            ++next_step_;
            carry_out(*what);
        } else if (is_reached(steps_[next_step_])) {
            ++next_step_;
        } else {
            return;
        }
    }
    over_ = over_ || (exit_ && (ends_ || next_step_ == steps_.size()));
}

bool player::is_reached(const step &next) const {
    if (const auto *at = std::get_if<at_time>(&next)) {
        return clock_type::now() >= moment_of(*at);
    }
    if (const auto *after = std::get_if<after_cycle>(&next)) {
        return cycles_ >= after->cycle;
    }
    return exit_.has_value();
}

void player::carry_out(const statement &what) {
    line_ = what.line;
    std::visit([this](const auto &one) { perform(one); }, what.what);
}

void player::judge(const std::vector<std::string> &wrong) {
    ++judged_;
    if (!wrong.empty()) {
        fail(join(wrong, "\n                   "));
    }
}

void player::report_problem(const std::string &problem) {
    if (!problem.empty()) {
        fail(problem);
    }
}

void player::fail(const std::string &text) {
    journal_.failure(options_.scenario_name + ":" + std::to_string(line_) + ": " + text);
}

void player::start() {
    exit_.reset();
    daemon_.start(options_.command);
    daemon_pid_ = daemon_.pid();
    journal_.detail("box", "started " + join(options_.command, " "));
}

void player::stop() {
    // A stopped daemon must be able to end. First, because behind SIGTERM it would disturb whoever traces the end.
    daemon_.send(SIGCONT);
    daemon_.send(SIGTERM);
    stop_deadline_ = clock_type::now() + STOP_PATIENCE;
}

std::vector<log_line> player::journal_since_mark() const {
    std::vector<log_line> found;
    std::copy_if(lines_.begin() + static_cast<std::ptrdiff_t>(mark_), lines_.end(), std::back_inserter(found),
                 is_for_people);
    return found;
}

std::string player::with_process_id(const std::string &text) const {
    return replace_all(text, "$PID", std::to_string(daemon_pid_));
}

template <typename Expectation>
Expectation player::lines_with_process_id(Expectation expected) const {
    for (std::string &line : expected.lines) {
        line = with_process_id(line);
    }
    return expected;
}

void player::perform(const set_broker &what) {
    if (what.runs) {
        report_problem(broker_.start());
    } else {
        broker_.stop();
    }
    journal_.story("box", what.runs ? "the broker runs" : "the broker is gone");
}

void player::perform(const expect_message &what) {
    judge(differences(expect_message{what.topic, with_process_id(what.payload)}, broker_.next_message()));
}

void player::perform(const unplug_module & /*what*/) {
    port_.unplug();
    module_.forget();
    journal_.story("module", "vanished: /dev/ttyQSB3 is gone");
}

void player::perform(const plug_module & /*what*/) {
    port_.plug();
    journal_.story("module", "returned: /dev/ttyQSB3 is back");
}

void player::perform(const send_signal &what) {
    daemon_.send(what.number);
    journal_.story("box", "sent signal " + signal_name(what.number));
}

void player::perform(const start_daemon & /*what*/) {
    if (daemon_.runs()) {
        fail("the daemon still runs");
        return;
    }
    start();
}

void player::perform(const end_scenario & /*what*/) {
    ends_ = true;
    if (!exit_) {
        stop();
    }
}

void player::perform(const repeat_scenario & /*what*/) {
    next_step_ = 0;
    cycles_ = 0;
    lines_.clear();
    mark_ = 0;
    table_start_ = clock_type::now();
    journal_.detail("box", "the time table starts again");
}

// --- What happens ---

int player::wait_milliseconds() {
    const auto now = clock_type::now();
    auto until = now + std::chrono::hours(1);
    if (const auto due = module_.next_time(now)) {
        until = std::min(until, *due);
    }
    if (next_step_ < steps_.size()) {
        if (const auto *at = std::get_if<at_time>(&steps_[next_step_])) {
            until = std::min<clock_type::time_point>(until, moment_of(*at));
        }
    }
    if (options_.limit && !stop_deadline_) {
        until = std::min<clock_type::time_point>(until, play_start_ + *options_.limit);
    }
    if (stop_deadline_) {
        until = std::min(until, *stop_deadline_);
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void player::wait() {
    // A negative descriptor is not watched.
    pollfd watched[] = {
        {log_.descriptor(), POLLIN, 0},
        {port_.descriptor(), static_cast<short>(POLLIN | (port_.wants_to_write() ? POLLOUT : 0)), 0},
        {daemon_.output_descriptor(), POLLIN, 0},
        {daemon_.end_descriptor(), POLLIN, 0},
        {stopped_by_user_ ? -1 : options_.control, POLLIN, 0},
        {stopped_by_user_ || options_.beside == nullptr ? -1 : options_.beside->end_descriptor(), POLLIN, 0},
        {broker_.descriptor(), POLLIN, 0},
    };
    poll(watched, std::size(watched), wait_milliseconds());
    if (watched[0].revents != 0) {
        handle_log();
    }
    if (watched[1].revents != 0 && port_.descriptor() == watched[1].fd) {
        port_.flush();
        handle_commands();
    }
    if (watched[2].revents != 0) {
        handle_output();
    }
    if (watched[3].revents != 0) {
        handle_exit();
    }
    if (watched[4].revents != 0 || watched[5].revents != 0 || journal_.is_broken()) {
        stopped_by_user_ = true;
    }
    if (watched[6].revents != 0) {
        for (const mqtt_message &message : broker_.receive()) {
            journal_.story("mqtt", message.topic + " " + printable(message.payload));
        }
    }
    check_limits();
}

void player::check_limits() {
    const auto now = clock_type::now();
    if (options_.limit && now >= play_start_ + *options_.limit) {
        stopped_by_user_ = true;
    }
    if (stopped_by_user_ && exit_) {
        over_ = true;
    } else if (stopped_by_user_ && !stop_deadline_) {
        stop();
    }
    if (stop_deadline_ && now >= *stop_deadline_ && daemon_.runs()) {
        journal_.failure(options_.scenario_name + ": the daemon did not end within 10 s after SIGTERM");
        daemon_.send(SIGKILL);
        stop_deadline_.reset();
        over_ = true;
    }
}

void player::handle_commands() {
    for (const std::string &command : module_.receive(port_.read())) {
        if (journal_.is_verbose()) {
            show_changes();
        }
        if (!before_serving_cell_ && lower_case(command) == SERVING_CELL_QUERY) {
            before_serving_cell_ = database_.cell();
        }
        journal_.detail("AT >", printable(command));
        lines_.push_back({QUERY_PRIORITY, printable(command)});
    }
}

void player::say_what_is_due() {
    const auto now = clock_type::now();
    for (std::string bytes = module_.next_output(now); !bytes.empty(); bytes = module_.next_output(now)) {
        say_as_module(bytes);
    }
}

void player::say_as_module(const std::string &bytes) {
    port_.write(bytes);
    journal_.detail("AT <", printable(bytes));
}

void player::handle_log() {
    while (const auto line = log_.next()) {
        handle_log_line(*line);
        advance();
    }
}

void player::handle_log_line(const log_line &line) {
    if (journal_.is_verbose()) {
        show_changes();
    }
    if (line.priority == CALL_PRIORITY) {
        journal_.story("run", line.text);
    } else if (is_for_people(line)) {
        journal_.story("log", line.priority + "  " + line.text);
    } else {
        journal_.detail("log", line.priority + "  " + line.text);
    }
    lines_.push_back(line);
    if (line.text.starts_with(CYCLE_END)) {
        end_cycle();
    }
}

void player::end_cycle() {
    ++cycles_;
    journal_.story("cycle", std::to_string(cycles_) + "  " + cycle_line(database_.cell()));
    show_changes();
}

void player::handle_output() {
    output_ += daemon_.read_output();
    for (auto end = output_.find('\n'); end != std::string::npos; end = output_.find('\n')) {
        journal_.story("output", printable(output_.substr(0, end)));
        output_.erase(0, end + 1);
    }
}

void player::handle_exit() {
    handle_log();
    handle_output();
    const std::string status = daemon_.reap();
    exit_ = status;
    stop_deadline_.reset();
    show_changes();
    const std::string text = "the daemon ended " + describe_exit(status);
    const after_exit *awaited = next_step_ < steps_.size() ? std::get_if<after_exit>(&steps_[next_step_]) : nullptr;
    // Stopped by the user before it was ready to be stopped, it ends by the signal.
    const bool fine = stopped_by_user_ ? status == "0" || status == "TERM"
                                       : status == (ends_ ? "0" : (awaited != nullptr ? awaited->status : ""));
    if (fine) {
        journal_.story("box", text);
    } else {
        journal_.failure(options_.scenario_name + ": " + text + (ends_ ? "" : ", which the scenario does not await"));
        over_ = true;
    }
}

// In the story the changes of a cycle stand behind its line; in the whole journal each at its time.
void player::show_changes() {
    const cell_values &now = database_.cell();
    for (const auto &[key, value] : now) {
        const auto old = shown_.find(key);
        if (old == shown_.end()) {
            // Nothing for people in a key that appears without a value.
            is_not_reported(value) ? journal_.detail("key", key + " = " + value.text)
                                   : journal_.story("key", key + " = " + value.text);
        } else if (old->second != value) {
            journal_.story("key", key + " = " + value.text + was(old->second));
        }
    }
    for (const auto &[key, value] : shown_) {
        if (!now.contains(key)) {
            journal_.story("key", key + " deleted" + was(value));
        }
    }
    shown_ = now;
}

}  // namespace

int play(const scenario &story, const play_options &options) {
    return player(story, options).play();
}
