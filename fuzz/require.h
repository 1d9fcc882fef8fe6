// How a fuzzer says what must hold. A broken invariant prints itself and ends the process, which is what libFuzzer
// records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

using fuzz_input = std::span<const std::uint8_t>;

// What else a failure prints; a fuzzer sets it.
inline void (*print_circumstances)() = [] {};

// The parts are put together only when they are needed: this runs some hundred times for each input.
template <typename... Parts>
void require(bool holds, const Parts &...parts) {
    if (!holds) {
        std::string invariant;
        (invariant.append(std::string_view(parts)), ...);
        std::fprintf(stderr, "broken invariant: %s\n", invariant.c_str());
        print_circumstances();
        std::abort();
    }
}

inline std::string bytes_of(fuzz_input input) {
    return {reinterpret_cast<const char *>(input.data()), input.size()};
}

// The input as a C text: it ends at the first NUL.
inline std::string text_of(fuzz_input input) {
    const std::string bytes = bytes_of(input);
    return bytes.substr(0, bytes.find('\0'));
}
