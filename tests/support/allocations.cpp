#include "tests/support/allocations.h"

#include <cstdlib>
#include <new>

#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // inlined, the pair below looks mismatched
#endif

void *operator new(std::size_t size) {
    if (before_allocation != nullptr) {
        before_allocation(size);
    }
    void *block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void *block) noexcept {
    std::free(block);
}

void operator delete(void *block, std::size_t) noexcept {
    std::free(block);
}
