// What happens in the box, as plain lines on standard output. Knows no event's meaning; waits for a reader that does
// not read.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "sim/handover.h"

class journal {
public:
    using clock = std::chrono::steady_clock;

    explicit journal(journal_level level) : level_(level), start_(clock::now()) {}

    void start_clock() { start_ = clock::now(); }
    bool is_verbose() const { return level_ == journal_level::verbose; }

    void detail(const char *kind, const std::string &text) { line(journal_level::verbose, kind, text); }
    void story(const char *kind, const std::string &text) { line(journal_level::story, kind, text); }
    void failure(const std::string &text);

    std::size_t failures() const { return failures_; }

    // Why it can be written no more: an error number, such as EPIPE when nobody reads; 0 while it can.
    int error() const { return error_; }

private:
    void line(journal_level least, const char *kind, const std::string &text);

    journal_level level_;
    clock::time_point start_;
    std::size_t failures_ = 0;
    int error_ = 0;
};
