#include "fuzz/faults.h"

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>

#include "tests/fake_platform/fake_platform.h"

namespace {

// Of the daemon's own thread; the fuzzer's runtime has one more.
struct daemon_state {
    bool runs = false;
    int platform_depth = 0;
    std::size_t allocations = 0;
    std::size_t failing_from = 0;  // 0: none
    std::size_t failing_until = 0;
};
thread_local daemon_state state;

bool allocation_fails() {
    if (!state.runs || state.platform_depth > 0) {
        return false;
    }
    ++state.allocations;
    return state.failing_from != 0 && state.failing_from <= state.allocations &&
           state.allocations <= state.failing_until;
}

// Calls of the C library, which has no exceptions.
bool may_throw(std::string_view operation) {
    constexpr std::string_view C_LIBRARY = " syslog openlog access sleep usleep system signal connect send open_read "
                                           "open_write ";
    return C_LIBRARY.find(" " + std::string(operation) + " ") == std::string_view::npos;
}

}  // namespace

// All forms that meet each other: what one allocates, another gives back.
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept {
    return allocation_fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void *operator new(std::size_t size) {
    void *memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete(void *memory, const std::nothrow_t & /*tag*/) noexcept {
    std::free(memory);
}

// NOLINTBEGIN(bugprone-reserved-identifier): the compiler's names
extern "C" {

void __cyg_profile_func_enter(void * /*function*/, void * /*caller*/) {
    ++state.platform_depth;
}

void __cyg_profile_func_exit(void * /*function*/, void * /*caller*/) {
    --state.platform_depth;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace faults {

opportunities count(void (*daemon)()) {
    opportunities found;
    fake::watch([&found](const std::string &) {
        ++found.calls;
        return false;
    });
    state.runs = true;
    daemon();
    found.allocations = state.allocations;
    state = {};
    fake::watch(nullptr);
    return found;
}

fault choose(std::uint32_t number, const opportunities &could_fail) {
    constexpr std::uint32_t KINDS = 4;
    const auto what = static_cast<kind>(number % KINDS);
    const bool of_memory = what == kind::one_allocation || what == kind::all_allocations;
    const std::size_t choices = of_memory ? could_fail.allocations : could_fail.calls;
    return {what, choices == 0 ? 0 : 1 + number / KINDS % choices};
}

std::string inject(const fault &one, void (*daemon)()) {
    const bool of_memory = one.what == kind::one_allocation || one.what == kind::all_allocations;
    state.failing_from = of_memory ? one.nth : 0;
    state.failing_until = one.what == kind::all_allocations ? SIZE_MAX : one.nth;
    std::string failed;
    std::size_t calls = 0;
    fake::watch([&](const std::string &operation) {
        if (operation == "usleep") {
            // A lock file that could not be removed is waited for without end: somebody takes it away.
            fake::platform().files.erase("/tmp/zelt.cli");
        }
        if (of_memory || ++calls != one.nth) {
            return false;
        }
        failed = operation;
        if (one.what == kind::call_throws && may_throw(operation)) {
            state.platform_depth = 0;  // the exception leaves all of the platform's functions
            throw std::runtime_error(THROWN);
        }
        return true;
    });
    state.runs = true;
    daemon();
    state = {};
    fake::watch(nullptr);
    return failed;
}

}  // namespace faults
