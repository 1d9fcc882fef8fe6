// Which of the machine's serial ports is the one for `zelt-sim module`.
#pragma once

#include <string>
#include <vector>

// Asks each port, or all of the machine's USB serial ports when none is named, and prints what it found out. Sends
// nothing but queries. A port that another program has open, or that a daemon uses, is left alone: two readers
// take pieces of each other's answers.
// The exit status: 0 when there is a port to go on with, else 1. Waits some seconds for ports that do not answer.
int probe(const std::vector<std::string> &ports);
