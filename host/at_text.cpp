#include "host/at_text.h"

#include <algorithm>
#include <utility>

#include <strings.h>

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_number(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), is_digit);
}

std::string_view without_blanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The fields behind the prefix; none at all when the line begins otherwise.
std::vector<std::string_view> fields_behind(std::string_view prefix, std::string_view line) {
    if (!line.starts_with(prefix)) {
        return {};
    }
    return cut_fields(line.substr(prefix.size()));
}

// The first field with this index that is not empty, on the lines with this prefix.
std::string first_text(const at_lines &lines, std::string_view prefix, std::size_t index) {
    for (const std::string &line : lines) {
        const std::vector<std::string_view> fields = fields_behind(prefix, line);
        if (fields.size() > index && !without_quotes(fields[index]).empty()) {
            return std::string(without_quotes(fields[index]));
        }
    }
    return {};
}

}  // namespace

std::optional<std::string_view> line_cutter::next_line(std::string_view &bytes) {
    while (!bytes.empty()) {
        const char byte = bytes.front();
        bytes.remove_prefix(1);
        if (byte == '\r' || byte == '\n') {
            if (size_ > 0) {
                return std::string_view(line_.data(), std::exchange(size_, 0));
            }
        } else if (byte != '\0' && size_ < line_.size()) {
            line_[size_++] = byte;
        }
    }
    return std::nullopt;
}

bool is_error_result(std::string_view line) {
    return line == "ERROR" || line.starts_with("+CME ERROR:") || line.starts_with("+CMS ERROR:");
}

bool is_final_result(std::string_view line) {
    return line == "OK" || is_error_result(line);
}

bool is_echo(std::string_view line, std::string_view command) {
    while (command.ends_with('\r')) {
        command.remove_suffix(1);
    }
    return line.size() == command.size() && strncasecmp(line.data(), command.data(), line.size()) == 0;
}

std::vector<std::string_view> cut_fields(std::string_view text) {
    std::vector<std::string_view> fields;
    fields.reserve(std::size_t{8});  // what the queries answer has fewer
    bool in_quotes = false;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            in_quotes = !in_quotes;
        } else if (text[i] == ',' && !in_quotes) {
            fields.push_back(without_blanks(text.substr(begin, i - begin)));
            begin = i + 1;
        }
    }
    fields.push_back(without_blanks(text.substr(begin)));
    return fields;
}

std::string_view without_quotes(std::string_view field) {
    if (field.starts_with('"')) {
        field.remove_prefix(1);
        if (field.ends_with('"')) {
            field.remove_suffix(1);
        }
    }
    return field;
}

// +CREG: 2,1,"1A2B","0000C5F3",7    asked for: 0 reporting mode, 1 state, 2 area, 3 cell, 4 technology
// +CREG: 1,"1A2B","0000C5F3",7      unsolicited: without the mode, so that a quoted or empty area comes second
std::optional<int> registration_state(const at_lines &lines, std::string_view prefix) {
    for (const std::string &line : lines) {
        const std::vector<std::string_view> fields = fields_behind(prefix, line);
        // The states end at 10: a longer number is an area that came without quotes.
        if (fields.size() >= 2 && is_number(fields[0]) && is_number(fields[1]) && fields[1].size() <= 2) {
            return std::stoi(std::string(fields[1]));
        }
    }
    return std::nullopt;
}

// 1 home, 5 roaming, 9 and 10 the same without fall-back to circuit-switched calls. 6 and 7 (short messages only)
// and 8 (emergency calls only) carry no data.
bool is_registered(int registration_state) {
    return registration_state == 1 || registration_state == 9 || is_roaming(registration_state);
}

bool is_roaming(int registration_state) {
    return registration_state == 5 || registration_state == 10;
}

// +COPS: 0,0,"TW Mobile",7    0 mode, 1 format, 2 operator, 3 technology; the mode alone without a network
std::string carrier_name(const at_lines &lines) {
    return first_text(lines, "+COPS:", 2);
}

// 310260485000000    the number stands alone, without a prefix
std::string imsi(const at_lines &lines) {
    const auto line = std::find_if(lines.begin(), lines.end(), [](const std::string &text) {
        return is_number(text) && text.size() >= 6 &&
               text.size() <= 15;  // country, network, one digit; E.212 allows 15
    });
    return line == lines.end() ? std::string() : *line;
}

// +CNUM: "","+33606000000",145    0 name, 1 number, 2 type; one line for every number of the card
std::string own_number(const at_lines &lines) {
    return first_text(lines, "+CNUM:", 1);
}

// +CFUN: 1
std::string functionality_level(const at_lines &lines) {
    const std::string level = first_text(lines, "+CFUN:", 0);
    return is_number(level) ? level : std::string();
}
