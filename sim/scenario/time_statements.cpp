// When something happens, and how it ends.
#include "sim/scenario/line_text.h"
#include "sim/scenario/signal_names.h"
#include "sim/scenario/statements.h"

namespace {

using enum statement_kind;

statement_content read_after(parser &in) {
    const std::string word = in.word();
    if (word == "cycle") {
        return after_cycle{to_number<unsigned int>(in.word()).value_or(0)};
    }
    if (word != "exit") {
        in.fail("after cycle N or after exit STATUS");
    }
    const std::string status = in.word();
    if (!to_number<unsigned char>(status) && !is_signal_name(status)) {
        in.fail("an exit status from 0 to 255, or the signal that ends the daemon, such as TERM, KILL, SEGV or ABRT, "
                "found \"" +
                status + "\"");
    }
    return after_exit{status};
}

constexpr statement_form STATEMENTS[] = {
    {"at TIME", frame, [](parser &in) -> statement_content { return at_time{in.time()}; }},
    {"after cycle N, after exit STATUS", frame, read_after},
    {"end", end, read_nothing<&router::end_table>},
    {"repeat", repeat, read_nothing<&router::repeat_table>},
};

}  // namespace

std::span<const statement_form> time_statements() {
    return STATEMENTS;
}
