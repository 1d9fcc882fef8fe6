// Waiting for what another process or thread brings about.
#pragma once

#include <chrono>
#include <thread>

// False when it has not come true within 30 s: long enough for a machine under load, and only a failing test waits so
// long.
template <typename Condition>
bool becomes_true(Condition holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
