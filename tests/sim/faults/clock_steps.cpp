// Loaded into the daemon before its C library: the clock of the day jumps ten years on or back whenever it is asked
// for. The clocks that count from the machine's start are left alone.
#include <cstdlib>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::time_t TEN_YEARS = 315'576'000;  // in seconds

std::time_t jump() {
    static bool on = false;
    on = !on;
    return on ? TEN_YEARS : -TEN_YEARS;
}

// The program's own children keep their time.
__attribute__((constructor)) void stay_alone() {
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += jump();
    }
    return static_cast<int>(result);
}

extern "C" int gettimeofday(timeval *now, void * /*zone*/) noexcept {
    timespec precise{};
    const int result = clock_gettime(CLOCK_REALTIME, &precise);
    *now = {.tv_sec = precise.tv_sec, .tv_usec = precise.tv_nsec / 1000};
    return result;
}

extern "C" std::time_t time(std::time_t *result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}
