// Loaded into the daemon before its C library: of each cycle one allocation fails, the first one of the first cycle,
// the second one of the next, until a cycle has no more. Every allocation of a cycle has failed once then, and their
// number is said on standard output; a daemon that ends before has status 7. The daemon's pauses are left out.
//
// FAILING_ALLOCATIONS_STEP=13: every 13th allocation only.
// FAILING_ALLOCATIONS_TOUCH=/tmp/a:/tmp/b: these markers appear before each cycle.
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

// The C library's own, under the names that it keeps for this. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);
extern "C" void *__libc_realloc(void *block, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

unsigned long allocation = 0;  // of this cycle
unsigned long failing = 0;     // of each cycle; 0 before the first one
unsigned long step = 1;
bool has_failed = false;
bool is_over = false;
char markers[256];

bool fails() {
    ++allocation;
    if (failing == 0 || allocation != failing) {
        return false;
    }
    has_failed = true;
    errno = ENOMEM;
    return true;
}

void say(const char *text, unsigned long number) {
    char line[128];
    const int size = std::snprintf(line, sizeof line, "%s %lu\n", text, number);
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, line, static_cast<std::size_t>(size));
}

void touch_markers() {
    char paths[sizeof markers];
    std::memcpy(paths, markers, sizeof markers);
    for (char *state = nullptr, *path = strtok_r(paths, ":", &state); path != nullptr;
         path = strtok_r(nullptr, ":", &state)) {
        close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }
}

__attribute__((constructor)) void stay_alone() {
    if (const char *const text = std::getenv("FAILING_ALLOCATIONS_STEP"); text != nullptr) {
        step = std::strtoul(text, nullptr, 10);
    }
    if (const char *const text = std::getenv("FAILING_ALLOCATIONS_TOUCH"); text != nullptr) {
        std::strncpy(markers, text, sizeof markers - 1);
    }
    unsetenv("LD_PRELOAD");
}

__attribute__((destructor)) void all_have_failed() {
    if (!is_over) {
        _exit(7);
    }
}

}  // namespace

extern "C" void *malloc(std::size_t size) {
    return fails() ? nullptr : __libc_malloc(size);
}

extern "C" void *calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}

extern "C" void *realloc(void *block, std::size_t size) {
    return fails() ? nullptr : __libc_realloc(block, size);
}

// The daemon's cycle ends with it. A few cycles are left alone before the first failure, and are the rule again behind
// the last. Cycles differ, the 20th has a health check: only so many without a failure show that there is no more to
// come.
extern "C" unsigned int sleep(unsigned int seconds) {
    static unsigned long cycles = 0;
    static unsigned long in_vain = 0;
    static unsigned long last = 0;  // that failed
    constexpr unsigned long BEFORE = 3;
    constexpr unsigned long ENOUGH = 40;
    if (seconds != 4 && seconds != 2) {
        return 0;
    }
    last = has_failed ? failing : last;
    in_vain = has_failed ? 0 : in_vain + 1;
    if (++cycles > BEFORE && !is_over) {
        is_over = failing != 0 && in_vain >= ENOUGH;
        failing = is_over ? 0 : failing + (cycles % 2) * step;
        if (is_over) {
            say("last allocation of a cycle that failed:", last);
        }
    }
    if (is_over) {
        usleep(10000);  // somebody looks at the values
    }
    has_failed = false;
    allocation = 0;
    touch_markers();
    return 0;
}
