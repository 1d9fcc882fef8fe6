#include "sim/inside/expectations.h"

#include "sim/scenario/line_text.h"
#include "stats/cell_catalogue.h"

namespace {

const typed_value *find(const cell_values &values, const std::string &key) {
    const auto found = values.find(key);
    return found == values.end() ? nullptr : &found->second;
}

std::string describe(const typed_value *value) {
    return value == nullptr ? "nothing" : value->type + " " + value->text;
}

void compare(std::vector<std::string> &wrong, const std::string &key, const typed_value *expected,
             const typed_value *found, const char *why = "") {
    const bool same = expected == nullptr || found == nullptr ? expected == found : *expected == *found;
    if (!same) {
        wrong.push_back(key + ": expected " + describe(expected) + why + ", found " + describe(found));
    }
}

bool is_listed(const expect_cell &expected, const std::string &key) {
    for (const key_value &entry : expected.keys) {
        if (entry.key == key) {
            return true;
        }
    }
    return false;
}

std::string journal_text(const log_line &line) {
    return line.priority == CALL_PRIORITY ? "run " + line.text : "log " + line.priority + " " + line.text;
}

std::string describe(const std::optional<mqtt_message> &message) {
    return message ? message->topic + " \"" + printable(message->payload) + "\"" : "no message";
}

}  // namespace

std::vector<std::string> differences(const expect_cell &expected, const cell_values &now,
                                     const std::optional<cell_values> &before) {
    if (!before) {
        return {"the module was not asked for its serving cell yet"};
    }
    std::vector<std::string> wrong;
    for (const key_value &entry : expected.keys) {
        compare(wrong, entry.key, &entry.value, find(now, entry.key));
    }
    for (const cell_key &entry : CELL_CATALOGUE) {
        if (!is_listed(expected, entry.name)) {
            compare(wrong, entry.name, find(*before, entry.name), find(now, entry.name), " as before");
        }
    }
    return wrong;
}

std::vector<std::string> differences(const expect_key &expected, const cell_values &now) {
    std::vector<std::string> wrong;
    compare(wrong, expected.what.key, &expected.what.value, find(now, expected.what.key));
    return wrong;
}

std::vector<std::string> differences(const expect_absent &expected, const cell_values &now) {
    std::vector<std::string> wrong;
    compare(wrong, expected.key, nullptr, find(now, expected.key));
    return wrong;
}

std::vector<std::string> differences(const expect_log &expected, const std::vector<log_line> &log) {
    auto position = log.begin();
    for (const std::string &text : expected.lines) {
        while (position != log.end() && (position->priority != expected.priority || !matches(text, position->text))) {
            ++position;
        }
        if (position != log.end()) {
            ++position;
            continue;
        }
        std::vector<std::string> wrong{expected.priority + ": expected, in this order: " + text};
        for (const log_line &line : log) {
            if (line.priority == expected.priority) {
                wrong.push_back(expected.priority + ": found: " + line.text);
            }
        }
        return wrong;
    }
    return {};
}

std::vector<std::string> differences(const expect_journal &expected, const std::vector<log_line> &found) {
    std::size_t same = 0;
    while (same < expected.lines.size() && same < found.size() &&
           matches(expected.lines[same], journal_text(found[same]))) {
        ++same;
    }
    if (same == expected.lines.size() && same == found.size()) {
        return {};
    }
    std::vector<std::string> wrong{
        "the journal differs from line " + std::to_string(same + 1) + " on: expected " +
        (same < expected.lines.size() ? "\"" + expected.lines[same] + "\"" : "nothing more") + ", found"};
    for (std::size_t i = same; i < found.size(); ++i) {
        wrong.push_back("| " + journal_text(found[i]));
    }
    if (same == found.size()) {
        wrong.front() += " nothing more";
    }
    return wrong;
}

std::vector<std::string> differences(const expect_no_file &expected, bool found) {
    return found ? std::vector{expected.path + ": expected nothing there"} : std::vector<std::string>{};
}

std::vector<std::string> differences(const expect_interface &expected, const std::optional<bool> &found) {
    if (found == expected.up) {
        return {};
    }
    return {expected.name + ": expected " + (expected.up ? "up" : "down") + ", found " +
            (found ? (*found ? "up" : "down") : "no such interface")};
}

std::vector<std::string> differences(const expect_message &expected, const std::optional<mqtt_message> &found) {
    const mqtt_message wanted{expected.topic, expected.payload};
    if (found == wanted) {
        return {};
    }
    return {"expected " + describe(wanted) + ", found " + describe(found)};
}

std::vector<std::string> differences(const expect_no_message & /*expected*/, const std::optional<mqtt_message> &found) {
    return found ? std::vector{"expected no further message, found " + describe(found)} : std::vector<std::string>{};
}

std::vector<std::string> differences(const expect_file &expected, const std::optional<std::string> &found) {
    if (found == expected.bytes) {
        return {};
    }
    return {expected.path + ": expected \"" + printable(expected.bytes) + "\", found " +
            (found ? "\"" + printable(*found) + "\"" : "no such file")};
}
