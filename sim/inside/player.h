// Plays a scenario inside the box: the event loop between module, system log, database and daemon. Prints the journal.
//
//                                    the daemon ends with 0               no statement is left
//  RUNNING ── `end` ──► ENDING ──────────────────────► JUDGING ──────────────────────► OVER
//   │  │ └──── `end`, the daemon has ended already ───────┘                             ▲
//   │  │                  │                                                             │
//   │  └── the user ──► STOPPING ── the daemon ends ────────────────────────────────────┤
//   │                                                                                   │
//   └── no statement is left and the daemon has ended; or it ends as nothing awaits ────┘
//
// The user wants an end by a key, a signal, the end of the program beside, the limit of time, or by reading the journal
// no more. In JUDGING, and while no daemon runs, that leads to OVER at once. A daemon that was told to end (ENDING,
// STOPPING) has 10 s; then it is killed, which is a failure and OVER.
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
