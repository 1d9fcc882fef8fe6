// Loaded into a program before its C library: sleep() and usleep() take ZELT_SPEED times less time. Everything else,
// above all the deadlines of an exchange, keeps its time.
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace {

constexpr long long SECOND = 1'000'000'000;  // in nanoseconds

long long speed() {
    static const long long chosen = [] {
        const char *const text = std::getenv("ZELT_SPEED");
        const long long number = text != nullptr ? std::strtoll(text, nullptr, 10) : 1;
        return number > 0 ? number : 1;
    }();
    return chosen;
}

// What is left of the sleep, in nanoseconds as the caller counts them; 0 when it was not interrupted.
long long pause(long long nanoseconds) {
    const long long shortened = nanoseconds / speed();
    const timespec wanted{.tv_sec = static_cast<std::time_t>(shortened / SECOND),
                          .tv_nsec = static_cast<long>(shortened % SECOND)};
    timespec left{};
    return nanosleep(&wanted, &left) == 0 ? 0 : (left.tv_sec * SECOND + left.tv_nsec) * speed();
}

// The program's own children keep their time.
__attribute__((constructor)) void stay_alone() {
    speed();
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" unsigned int sleep(unsigned int seconds) {
    return static_cast<unsigned int>((pause(seconds * SECOND) + SECOND - 1) / SECOND);
}

extern "C" int usleep(useconds_t microseconds) {
    return pause(microseconds * 1000LL) == 0 ? 0 : -1;
}
