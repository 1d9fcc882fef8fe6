// One fault in the daemon's way: an allocation that fails, or a call of the platform that fails or throws.
//
// Allocations of the platform in memory are never made to fail: its sources are built with calls of
// __cyg_profile_func_enter and _exit around each function, which tell whose turn it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace faults {

enum class kind { one_allocation, all_allocations, call_fails, call_throws };

// What a fault's exception says.
inline constexpr const char *THROWN = "a fault that was injected";

struct opportunities {
    std::size_t allocations = 0;
    std::size_t calls = 0;
};

struct fault {
    kind what;
    std::size_t nth;  // from 1; beyond the last one nothing fails
};

// Runs the daemon undisturbed and counts what could have failed.
opportunities count(void (*daemon)());

// Picks one of them, the same one for the same number.
fault choose(std::uint32_t number, const opportunities &could_fail);

// Runs the daemon with the fault. The name of the call that failed; empty when it was none.
std::string inject(const fault &one, void (*daemon)());

}  // namespace faults
