// platform/ in memory. It keeps a journal of every call in order, plays scripted answers, owns the clock and the files,
// and can fail, or interfere with, the n-th call of anything.
//
// The journal's lines begin with the operation's own name; what a reader needs of its arguments follows. A log line is
// "log PRIORITY: TEXT". access(), fwtime_s() and the sysdb reads are not in the journal: they change nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
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
    std::string command;
    std::vector<std::string> texts;  // those that end the reading
    unsigned int buffer_size;
    std::vector<unsigned int> flags;  // the two last arguments
};

struct typed_answer {
    int result = 0;
    std::string text;
};

struct platform_state {
    std::vector<std::string> journal;

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
    typed_answer qmicli{-1, ""};
    std::map<std::string, int> command_status;  // of brelsys, by command line; 0 without an entry
    std::string wwan_ip;                        // of "wwan0"; empty: none
    int link_error = 0;                         // of ip_link_set_interface_down and _up
    std::uint32_t now = 1000;                   // seconds; sleep() lets it pass
    int log_socket_type = SOCK_DGRAM;           // on which the system log listens

    std::map<int, void (*)(int)> signal_handlers;  // those that signal() was given; none is really installed
};

// The state of this process's platform.
platform_state &platform();

// Everything as at the start, the hooks included.
void reset();

// The n-th call from now (1: the next) of an operation fails: it returns its own failure, or throws when it has none.
void fail(const std::string &operation, int nth = 1);

// Runs an action before the n-th call from now of an operation; the action may throw into the daemon.
void before(const std::string &operation, int nth, std::function<void()> action);

// The journal's lines that begin with one of these words, in order.
std::vector<std::string> journal_of(const std::vector<std::string> &first_words);

// The journal's log lines, as "PRIORITY: TEXT".
std::vector<std::string> log_lines();

// What "CELL" holds; an empty text when the key is missing. As `sysdb list` prints it: "int -95", "real -999.0".
std::string cell(const std::string &key);
std::string text_of(const value &stored);

// For the implementations: counts the call, runs its hooks, writes it down. True when the call is to fail.
bool enter(const std::string &operation, const std::string &journal_line);
bool enter_unseen(const std::string &operation);

}  // namespace fake
