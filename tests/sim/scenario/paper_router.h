// A router on paper: writes down what statements do, and shows them what a test puts into it.
#pragma once

#include <string>
#include <vector>

#include "sim/scenario/line_text.h"
#include "sim/scenario/scenario.h"
#include "sim/scenario/signal_names.h"
#include "store/value_text.h"

class paper_router final : public router {
public:
    std::vector<std::string> done;
    std::vector<std::string> differences;  // of the last expectation
    cell_values keys;
    std::optional<cell_values> keys_before;
    std::vector<log_line> log;
    std::optional<std::string> file;  // the content of every one
    std::optional<bool> interface;
    std::optional<mqtt_message> message;

    void set_answer(const module_answer &answer) override {
        note("answer " + answer.command, std::to_string(answer.delay.count()) + " ms", std::to_string(answer.torn),
             answer.bytes);
    }
    void set_silence(const std::string &command) override { note("silence", command); }
    void set_echo(bool on) override { note("echo", on ? "on" : "off"); }
    void say_as_module(const std::string &bytes) override { note("unsolicited", bytes); }
    void unplug_module() override { note("unplug"); }
    void plug_module() override { note("plug"); }
    void write_config(const std::string &json) override { note("config", json); }
    void touch_file(const std::string &path) override { note("touch", path); }
    void remove_file(const std::string &path) override { note("remove", path); }
    void make_directory(const std::string &path) override { note("directory", path); }
    void write_file(const std::string &path, const std::string &bytes) override { note("write", path, bytes); }
    void write_uptime(const std::string &path, long long offset) override {
        note("uptime", path, std::to_string(offset));
    }
    void set_address(const std::string &address) override { note("address", address); }
    void install_program(const std::string &path, int status, scenario_time delay, const std::string &output) override {
        note("program", path, std::to_string(status), std::to_string(delay.count()) + " ms", output);
    }
    void run_broker(bool on) override { note("broker", on ? "on" : "off"); }
    void write_key(const set_key &what) override {
        note("set", what.database, what.what.key, what.what.value.type, what.what.value.text);
    }
    void signal_daemon(int number) override { note("signal", signal_name(number)); }
    void start_daemon() override { note("start"); }
    void end_table() override { note("end"); }
    void repeat_table() override { note("repeat"); }
    void say(const std::string &text) override { note("say", text); }
    void set_mark() override { note("mark"); }
    const cell_values &cell() override { return keys; }
    const std::optional<cell_values> &cell_before() const override { return keys_before; }
    const std::vector<log_line> &lines() const override { return log; }
    std::vector<log_line> journal_since_mark() const override { return log; }
    bool exists(const std::string & /*path*/) const override { return file.has_value(); }
    std::optional<std::string> file_content(const std::string & /*path*/) const override { return file; }
    std::optional<bool> is_interface_up(const std::string & /*name*/) const override { return interface; }
    std::optional<mqtt_message> next_message() override { return message; }
    std::string daemon_pid() const override { return "77"; }
    void judge(const std::vector<std::string> &wrong) override { differences = wrong; }

private:
    template <typename... Parts>
    void note(const Parts &...parts) {
        done.push_back(escaped(join({std::string(parts)...}, "|")));
    }
};

// Carries out the statements of a text, whatever their time.
inline void carry_out(const std::string &text, router &on) {
    for (const scenario_step &step : parse_scenario(text, "test").steps) {
        if (const auto *what = std::get_if<action>(&step.what)) {
            (*what)(on);
        }
    }
}
