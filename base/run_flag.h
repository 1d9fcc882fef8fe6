// The one flag that every waiting or retrying loop tests.
#pragma once

#include <atomic>

// True until a stop signal arrived; only the signal handler writes it. Nothing sets it back.
inline std::atomic<bool> keep_running{true};

static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler stores it");
