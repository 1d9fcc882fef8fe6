// platform/ in memory. It keeps a journal of every call in order, plays scripted answers, owns the clock and the files,
// and can fail, or interfere with, the n-th call of anything.
//
// The journal's lines begin with the operation's own name; what varies of its arguments follows, a descriptor first. A
// log line is "log PRIORITY: TEXT". access(), fwtime_s() and the sysdb reads are not in the journal: they change
// nothing.
//
// What never varies (the flags of a write, the null handle of a one-shot write, the mode of access()) is no part of the
// journal's lines: any other value, like a descriptor or handle that is not open, is a misuse, which fails the test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <sys/socket.h>

namespace fake {

using value = std::variant<int, double, std::string>;
using database = std::map<std::string, value>;

struct at_answer {
    unsigned int result = 1;
    std::string text;
};

// One exchange as the daemon asked for it, the command with its carriage return.
struct at_exchange {
    int fd;
    std::string command;
    std::vector<std::string> texts;  // those that end the reading
    unsigned int buffer_size;
};

struct typed_answer {
    int result = 0;
    std::string text;
};

struct message {
    std::string topic;
    std::string payload;
};

struct platform_state {
    std::vector<std::string> journal;
    std::vector<std::string> reads;  // of sysdb, by key: "sysdb_read_str CELL_MODEL 128", with the buffer's size

    // Files by path, with their content. A path exists when it is here. "/dev/ttyQSB3" and "/tmp/zstats.running" do
    // from the start.
    std::map<std::string, std::string> files{{"/dev/ttyQSB3", ""}, {"/tmp/zstats.running", ""}};

    // Committed contents, by named database.
    std::map<std::string, database> databases;

    // Answers by command, without the carriage return. The last one stays; a command without any fails the exchange.
    std::map<std::string, std::vector<at_answer>> at_answers;
    std::vector<at_exchange> at_exchanges;

    int registration_result = -1;
    bool registered = false;
    bool roaming = false;
    typed_answer carrier, imsi, mdn, cfun;

    std::map<std::string, std::string> config;  // JSON text by path, such as "network"
    std::string whole_config;                   // JSON text of everything, for paths that are not above
    typed_answer qmicli{-1, ""};                // a result of 0 or more gives the text, and returns what fits
    std::map<std::string, int> command_status;  // of brelsys, by command line; 0 without an entry
    std::string wwan_ip;                        // of "wwan0"; empty: none
    std::set<std::string> interfaces{"wwan0", "eth0", "eth1"};
    std::set<std::string> interfaces_up;
    int failure = -1;                  // what fails where any value but 0 is a failure: database and configuration
    int link_error = 0;                // of ip_link_set_interface_down and _up
    bool broker = true;                // answers send_message
    std::vector<message> messages;     // that it got
    std::uint32_t now = 1000;          // seconds; sleep() lets it pass
    int log_socket_type = SOCK_DGRAM;  // on which the system log listens

    std::map<int, void (*)(int)> signal_handlers;  // those that signal() was given; none is really installed

    bool misuse_is_expected = false;
};

// The state of this process's platform.
platform_state &platform();

// Everything as at the start, the hooks included.
void reset();

// The n-th call from now (1: the next) of an operation fails: it returns its own failure, or throws when it has none.
void fail(const std::string &operation, int nth = 1);

// Runs an action before the n-th call from now of an operation; the action may throw into the daemon.
void before(const std::string &operation, int nth, std::function<void()> action);

// Shows the watcher each call from now on, by its operation's name, before the call's own hooks; the call fails where
// it says true. It may throw into the daemon. Null ends it, as reset() does.
void watch(std::function<bool(const std::string &operation)> watcher);

// What was opened and not closed: sessions of the database, descriptors of the port.
std::size_t open_sessions();
std::size_t open_ports();

// The journal's lines that begin with one of these words, in order.
std::vector<std::string> journal_of(const std::vector<std::string> &first_words);

// The journal's log lines, as "PRIORITY: TEXT".
std::vector<std::string> log_lines();

// What "CELL" holds; an empty text when the key is missing. As `sysdb list` prints it: "int -95", "real -999.0".
std::string cell(const std::string &key);
std::string text_of(const value &stored);

// For the implementations: a call that its header does not allow. Fails the test, or ends a program that is no test.
void misuse(const std::string &what);

// For the implementations: counts the call, runs its hooks, writes it down. True when the call is to fail.
bool enter(const std::string &operation, const std::string &journal_line);
bool enter_unseen(const std::string &operation);

}  // namespace fake
