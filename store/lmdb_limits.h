// How much LMDB may take, for the units that call it.
#pragma once

#include <cstddef>

// The daemon's keys need some 10 kB, and a writer needs twice the changed pages. 4 MiB is far above that, a small piece
// of a 32-bit address space, and a bound on what a runaway writer can take from a memory file system.
inline constexpr std::size_t MAP_BYTES = std::size_t{4} * 1024 * 1024;

// That one transaction may use; a router has a handful.
inline constexpr unsigned int MOST_NAMED_DATABASES = 16;

// Neither a file system nor a person makes a folder anew this often in a moment.
inline constexpr int MOST_ATTEMPTS = 10;
