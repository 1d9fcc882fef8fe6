// What still happens when a signal ends the process on the spot: the terminal is given back. Faults of the database's
// mapping do not come here, store/fault_guard takes them.
#pragma once

#include <string>

struct termios;

namespace zelt_top {

// From now on. Everything that the handler does is async-signal-safe.
void expect_the_worst();

// The state to which the terminal at the standard output is to be put back, and what to write there first.
void remember_terminal(const termios &before, const std::string &leave);
void forget_terminal();

}  // namespace zelt_top
