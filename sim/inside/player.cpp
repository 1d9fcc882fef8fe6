#include "sim/inside/player.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "sim/database.h"
#include "sim/handover.h"
#include "sim/inside/broker.h"
#include "sim/inside/child.h"
#include "sim/inside/interfaces.h"
#include "sim/inside/journal.h"
#include "sim/inside/key_changes.h"
#include "sim/inside/module_port.h"
#include "sim/inside/router_files.h"
#include "sim/inside/router_programs.h"
#include "sim/inside/simulated_module.h"
#include "sim/inside/system_log.h"
#include "sim/scenario/line_text.h"
#include "sim/scenario/signal_names.h"
#include "store/value_text.h"
#include "view/line.h"

namespace {

using clock_type = std::chrono::steady_clock;

// A stop request ends every wait of the daemon early.
constexpr auto STOP_PATIENCE = std::chrono::seconds(10);

constexpr const char *SERVING_CELL_QUERY = "at+qeng=\"servingcell\"";
constexpr std::string_view CYCLE_END = "ATRES:";  // the daemon's last log line of a cycle

// The states that player.h draws.
enum class phase {
    running,   // the table goes on; the daemon runs, or has ended as the table awaits
    ending,    // behind `end`: the daemon was told to end, and has until the deadline
    judging,   // behind `end`, and the daemon has ended: nothing is left but expectations
    stopping,  // the user wants an end: the daemon was told, and has until the deadline; the table stands still
    over,
};

std::string describe_exit(const std::string &status) {
    return is_signal_name(status) ? "by signal " + status : "with exit status " + status;
}

bool is_for_people(const log_line &line) {
    return !line.priority.ends_with(".info") && !line.priority.ends_with(".debug") && line.priority != QUERY_PRIORITY;
}

class player final : public router {
public:
    player(const scenario &story, const play_request &request, terminal_program *beside)
        : request_(request), beside_(beside), module_name_(story.module), steps_(story.steps), journal_(request.level),
          log_("/dev/log"), port_(MODULE_PORT) {}

    int play();

    // --- What statements may do ---
    void set_answer(const module_answer &answer) override { module_.set_answer(answer); }
    void set_silence(const std::string &command) override { module_.set_silence(command); }
    void set_echo(bool on) override { module_.set_echo(on); }
    void say_as_module(const std::string &bytes) override;
    void unplug_module() override;
    void plug_module() override;
    void write_config(const std::string &json) override { report(::write_config(json)); }
    void touch_file(const std::string &path) override { report(::touch_file(path)); }
    void remove_file(const std::string &path) override { report(::remove_file(path)); }
    void make_directory(const std::string &path) override { report(::make_directory(path)); }
    void write_file(const std::string &path, const std::string &bytes) override { report(::write_file(path, bytes)); }
    void write_uptime(const std::string &path, long long offset) override { report(::write_uptime(path, offset)); }
    void set_address(const std::string &address) override { report(::set_address(address)); }
    void install_program(const std::string &path, int status, scenario_time delay, const std::string &output) override {
        report(::install_program(path, {status, delay, output}));
    }
    void run_broker(bool on) override;
    void write_key(const set_key &what) override { report(database_.write(what)); }
    void signal_daemon(int number) override;
    void start_daemon() override { daemon_.runs() ? fail("the daemon still runs") : start(); }
    void end_table() override;
    void repeat_table() override;
    void say(const std::string &text) override { journal_.story("", "== " + text); }
    void set_mark() override { mark_ = lines_.size(); }

    // --- What they may see ---
    const cell_values &cell() override { return database_.cell(); }
    const std::optional<cell_values> &cell_before() const override { return before_serving_cell_; }
    const std::vector<log_line> &lines() const override { return lines_; }
    std::vector<log_line> journal_since_mark() const override;
    bool exists(const std::string &path) const override { return access(path.c_str(), F_OK) == 0; }
    std::optional<std::string> file_content(const std::string &path) const override { return ::file_content(path); }
    std::optional<bool> is_interface_up(const std::string &name) const override { return ::is_interface_up(name); }
    std::optional<mqtt_message> next_message() override { return broker_.next_message(); }
    std::string daemon_pid() const override { return std::to_string(daemon_pid_); }
    void judge(const std::vector<std::string> &differences) override;

private:
    // --- The time table ---
    void carry_out_next();
    void advance();
    template <typename Kind>
    const Kind *next() const {
        return next_step_ < steps_.size() ? std::get_if<Kind>(&steps_[next_step_].what) : nullptr;
    }
    bool is_reached() const;
    clock_type::time_point moment_of(const at_time &at) const {
        return table_start_ + clock_type::duration(at.time) / request_.speed;  // 1 ms stays more than nothing
    }
    void report(const std::string &problem);
    void fail(const std::string &text);

    // --- The daemon ---
    void start();
    void tell_to_end(phase until_it_has_ended);
    bool is_told_to_end() const { return phase_ == phase::ending || phase_ == phase::stopping; }
    clock_type::time_point user_limit() const;
    void stop_for_user();
    void handle_control();
    void stop_for_a_while();
    void check_limits();

    // --- What happens ---
    void wait();
    int wait_milliseconds();
    void say_what_is_due();
    void handle_port();
    void handle_log();
    void handle_log_line(const log_line &line);
    void remember(const log_line &line);
    void handle_messages();
    void handle_output();
    void handle_close_of_port() { port_.forget_user(); }
    void handle_exit();
    void end_cycle();
    void show_changes();

    const play_request &request_;
    terminal_program *beside_;
    const std::string &module_name_;
    const std::vector<scenario_step> &steps_;
    std::size_t next_step_ = 0;
    std::size_t line_ = 0;  // of the statement that is being carried out
    phase phase_ = phase::running;
    journal journal_;
    system_log log_;
    module_port port_;
    simulated_module module_;
    box_database database_;
    message_broker broker_;
    child daemon_;
    pid_t daemon_pid_ = -1;  // of the last one that was started
    std::string output_;     // of the daemon: a line that has not ended
    clock_type::time_point table_start_;
    clock_type::time_point play_start_;
    clock_type::time_point stop_deadline_;  // while it is told to end
    bool is_stopped_by_story_ = false;      // by `signal STOP`
    unsigned int cycles_ = 0;
    std::size_t judged_ = 0;
    std::vector<log_line> lines_;
    std::size_t mark_ = 0;  // how many of them expect-journal passes over
    cell_values shown_;
    std::optional<cell_values> before_serving_cell_;
};

int player::play() {
    if (request_.port.empty()) {
        port_.plug();
    }
    touch_file("/tmp/zstats.running");
    if (!module_name_.empty()) {
        write_key({"CELL", {"CELL_MODEL", {"string", module_name_}}});  // of another program of the router
    }
    while (next<action>() != nullptr) {
        carry_out_next();
    }
    journal_.start_clock();
    start();
    play_start_ = table_start_ = clock_type::now();
    if (beside_ != nullptr) {
        beside_->start();
    }
    while (phase_ != phase::over) {
        say_what_is_due();
        advance();
        if (phase_ != phase::over) {
            wait();
        }
    }
    if (journal_.failures() == 0) {
        journal_.story("", judged_ == 0 ? "== the end"
                                        : "== the end: all " + std::to_string(judged_) + " expectations hold");
    }
    // Without a reader, as in "| head", all was said that anybody wanted.
    if (journal_.error() != 0 && journal_.error() != EPIPE) {
        return refuse(std::string("the journal cannot be written: ") + std::strerror(journal_.error()), 1);
    }
    return journal_.failures() == 0 ? 0 : 1;
}

// --- The time table ---

void player::carry_out_next() {
    const scenario_step &step = steps_[next_step_++];
    line_ = step.line;
    std::get<action>(step.what)(*this);
}

void player::advance() {
    while ((phase_ == phase::running || phase_ == phase::judging) && next_step_ < steps_.size()) {
        if (next<action>() != nullptr) {
            carry_out_next();
        } else if (is_reached()) {
            ++next_step_;
        } else {
            return;
        }
    }
    if (!daemon_.runs() && next_step_ == steps_.size()) {
        phase_ = phase::over;
    }
}

bool player::is_reached() const {
    if (const auto *at = next<at_time>()) {
        return clock_type::now() >= moment_of(*at);
    }
    if (const auto *after = next<after_cycle>()) {
        return cycles_ >= after->cycle;
    }
    return !daemon_.runs();
}

void player::judge(const std::vector<std::string> &differences) {
    ++judged_;
    if (!differences.empty()) {
        fail(join(differences, "\n                   "));
    }
}

void player::report(const std::string &problem) {
    if (!problem.empty()) {
        fail(problem);
    }
}

void player::fail(const std::string &text) {
    journal_.failure(request_.scenario + ":" + std::to_string(line_) + ": " + text);
}

void player::end_table() {
    if (daemon_.runs()) {
        tell_to_end(phase::ending);
    } else {
        phase_ = phase::judging;
    }
}

void player::repeat_table() {
    next_step_ = 0;
    cycles_ = 0;
    lines_.clear();
    mark_ = 0;
    table_start_ = clock_type::now();
    journal_.detail("box", "the time table starts again");
}

std::vector<log_line> player::journal_since_mark() const {
    std::vector<log_line> found;
    std::copy_if(lines_.begin() + static_cast<std::ptrdiff_t>(mark_), lines_.end(), std::back_inserter(found),
                 is_for_people);
    return found;
}

// --- The router ---

void player::say_as_module(const std::string &bytes) {
    port_.write(bytes);
    journal_.detail("AT <", escaped(bytes));
}

void player::unplug_module() {
    port_.unplug();
    module_.forget();
    journal_.story("module", "vanished: /dev/ttyQSB3 is gone");
}

void player::plug_module() {
    port_.plug();
    journal_.story("module", "returned: /dev/ttyQSB3 is back");
}

void player::run_broker(bool on) {
    if (on) {
        report(broker_.start());
    } else {
        broker_.stop();
    }
    journal_.story("box", on ? "the broker runs" : "the broker is gone");
}

// --- The daemon ---

void player::start() {
    daemon_.start(request_.command);
    is_stopped_by_story_ = false;
    daemon_pid_ = daemon_.pid();
    journal_.detail("box", "started " + join(request_.command, " "));
}

void player::signal_daemon(int number) {
    daemon_.send(number);
    is_stopped_by_story_ = number == SIGSTOP || (is_stopped_by_story_ && number != SIGCONT);
    journal_.story("box", "sent signal " + signal_name(number));
}

void player::tell_to_end(phase until_it_has_ended) {
    // A stopped daemon must be able to end. First, because behind SIGTERM it would disturb whoever traces the end.
    daemon_.send(SIGCONT);
    daemon_.send(SIGTERM);
    stop_deadline_ = clock_type::now() + STOP_PATIENCE;
    phase_ = until_it_has_ended;
}

clock_type::time_point player::user_limit() const {
    return request_.seconds == 0 ? clock_type::time_point::max() : play_start_ + std::chrono::seconds(request_.seconds);
}

void player::stop_for_user() {
    if (!daemon_.runs()) {
        phase_ = phase::over;
    } else if (phase_ == phase::running) {
        tell_to_end(phase::stopping);
    } else if (phase_ == phase::ending) {
        phase_ = phase::stopping;
    }
}

void player::handle_control() {
    char byte = 0;
    if (read(BOX_CONTROL, &byte, 1) != 1) {
        stop_for_user();
    } else if (byte == STOP_FOR_A_WHILE) {
        stop_for_a_while();
    }
}

// Nothing goes on in the box meanwhile, and the times of the table move.
void player::stop_for_a_while() {
    const auto begin = clock_type::now();
    daemon_.send(SIGSTOP);
    if (beside_ != nullptr) {
        beside_->stop_for_a_while();
    }
    static_cast<void>(!write(BOX_READY, &BOX_HAS_STOPPED, 1));
    char byte = 0;
    while (read(BOX_CONTROL, &byte, 1) == 1 && byte != GO_ON) {
    }
    if (!is_stopped_by_story_) {
        daemon_.send(SIGCONT);
    }
    if (beside_ != nullptr) {
        beside_->go_on();
    }
    const auto pause = clock_type::now() - begin;
    play_start_ += pause;
    table_start_ += pause;
    stop_deadline_ += pause;
}

void player::check_limits() {
    const auto now = clock_type::now();
    if (journal_.error() != 0 || now >= user_limit()) {
        stop_for_user();
    }
    if (is_told_to_end() && now >= stop_deadline_) {
        journal_.failure(request_.scenario + ": the daemon did not end within 10 s after SIGTERM");
        daemon_.send(SIGKILL);
        phase_ = phase::over;
    }
}

// --- What happens ---

int player::wait_milliseconds() {
    const auto now = clock_type::now();
    auto until = now + std::chrono::hours(1);
    if (const auto due = module_.next_time(now)) {
        until = std::min(until, *due);
    }
    if (const auto *at = next<at_time>(); at != nullptr && phase_ == phase::running) {
        until = std::min<clock_type::time_point>(until, moment_of(*at));
    }
    if (is_told_to_end()) {
        until = std::min(until, stop_deadline_);
    } else {
        until = std::min(until, user_limit());
    }
    if (beside_ != nullptr) {
        until = std::min(until, now + std::chrono::milliseconds(200));  // no descriptor tells that it was stopped
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void player::wait() {
    // A negative descriptor is not watched.
    const bool listens = phase_ != phase::stopping;
    const std::pair<pollfd, void (player::*)()> sources[] = {
        {{log_.descriptor(), POLLIN, 0}, &player::handle_log},
        {{port_.descriptor(), static_cast<short>(POLLIN | (port_.wants_to_write() ? POLLOUT : 0)), 0},
         &player::handle_port},
        {{daemon_.output_descriptor(), POLLIN, 0}, &player::handle_output},
        {{port_.closes_descriptor(), POLLIN, 0}, &player::handle_close_of_port},
        {{daemon_.end_descriptor(), POLLIN, 0}, &player::handle_exit},
        {{listens ? BOX_CONTROL : -1, POLLIN, 0}, &player::handle_control},
        {{listens && beside_ != nullptr ? beside_->end_descriptor() : -1, POLLIN, 0}, &player::stop_for_user},
        {{broker_.descriptor(), POLLIN, 0}, &player::handle_messages},
    };
    std::array<pollfd, std::size(sources)> watched{};
    std::ranges::transform(sources, watched.begin(), [](const auto &source) { return source.first; });
    poll(watched.data(), watched.size(), wait_milliseconds());
    const pollfd *result = watched.data();
    for (const auto &[source, handle] : sources) {
        if ((result++)->revents != 0) {
            (this->*handle)();
        }
    }
    if (beside_ != nullptr && beside_->has_stopped()) {
        stop_for_a_while();
    }
    check_limits();
}

void player::say_what_is_due() {
    const auto now = clock_type::now();
    for (std::string bytes = module_.next_output(now); !bytes.empty(); bytes = module_.next_output(now)) {
        say_as_module(bytes);
    }
}

void player::handle_port() {
    port_.flush();
    for (const std::string &command : module_.receive(port_.read())) {
        if (journal_.is_verbose()) {
            show_changes();
        }
        if (!before_serving_cell_ && lower_case(command) == SERVING_CELL_QUERY) {
            before_serving_cell_ = database_.cell();
        }
        journal_.detail("AT >", escaped(command));
        remember({QUERY_PRIORITY, escaped(command)});
    }
}

void player::handle_messages() {
    for (const mqtt_message &message : broker_.receive()) {
        journal_.story("mqtt", escaped(message.topic) + " " + escaped(message.payload));
    }
}

void player::handle_log() {
    while (const auto line = log_.next()) {
        handle_log_line(*line);
        advance();
    }
}

// For the expectations to come: behind the last of them a box may run for weeks.
void player::remember(const log_line &line) {
    if (next_step_ < steps_.size()) {
        lines_.push_back(line);
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
    remember(line);
    if (line.text.starts_with(CYCLE_END)) {
        end_cycle();
    }
}

void player::end_cycle() {
    ++cycles_;
    journal_.story("cycle", std::to_string(cycles_) + "  " + view::line_of(database_.stored()));
    if (const std::string trouble = trouble_of(database_.port()); !trouble.empty()) {
        journal_.story("module", trouble);
    }
    show_changes();
}

void player::handle_output() {
    constexpr std::size_t LONGEST_LINE = 65536;
    output_ += daemon_.read_output();
    std::string_view rest = output_;
    for (auto end = rest.find('\n'); end != rest.npos; end = rest.find('\n')) {
        journal_.story("output", escaped(rest.substr(0, end)));
        rest.remove_prefix(end + 1);
    }
    if (rest.size() > LONGEST_LINE) {
        journal_.story("output", escaped(std::exchange(rest, {})));
    }
    output_ = std::string(rest);
}

void player::handle_exit() {
    handle_log();
    handle_output();
    const std::string status = daemon_.reap();
    show_changes();
    const std::string text = "the daemon ended " + describe_exit(status);
    const auto *const awaited = next<after_exit>();
    // Stopped by the user before it was ready to be stopped, it ends by the signal.
    const bool fine = phase_ == phase::stopping ? status == "0" || status == "TERM"
                      : phase_ == phase::ending ? status == "0"
                                                : awaited != nullptr && status == awaited->status;
    if (fine) {
        journal_.story("box", text);
    } else {
        journal_.failure(request_.scenario + ": " + text +
                         (phase_ == phase::ending ? "" : ", which the scenario does not await"));
    }
    if (!fine || phase_ == phase::stopping) {
        phase_ = phase::over;
    } else if (phase_ == phase::ending) {
        phase_ = phase::judging;
    }
}

// In the story the changes of a cycle stand behind its line; in the whole journal each at its time.
void player::show_changes() {
    const cell_values now = request_.port.empty() ? database_.cell() : without_subscriber(database_.cell());
    for (const key_change &change : key_changes(shown_, now)) {
        change.for_people ? journal_.story("key", change.text) : journal_.detail("key", change.text);
    }
    shown_ = now;
}

}  // namespace

int play(const scenario &story, const play_request &request, terminal_program *beside) {
    return player(story, request, beside).play();
}
