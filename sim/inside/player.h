// Plays a scenario inside the box: the event loop between module, system log, database and daemon. Prints the journal.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "sim/inside/journal.h"
#include "sim/inside/terminal_program.h"
#include "sim/scenario/scenario.h"

struct play_options {
    std::string scenario_name;         // stands in front of failures
    std::vector<std::string> command;  // the daemon with its arguments
    std::optional<std::chrono::seconds> limit;
    journal_level level = journal_level::story;
    int control = -1;                    // readable or closed: the user wants an end
    unsigned int speed = 1;              // `at` comes so many times earlier
    bool real_module = false;            // "/dev/ttyQSB3" is there already
    terminal_program *beside = nullptr;  // started with the daemon; its end is the user's wish to end
};

// 0: all fine; 1: an expectation failed, or the daemon ended wrongly. Throws std::system_error when the box lacks
// something or the daemon cannot be started.
int play(const scenario &story, const play_options &options);
