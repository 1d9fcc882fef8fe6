// Where the reading of a scenario stands. Every operation takes what it needs off the rest of the current line, or
// throws scenario_error with name, line and what was expected. Silent.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sim/scenario/router.h"

// Carries "name:line: what was expected".
struct scenario_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class parser {
public:
    parser(std::string_view text, std::string name);  // `name` stands in front of errors

    [[noreturn]] void fail(const std::string &expected, std::size_t line) const;
    [[noreturn]] void fail(const std::string &expected) const { fail(expected, statement_line_); }

    bool next_line();                                     // enters it; false behind the last one
    std::size_t line() const { return statement_line_; }  // of the statement, counted from 1
    void end_of_line(std::string_view usage);             // of the statement on this line

    std::string_view take_rest();  // without leading blanks
    std::string word();            // empty at the end of the line
    std::string word_or_fail(const std::string &expected);
    bool either(std::string_view yes, std::string_view no, const std::string &expected);
    scenario_time time();
    std::string path();
    key_value key();  // "KEY TYPE VALUE", to the end of the line

    // What stands behind the "|" of the lines that follow.
    std::vector<std::string> block();
    std::vector<std::string> block_or_fail();
    std::string block_bytes(std::string_view line_end);  // each line with line_end, escapes as their bytes
    std::vector<key_value> block_of_keys();

private:
    key_value to_key(std::string_view text, std::size_t line) const;

    std::string name_;
    std::vector<std::string> lines_;
    std::size_t line_ = 0;  // index of the next line
    std::size_t statement_line_ = 0;
    std::string_view rest_;
};
