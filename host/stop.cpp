#include "host/stop.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/module_access.h"
#include "store/writer_wait.h"

namespace {

// Only ever set, by a signal handler as well.
std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler stores it");

// Made before main, because a signal handler must not create it. Lives as long as the process.
const int event_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

}  // namespace

int stop_descriptor() {
    return event_descriptor;
}

bool stop_requested() {
    return requested.load();
}

stoppable_wait::stoppable_wait(milliseconds limit, milliseconds patience)
    : end_(limit == NO_LIMIT ? clock_type::time_point::max() : clock_type::now() + limit), patience_(patience) {}

stoppable_wait::milliseconds stoppable_wait::left() {
    const clock_type::time_point now = clock_type::now();
    if (!is_cut_ && stop_requested()) {
        is_cut_ = true;
        end_ = std::min(end_, now + patience_);
    }
    return end_ > now ? std::chrono::ceil<milliseconds>(end_ - now) : milliseconds(0);
}

void stop_libzelt_funcs() {
    const int interrupted_errno = errno;
    requested.store(true);
    end_writer_waits();
    const std::uint64_t one = 1;
    // Fails only when it is readable already, or does not exist: nothing to do about either.
    [[maybe_unused]] const ssize_t written = write(event_descriptor, &one, sizeof one);
    errno = interrupted_errno;
}
