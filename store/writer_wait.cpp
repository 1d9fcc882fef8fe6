#include "store/writer_wait.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include <unistd.h>

namespace {

// A write transaction takes some 100 us; what holds the database longer than this is stuck.
constexpr double PATIENCE_S = 3;

std::atomic<bool> is_ending{false};     // only ever set
std::atomic<bool> has_given_up{false};  // only ever set
std::atomic<bool> is_waiting{false};
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers use them");

double now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void on_alarm(int) {
    if (is_waiting) {
        has_given_up = true;
        leave_guarded_call(ETIMEDOUT);
        alarm(1);  // came too early, or to another thread
    }
}

// SA_NODEFER: the handler is left by a jump, and the next alarm must not find itself blocked.
void handle_alarms() {
    [[maybe_unused]] static const bool done = [] {
        struct sigaction action = {};
        action.sa_handler = on_alarm;
        action.sa_flags = SA_NODEFER | SA_RESTART;
        return sigaction(SIGALRM, &action, nullptr) == 0;
    }();
}

}  // namespace

void end_writer_waits() {
    is_ending = true;
    if (is_waiting) {
        alarm(static_cast<unsigned int>(PATIENCE_S));
    }
}

bool are_writer_waits_over() {
    return has_given_up;
}

int run_writer_wait(int (*call)(void *) noexcept, void *context) {
    static double waited_s = 0;
    handle_alarms();
    if (is_ending && waited_s >= PATIENCE_S) {  // in short waits, none of which was left
        has_given_up = true;
        return ETIMEDOUT;
    }
    const double begin = is_ending ? now() : 0;
    is_waiting = true;
    if (is_ending) {
        alarm(std::max(1U, static_cast<unsigned int>(PATIENCE_S - waited_s)));
    }
    const int result = run_guarded(call, context);
    is_waiting = false;
    if (is_ending) {
        alarm(0);
        waited_s += begin > 0 ? now() - begin : 0;
    }
    return result;
}
