// How every input for the daemon is played: first undisturbed, with all that must hold then; one in four once more with
// a fault, which the input's bytes choose; and undisturbed again, as if nothing had been.
#pragma once

#include "fuzz/invariants.h"

struct daemon_play {
    void (*prepare)(fuzz_input input);  // the platform, which was just reset, around the daemon
    void (*run)();                      // the daemon alone
    void (*check)(fuzz_input input);    // what must hold when nothing failed
    void (*check_always)() = [] {};     // and after a fault too
};

void play(fuzz_input input, const daemon_play &how);
