// The process-wide stop of the host's waiting operations, set once by stop_libzelt_funcs() and never taken back.
// Knows nothing of what waits for it. Never logs, never blocks.
#pragma once

#include <chrono>

// For poll(): readable (POLLIN) once the stop was requested. Nobody reads from it or closes it. -1 when the system had
// no descriptor left at start; stop_requested() then still answers.
int stop_descriptor();

bool stop_requested();

// A wait that ends at a limit, and behind a stop after `patience` at the latest.
class stoppable_wait {
public:
    using milliseconds = std::chrono::milliseconds;
    static constexpr milliseconds NO_LIMIT = milliseconds::max();

    stoppable_wait(milliseconds limit, milliseconds patience);

    // How long it may go on; 0 when it is over. Finds out whether a stop was requested.
    milliseconds left();

    // By a stop, at the last look.
    bool is_cut() const { return is_cut_; }

private:
    using clock_type = std::chrono::steady_clock;
    clock_type::time_point end_;
    milliseconds patience_;
    bool is_cut_ = false;
};
