// What a scenario file says. Reads text only: no file, no box. Silent; an error in the text is an exception.
// docs/scenarios.md is the language.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

using scenario_time = std::chrono::milliseconds;

// Type and value as `sysdb list` prints them: "int", "real" or "string"; a real always with a decimal point.
struct typed_value {
    std::string type;
    std::string text;
    bool operator==(const typed_value &) const = default;
};

struct key_value {
    std::string key;
    typed_value value;
};

// --- What the module says ---
struct set_answer {
    std::string command;
    std::string bytes;
    scenario_time delay{0};
    std::size_t torn = 0;  // bytes a piece; 0: in one piece
};
struct set_silence {
    std::string command;
};
struct set_echo {
    bool on;
};
struct unsolicited {
    std::string bytes;
};
struct unplug_module {};
struct plug_module {};

// --- What the router does ---
struct write_config_statement {
    std::string json;
};
struct touch_file_statement {
    std::string path;
};
struct remove_file_statement {
    std::string path;
};
struct make_directory_statement {
    std::string path;
};
struct write_file_statement {
    std::string path;
    std::string bytes;
};
struct write_uptime_statement {
    std::string path;
    long long offset_seconds;  // negative: ago
};
struct set_address_statement {
    std::string address;  // "10.1.2.3/30"; empty: loses all
};
struct install_program_statement {
    std::string path;
    int status = 0;
    scenario_time delay{0};  // between the call and everything else
    std::string output{};
};
struct set_broker {
    bool runs;
};
struct set_key {
    std::string database;
    key_value what;
};
struct send_signal {
    int number;
};
struct start_daemon {};
struct say {
    std::string text;
};
struct set_mark {};

// --- What must come out ---
struct expect_cell {
    std::vector<key_value> keys;
};
struct expect_key {
    key_value what;
};
struct expect_absent {
    std::string key;
};
struct expect_log {
    std::string priority;  // "local0.alert"; CALL_PRIORITY, QUERY_PRIORITY
    std::vector<std::string> lines;
};
struct expect_journal {
    std::vector<std::string> lines;  // "run TEXT" or "log PRIORITY TEXT"
};
struct expect_file {
    std::string path;
    std::string bytes;
};
struct expect_no_file {
    std::string path;
};
struct expect_interface {
    std::string name;
    bool up;
};
struct expect_message {
    std::string topic;
    std::string payload;
};
struct expect_no_message {};

// --- How it ends ---
struct end_scenario {};
struct repeat_scenario {};

using action =
    std::variant<set_answer, set_silence, set_echo, unsolicited, unplug_module, plug_module, write_config_statement,
                 touch_file_statement, remove_file_statement, make_directory_statement, write_file_statement,
                 write_uptime_statement, set_address_statement, install_program_statement, set_broker, set_key,
                 send_signal, start_daemon, say, set_mark, expect_cell, expect_key, expect_absent, expect_log,
                 expect_journal, expect_file, expect_no_file, expect_interface, expect_message, expect_no_message,
                 end_scenario, repeat_scenario>;

struct statement {
    action what;
    std::size_t line;
};

// --- When ---
struct before_start {};
struct at_time {
    scenario_time time;  // since the daemon's first start, or since the last repeat
};
struct after_cycle {
    unsigned int cycle;
};
struct after_exit {
    std::string status;  // "0", or the signal that ended it: "KILL"
};

struct section {
    std::variant<before_start, at_time, after_cycle, after_exit> when;
    std::vector<statement> statements;
    std::size_t line = 0;
};

struct scenario {
    std::string summary;            // the first comment
    std::string module;             // empty: the daemon is started without -d
    std::vector<section> sections;  // the first one holds what stands before the first `at` or `after`
};

// Carries "name:line: what was expected".
struct scenario_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `name` stands in front of errors.
scenario parse_scenario(std::string_view text, const std::string &name);

// The signals a scenario knows, by name without "SIG"; nothing for another text or number.
std::optional<int> signal_number(std::string_view name);
std::string signal_name(int number);
