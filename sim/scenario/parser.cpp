#include "sim/scenario/parser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <utility>

#include "sim/scenario/line_text.h"
#include "store/utf8.h"
#include "store/value_text.h"

namespace {

bool is_type(std::string_view type, std::string_view text) {
    return parse_value(type, std::string(text)) && (type != "real" || text.find('.') != text.npos);
}

// The folders that the router's programs write; "/var/run" and "/sbin" are second names.
constexpr const char *FOLDERS[] = {"/dev",      "/tmp",  "/run",        "/var/run",       "/usr/bin",
                                   "/usr/sbin", "/sbin", "/etc/init.d", "/sys/class/net", "/proc/sys/net"};
// What the box needs for itself, and what it has open.
constexpr const char *OF_THE_BOX_ITSELF[] = {"/run/box", "/var/run/box", "/dev/fd"};

bool is_below(const std::string &path, const std::string &folder) {
    return path.starts_with(folder + "/");
}

bool is_for_scenarios(const std::string &path) {
    const std::filesystem::path plain = std::filesystem::path(path).lexically_normal();
    const auto holds = [&path](const char *folder) { return is_below(path, folder); };
    const auto is_it_or_holds = [&path](const char *folder) { return path == folder || is_below(path, folder); };
    return plain.string() == path && plain.has_filename() && std::ranges::any_of(FOLDERS, holds) &&
           std::ranges::none_of(OF_THE_BOX_ITSELF, is_it_or_holds);
}

bool holds_control_character(std::string_view line) {
    while (!line.empty()) {
        const utf8_character next = first_character(line);
        if (is_control(next) && next.code != '\t') {
            return true;
        }
        line.remove_prefix(next.bytes);
    }
    return false;
}

// However the file writes a string, the box compares it in the one form in which it is shown.
std::string as_shown(std::string_view type, const std::string &text) {
    return type == "string" ? escaped(bytes_of_lines({text}, "").value_or(text)) : text;
}

}  // namespace

parser::parser(std::string_view text, std::string name) : name_(std::move(name)) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        lines_.emplace_back(line);
        if (holds_control_character(line)) {  // a terminal that shows it would obey
            fail("no control character; a block may hold \\xHH in its place", lines_.size());
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

void parser::fail(const std::string &expected, std::size_t line) const {
    throw scenario_error(name_ + ":" + std::to_string(line) + ": expected " + expected);
}

bool parser::next_line() {
    if (line_ == lines_.size()) {
        return false;
    }
    rest_ = lines_[line_++];
    statement_line_ = line_;
    return true;
}

void parser::end_of_line(std::string_view usage) {
    if (const std::string more = word(); !more.empty()) {
        fail("the line to end before \"" + more + "\"; written so: " + std::string(usage));
    }
}

std::string_view parser::take_rest() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
    return std::exchange(rest_, {});
}

std::string parser::word() {
    const std::string_view rest = take_rest();
    const std::size_t length = std::min(rest.find_first_of(" \t"), rest.size());
    rest_ = rest.substr(length);
    return std::string(rest.substr(0, length));
}

std::string parser::word_or_fail(const std::string &expected) {
    std::string found = word();
    if (found.empty()) {
        fail(expected);
    }
    return found;
}

bool parser::either(std::string_view yes, std::string_view no, const std::string &expected) {
    const std::string found = word();
    if (found != yes && found != no) {
        fail(expected);
    }
    return found == yes;
}

scenario_time parser::time() {
    const std::string text = word();
    const std::string_view unit = text.ends_with("ms") ? "ms" : "s";
    double number = 0;
    const char *const digits_end = text.data() + text.size() - std::min(text.size(), unit.size());
    const auto [end, error] = std::from_chars(text.data(), digits_end, number, std::chars_format::fixed);
    constexpr double LONGEST_SECONDS = 1e6;  // eleven days; beyond it a unit is wrong
    const double seconds = unit == "ms" ? number / 1000 : number;
    if (!text.ends_with(unit) || error != std::errc() || end != digits_end || !(seconds >= 0) ||
        seconds > LONGEST_SECONDS) {
        fail("a time such as 12s, 1.5s or 300ms, found \"" + text + "\"");
    }
    return scenario_time(std::llround(seconds * 1000));
}

std::string parser::path() {
    std::string found = word_or_fail("a path such as /tmp/marker");
    if (!is_for_scenarios(found)) {
        fail("a path below " + join({std::begin(FOLDERS), std::end(FOLDERS)}, ", ") +
             ", without . or .. in it, found \"" + found + "\"");
    }
    return found;
}

key_value parser::key() {
    return to_key(take_rest(), statement_line_);
}

// One blank stands between type and value: further ones belong to the value.
key_value parser::to_key(std::string_view text, std::size_t line) const {
    const auto key_end = std::min(text.find(' '), text.size());
    const auto type_end = std::min(text.find(' ', key_end + 1), text.size());
    const auto type = text.substr(std::min(key_end + 1, type_end), type_end - std::min(key_end + 1, type_end));
    const auto value = text.substr(std::min(type_end + 1, text.size()));
    if (key_end == 0 || !is_type(type, value)) {
        fail("KEY TYPE VALUE with TYPE and VALUE int -95 (32 bits), real -999.0 (with a point) or string and any text, "
             "found \"" +
                 std::string(text) + "\"",
             line);
    }
    return {std::string(text.substr(0, key_end)), {std::string(type), as_shown(type, std::string(value))}};
}

std::vector<std::string> parser::block() {
    std::vector<std::string> found;
    for (; line_ < lines_.size() && lines_[line_].starts_with('|'); ++line_) {
        found.push_back(lines_[line_].substr(lines_[line_].starts_with("| ") ? 2 : 1));
    }
    return found;
}

std::vector<std::string> parser::block_or_fail() {
    std::vector<std::string> found = block();
    if (found.empty()) {
        fail("a block behind this line: lines that begin with \"|\"");
    }
    return found;
}

std::string parser::block_bytes(std::string_view line_end) {
    const auto bytes = bytes_of_lines(block_or_fail(), line_end);
    if (!bytes) {
        fail("\\r, \\n, \\t, \\0, \\\\ or \\xHH behind a \"\\\" in the block of this line");
    }
    return *bytes;
}

std::vector<key_value> parser::block_of_keys() {
    std::vector<key_value> found;
    std::size_t line = statement_line_;
    for (const std::string &text : block()) {
        found.push_back(to_key(text, ++line));
    }
    return found;
}
