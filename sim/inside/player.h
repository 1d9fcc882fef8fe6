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

#include "sim/handover.h"
#include "sim/inside/terminal_program.h"
#include "sim/scenario/scenario.h"

// `beside` is started with the daemon, and its end is the user's wish to end; null: there is none. 0: all fine; 1: an
// expectation failed, or the daemon ended wrongly. Throws std::system_error when the box lacks something or the daemon
// cannot be started.
int play(const scenario &story, const play_request &request, terminal_program *beside);
