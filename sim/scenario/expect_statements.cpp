// What must come out: each compares what the router shows with what its text expects.
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "sim/scenario/line_text.h"
#include "sim/scenario/log_priority.h"
#include "sim/scenario/statements.h"
#include "stats/cell_catalogue.h"
#include "store/value_text.h"

namespace {

using enum statement_kind;
using lines_of_text = std::vector<std::string>;

// For what differs in one line, if at all.
void judge(router &on, bool holds, const std::string &difference) {
    on.judge(holds ? lines_of_text{} : lines_of_text{difference});
}

// --- Keys ---

const typed_value *find(const cell_values &values, const std::string &key) {
    const auto found = values.find(key);
    return found == values.end() ? nullptr : &found->second;
}

std::string describe(const typed_value *value) {
    return value == nullptr ? "nothing" : value->type + " " + value->text;
}

// Null stands for a key that is not there.
lines_of_text compare(const std::string &key, const typed_value *expected, const typed_value *found,
                      const char *why = "") {
    const bool same = expected == nullptr || found == nullptr ? expected == found : *expected == *found;
    return same ? lines_of_text{}
                : lines_of_text{key + ": expected " + describe(expected) + why + ", found " + describe(found)};
}

lines_of_text compare_cell(const std::vector<key_value> &expected, const cell_values &now,
                           const std::optional<cell_values> &before) {
    if (!before) {
        return {"the module was not asked for its serving cell yet"};
    }
    lines_of_text wrong;
    for (const key_value &entry : expected) {
        std::ranges::move(compare(entry.key, &entry.value, find(now, entry.key)), std::back_inserter(wrong));
    }
    for (const catalogue_row &entry : CELL_CATALOGUE) {
        if (std::ranges::find(expected, entry.name, &key_value::key) == expected.end()) {
            std::ranges::move(compare(entry.name, find(*before, entry.name), find(now, entry.name), " as before"),
                              std::back_inserter(wrong));
        }
    }
    return wrong;
}

// --- Log lines, calls and queries ---

std::string with_process_id(const std::string &text, const router &on) {
    return replace_all(text, "$PID", on.daemon_pid());
}

lines_of_text with_process_id(lines_of_text lines, const router &on) {
    for (std::string &line : lines) {
        line = with_process_id(line, on);
    }
    return lines;
}

lines_of_text not_found(const std::string &priority, const std::string &text, const lines_of_text &found) {
    lines_of_text wrong{priority + ": expected, in this order: " + text};
    for (const std::string &line : found) {
        wrong.emplace_back(priority).append(": found: ").append(line);
    }
    return wrong;
}

// These lines stand in the log with this priority, in this order; others may stand between them.
lines_of_text compare_log(const std::string &priority, const lines_of_text &expected,
                          const std::vector<log_line> &log) {
    lines_of_text found;
    for (const log_line &line : log) {
        if (line.priority == priority) {
            found.push_back(line.text);
        }
    }
    auto position = found.begin();
    for (const std::string &text : expected) {
        position = std::find_if(position, found.end(), [&](const std::string &line) { return matches(text, line); });
        if (position == found.end()) {
            return not_found(priority, text, found);
        }
        ++position;
    }
    return {};
}

action expect_lines(const std::string &priority, const lines_of_text &expected) {
    return [=](router &on) { on.judge(compare_log(priority, with_process_id(expected, on), on.lines())); };
}

statement_content read_expect_log(parser &in) {
    const std::string priority = in.word();
    if (!is_priority_name(priority)) {
        in.fail("a priority such as local0.alert, found \"" + priority + "\"; behind the point stands " +
                level_names());
    }
    return expect_lines(priority, in.block_or_fail());
}

std::string journal_text(const log_line &line) {
    return line.priority == CALL_PRIORITY ? "run " + line.text : "log " + line.priority + " " + line.text;
}

// These lines and no others.
lines_of_text compare_journal(const lines_of_text &expected, const std::vector<log_line> &found) {
    const auto [wanted, there] =
        std::ranges::mismatch(expected, found, [](const std::string &text, const log_line &line) {
            return matches(text, journal_text(line));
        });
    if (wanted == expected.end() && there == found.end()) {
        return {};
    }
    lines_of_text wrong{"the journal differs from line " + std::to_string(wanted - expected.begin() + 1) +
                        " on: expected " + (wanted != expected.end() ? "\"" + *wanted + "\"" : "nothing more") +
                        ", found" + (there == found.end() ? " nothing more" : "")};
    for (auto line = there; line != found.end(); ++line) {
        wrong.push_back("| " + journal_text(*line));
    }
    return wrong;
}

statement_content read_expect_journal(parser &in) {
    const lines_of_text expected = in.block();
    std::size_t line = in.line();
    for (const std::string &text : expected) {
        ++line;
        const auto end_of_priority = text.find(' ', 4);
        const bool is_log = text.starts_with("log ") && end_of_priority != text.npos &&
                            is_priority_name(text.substr(4, end_of_priority - 4));
        if (!is_log && !text.starts_with("run ")) {
            in.fail("\"run CALL\" or \"log PRIORITY TEXT\"", line);
        }
    }
    return
        [expected](router &on) { on.judge(compare_journal(with_process_id(expected, on), on.journal_since_mark())); };
}

// --- Files, interfaces, messages ---

statement_content read_expect_file(parser &in) {
    const std::string path = in.path();
    std::string bytes = in.block_bytes("\n");
    if (bytes.ends_with('\n')) {
        bytes.pop_back();
    }
    return [path, bytes](router &on) {
        const std::string wanted = with_process_id(bytes, on);
        const auto found = on.file_content(path);
        judge(on, found == wanted,
              path + ": expected \"" + escaped(wanted) + "\", found " +
                  (found ? "\"" + escaped(*found) + "\"" : "no file"));
    };
}

statement_content read_expect_interface(parser &in) {
    const std::string name = in.word_or_fail("the name of an interface");
    const bool up = in.either("up", "down", "up or down behind the interface");
    return [name, up](router &on) {
        const auto found = on.is_interface_up(name);
        judge(on, found == up,
              name + ": expected " + (up ? "up" : "down") + ", found " +
                  (found ? (*found ? "up" : "down") : "no such interface"));
    };
}

std::string describe(const std::optional<mqtt_message> &message) {
    return message ? escaped(message->topic) + " \"" + escaped(message->payload) + "\"" : "no message";
}

statement_content read_expect_message(parser &in) {
    const std::string topic = in.word_or_fail("the topic of a message");
    const std::string payload = in.block_bytes("\n");
    return [topic, payload](router &on) {
        const std::optional<mqtt_message> wanted{{topic, with_process_id(payload, on)}};
        const auto found = on.next_message();
        judge(on, found == wanted, "expected " + describe(wanted) + ", found " + describe(found));
    };
}

constexpr statement_form STATEMENTS[] = {
    {"expect + block of KEY TYPE VALUE", expectation,
     [](parser &in) -> statement_content {
         return [expected = in.block_of_keys()](router &on) {
             on.judge(compare_cell(expected, on.cell(), on.cell_before()));
         };
     }},
    {"expect-key KEY TYPE VALUE", expectation,
     [](parser &in) -> statement_content {
         return [wanted = in.key()](router &on) {
             on.judge(compare(wanted.key, &wanted.value, find(on.cell(), wanted.key)));
         };
     }},
    {"expect-absent KEY", expectation,
     [](parser &in) -> statement_content {
         return [key = in.word_or_fail("a key")](router &on) { on.judge(compare(key, nullptr, find(on.cell(), key))); };
     }},
    {"expect-log PRIORITY + block", expectation, read_expect_log},
    {"expect-run + block", expectation,
     [](parser &in) -> statement_content { return expect_lines(CALL_PRIORITY, in.block_or_fail()); }},
    {"expect-asked + block", expectation,
     [](parser &in) -> statement_content { return expect_lines(QUERY_PRIORITY, in.block_or_fail()); }},
    {"expect-journal + block of run CALL and log PRIORITY TEXT", expectation, read_expect_journal},
    {"expect-file PATH + block", expectation, read_expect_file},
    {"expect-no-file PATH", expectation,
     [](parser &in) -> statement_content {
         return [path = in.path()](router &on) { judge(on, !on.exists(path), path + ": expected nothing there"); };
     }},
    {"expect-interface NAME up, expect-interface NAME down", expectation, read_expect_interface},
    {"expect-message TOPIC + block", expectation, read_expect_message},
    {"expect-no-message", expectation,
     [](parser & /*in*/) -> statement_content {
         return [](router &on) {
             const auto found = on.next_message();
             judge(on, !found, "expected no further message, found " + describe(found));
         };
     }},
};

}  // namespace

std::span<const statement_form> expect_statements() {
    return STATEMENTS;
}
