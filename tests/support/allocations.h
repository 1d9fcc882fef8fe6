// Every allocation of the program that links allocations.cpp passes by whoever looks.
#pragma once

#include <cstddef>

// Called with the size; may throw std::bad_alloc, and allocates nothing itself. Null: nobody looks.
inline void (*before_allocation)(std::size_t size) = nullptr;
