// The statements of the language, a table for each subject. A statement is one row: how it is written, when it may
// stand, and what reads it; what it reads, it turns into what is done to the router when its turn comes.
// docs/scenarios.md explains each in a row that begins with the same usage.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "sim/scenario/parser.h"
#include "sim/scenario/router.h"

enum class statement_kind {
    frame,        // module, at and after
    anywhere,     // also before the daemon is started
    running,      // only behind the first at or after
    expectation,  // only there, and behind `end` too
    end,          // only there; nothing but expectations behind it
    repeat,       // only there; nothing behind it
};

using action = std::function<void(router &)>;

struct module_name {
    std::string name;  // empty: the daemon is started without -d
};
struct at_time {
    scenario_time time;  // since the daemon's first start, or since the last repeat
};
struct after_cycle {
    unsigned int cycle;
};
struct after_exit {
    std::string status;  // "0", or the signal that ended it: "KILL"
};

using statement_content = std::variant<action, module_name, at_time, after_cycle, after_exit>;

// For statements that are their word alone.
template <void (router::*perform)()>
statement_content read_nothing(parser & /*in*/) {
    return [](router &on) { (on.*perform)(); };
}

struct statement_form {
    std::string_view usage;  // begins with the statement's word
    statement_kind kind;
    statement_content (*read)(parser &in);  // all but the word; throws scenario_error

    constexpr std::string_view word() const { return usage.substr(0, usage.find_first_of(" ,")); }
};

std::span<const statement_form> module_statements();
std::span<const statement_form> time_statements();
std::span<const statement_form> router_statements();
std::span<const statement_form> expect_statements();
