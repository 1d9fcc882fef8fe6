// What the module says.
#include <utility>

#include "sim/scenario/line_text.h"
#include "sim/scenario/statements.h"

namespace {

using enum statement_kind;

statement_content read_answer(parser &in) {
    module_answer answer{.command = lower_case(in.word_or_fail("the command that is answered")), .bytes = {}};
    bool delayed = false;
    for (std::string option = in.word(); !option.empty(); option = in.word()) {
        if (option == "delay" && !std::exchange(delayed, true)) {
            answer.delay = in.time();
        } else if (option == "torn" && answer.torn == 0) {
            answer.torn = to_number<std::size_t>(in.word()).value_or(0);
            if (answer.torn == 0) {
                in.fail("a number of bytes from 1 behind torn");
            }
        } else {
            in.fail("\"delay TIME\" or \"torn N\", each once, found \"" + option + "\"");
        }
    }
    answer.bytes = in.block_bytes("\r\n");
    return [answer](router &on) { on.set_answer(answer); };
}

constexpr statement_form STATEMENTS[] = {
    {"module NAME", frame,
     [](parser &in) -> statement_content {
         const std::string name = in.word_or_fail("a module such as EC25, or none");
         return module_name{name == "none" ? "" : name};
     }},
    {"answer COMMAND [delay TIME] [torn N] + block", anywhere, read_answer},
    {"silence COMMAND", anywhere,
     [](parser &in) -> statement_content {
         const std::string command = lower_case(in.word_or_fail("the command that stays unanswered"));
         return [command](router &on) { on.set_silence(command); };
     }},
    {"echo on, echo off", anywhere,
     [](parser &in) -> statement_content {
         const bool echo = in.either("on", "off", "echo on or echo off");
         return [echo](router &on) { on.set_echo(echo); };
     }},
    {"unsolicited + block", anywhere,
     [](parser &in) -> statement_content {
         const std::string bytes = in.block_bytes("\r\n");
         return [bytes](router &on) { on.say_as_module(bytes); };
     }},
    {"vanish", anywhere, read_nothing<&router::unplug_module>},
    {"return", anywhere, read_nothing<&router::plug_module>},
};

}  // namespace

std::span<const statement_form> module_statements() {
    return STATEMENTS;
}
