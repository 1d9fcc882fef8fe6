// The text of AT answers: where a line ends, which line ends an answer, what the module's own queries say.
// Text in, value out: knows neither ports nor time. Never logs, never blocks.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Cuts a stream of bytes into lines. A line ends at CR or LF; empty lines and NUL bytes are dropped; a line longer
// than LONGEST_LINE loses its tail. Takes no memory from the heap.
class line_cutter {
public:
    // The longest answers have less than 300 characters. This is a bound for noise, not for answers.
    static constexpr std::size_t LONGEST_LINE = 1024;

    // Takes bytes away from the front until a line is complete; none when they ran out before. The line is there until
    // the next call.
    std::optional<std::string_view> next_line(std::string_view &bytes);

private:
    std::array<char, LONGEST_LINE> line_ = {};
    std::size_t size_ = 0;
};

// Final results are whole lines: "OK", "ERROR", "+CME ERROR: ..." and "+CMS ERROR: ...".
bool is_error_result(std::string_view line);
bool is_final_result(std::string_view line);

// The module repeats the command, which ends in CR, before it answers. Upper and lower case are alike.
bool is_echo(std::string_view line, std::string_view command);

// The fields between the commas outside of quotes, without the blanks around them. At least one, perhaps empty.
std::vector<std::string_view> cut_fields(std::string_view text);

std::string_view without_quotes(std::string_view field);

using at_lines = std::vector<std::string>;

// The <stat> of 3GPP 27.007 in the answer to a query such as "at+creg?"; prefix is "+CREG:". None when there is no
// such answer among the lines: an unsolicited line with the same prefix is not taken for one.
std::optional<int> registration_state(const at_lines &lines, std::string_view prefix);
bool is_registered(int registration_state);
bool is_roaming(int registration_state);

// Each is empty when the lines do not hold the value.
std::string carrier_name(const at_lines &lines);         // at+cops?
std::string imsi(const at_lines &lines);                 // at+cimi
std::string own_number(const at_lines &lines);           // at+cnum
std::string functionality_level(const at_lines &lines);  // at+cfun?
