// What the statements of a scenario may do to a router, and see of it. The player implements it in the box; tests do
// with a list of what was done.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

using scenario_time = std::chrono::milliseconds;

// Type and value as `sysdb list` prints them: "int", "real" or "string"; a real always with a decimal point.
struct typed_value {
    std::string type;
    std::string text;
    bool operator==(const typed_value &) const = default;
};

using cell_values = std::map<std::string, typed_value>;

struct key_value {
    std::string key;
    typed_value value;
};

struct set_key {
    std::string database;
    key_value what;
};

struct module_answer {
    std::string command;  // in lower case
    std::string bytes;
    scenario_time delay{0};
    std::size_t torn = 0;  // bytes a piece; 0: in one piece
};

struct mqtt_message {
    std::string topic;
    std::string payload;
    bool operator==(const mqtt_message &) const = default;
};

inline constexpr const char *CALL_PRIORITY = "run";     // no log line: the call of one of the router's commands
inline constexpr const char *QUERY_PRIORITY = "asked";  // no log line either: a command that the module was given

struct log_line {
    std::string priority;  // "local0.alert", CALL_PRIORITY or QUERY_PRIORITY
    std::string text;      // without time and the daemon's own identity, control characters made visible
};

class router {
public:
    router() = default;
    virtual ~router() = default;
    router(const router &) = delete;
    router &operator=(const router &) = delete;

    // --- The module ---
    virtual void set_answer(const module_answer &answer) = 0;
    virtual void set_silence(const std::string &command) = 0;
    virtual void set_echo(bool on) = 0;
    virtual void say_as_module(const std::string &bytes) = 0;
    virtual void unplug_module() = 0;
    virtual void plug_module() = 0;

    // --- What surrounds the daemon. What cannot be done is a failure of the scenario ---
    virtual void write_config(const std::string &json) = 0;
    virtual void touch_file(const std::string &path) = 0;
    virtual void remove_file(const std::string &path) = 0;
    virtual void make_directory(const std::string &path) = 0;
    virtual void write_file(const std::string &path, const std::string &bytes) = 0;
    virtual void write_uptime(const std::string &path, long long offset_seconds) = 0;  // negative: ago
    virtual void set_address(const std::string &address) = 0;                          // empty: none
    virtual void install_program(const std::string &path, int status, scenario_time delay,
                                 const std::string &output) = 0;
    virtual void run_broker(bool on) = 0;
    virtual void write_key(const set_key &what) = 0;

    // --- The daemon and the time table ---
    virtual void signal_daemon(int number) = 0;
    virtual void start_daemon() = 0;
    virtual void end_table() = 0;
    virtual void repeat_table() = 0;

    // --- For the reader, and what came out ---
    virtual void say(const std::string &text) = 0;
    virtual void set_mark() = 0;
    virtual const cell_values &cell() = 0;
    // Before the module was first asked for its serving cell; nothing while it was not.
    virtual const std::optional<cell_values> &cell_before() const = 0;
    virtual const std::vector<log_line> &lines() const = 0;
    virtual std::vector<log_line> journal_since_mark() const = 0;
    virtual bool exists(const std::string &path) const = 0;
    virtual std::optional<std::string> file_content(const std::string &path) const = 0;
    virtual std::optional<bool> is_interface_up(const std::string &name) const = 0;
    virtual std::optional<mqtt_message> next_message() = 0;  // waits a moment for one that is on its way
    virtual std::string daemon_pid() const = 0;              // of the last one that was started

    // The verdict of an expectation: how it differs from what was found, one a line; none when it holds.
    virtual void judge(const std::vector<std::string> &differences) = 0;
};
