// The wait for another program's write transaction, which no signal ends by itself: LMDB waits in a mutex. So that a
// program can stop while somebody holds the database. Never logs.
#pragma once

#include "store/fault_guard.h"

// From now on all waits together take 3 s at most, then they are left; those behind that one fail at once. Never taken
// back. Safe in a signal handler.
void end_writer_waits();

// A wait was left: nothing more is waited for.
bool are_writer_waits_over();

// run_guarded() for a call that waits: ETIMEDOUT when it was left. Uses SIGALRM and alarm(2) once waits are to end.
int run_writer_wait(int (*call)(void *context) noexcept, void *context);

template <typename Call>
int writer_wait(Call call) {
    static_assert(std::is_trivially_destructible_v<Call>, "capture by reference: a jump skips destructors");
    return run_writer_wait([](void *context) noexcept -> int { return (*static_cast<Call *>(context))(); }, &call);
}
