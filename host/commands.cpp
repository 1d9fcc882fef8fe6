#include "host/commands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/say_once.h"
#include "host/stop.h"
#include "platform/device_utils.h"
#include "posix/descriptor.h"
#include "posix/process.h"

namespace {

using clock_type = std::chrono::steady_clock;

int milliseconds_until(clock_type::time_point moment) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - clock_type::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// How often is looked for a child's end. No descriptor tells it on every kernel that may run here. The tool takes some
// hundred milliseconds.
constexpr std::chrono::milliseconds BETWEEN_TWO_LOOKS{20};

// Looks only: the status is still there for the reaping, but for a child that the kernel has forgotten.
bool has_ended(pid_t child) {
    siginfo_t end = {};
    return waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid == child;
}

// What all commands of the router together may still take once the stop was requested: enough for the rest of a cycle
// whose commands work, and below the 5 s in which a stop is to end.
std::chrono::milliseconds patience_after_stop{3000};

// False when the patience was used up before the child's end.
bool ends_in_time(pid_t child) {
    constexpr std::chrono::milliseconds LONGEST_POLL{std::chrono::hours(24)};
    const descriptor end = end_of_process(child);
    const bool is_told = end.is_open() && stop_descriptor() >= 0;
    stoppable_wait wait(stoppable_wait::NO_LIMIT, patience_after_stop);
    bool ended = has_ended(child);
    for (auto left = wait.left(); !ended && left.count() > 0; left = wait.left()) {
        std::array<pollfd, 2> events = {{{end.get(), POLLIN, 0}, {wait.is_cut() ? -1 : stop_descriptor(), POLLIN, 0}}};
        const auto longest = std::min(left, is_told ? LONGEST_POLL : BETWEEN_TWO_LOOKS);
        poll(events.data(), events.size(), static_cast<int>(longest.count()));
        ended = has_ended(child);
    }
    patience_after_stop = wait.is_cut() ? wait.left() : patience_after_stop;
    return ended;
}

// A program under supervision. Killed with its whole group, and reaped, unless its end was seen.
class supervised {
public:
    supervised(pid_t child, descriptor output) : child_(child), output_(std::move(output)) {}
    ~supervised() {
        if (!ended_) {
            kill_group();
        }
    }
    supervised(const supervised &) = delete;
    supervised &operator=(const supervised &) = delete;

    // True when the program ended by itself in time, with at most size_limit bytes of output.
    bool follow_to_the_end(clock_type::time_point deadline, std::size_t size_limit) {
        while (text_.size() <= size_limit) {
            if (has_ended(child_)) {
                read_what_is_left();
                ended_ = text_.size() <= size_limit;
                return ended_;
            }
            std::array<pollfd, 2> events = {{{output_.get(), POLLIN, 0}, {stop_descriptor(), POLLIN, 0}}};
            const int left = milliseconds_until(std::min(deadline, clock_type::now() + BETWEEN_TWO_LOOKS));
            if (left == 0 || stop_requested() || (poll(events.data(), events.size(), left) < 0 && errno != EINTR)) {
                return false;
            }
            if (events[0].revents != 0) {
                read_some();
            }
        }
        return false;
    }

    int reaped_status() const { return wait_for_end(child_); }
    std::string text() && { return std::move(text_); }

private:
    void read_some() {
        std::array<char, 4096> piece = {};
        const ssize_t size = read(output_.get(), piece.data(), piece.size());
        if (size > 0) {
            text_.append(piece.data(), static_cast<std::size_t>(size));
        } else if (size == 0) {
            output_ = descriptor();  // closed early: from now on only the end counts
        }
    }

    // Just what the pipe holds now: somebody in the background may keep it open, or go on writing.
    void read_what_is_left() {
        int size = 0;
        if (!output_.is_open() || ioctl(output_.get(), FIONREAD, &size) != 0) {
            return;
        }
        const std::size_t before = text_.size();
        text_.resize(before + static_cast<std::size_t>(size));
        const ssize_t got = read(output_.get(), text_.data() + before, static_cast<std::size_t>(size));
        text_.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
    }

    void kill_group() {
        kill(-child_, SIGKILL);
        // A process stuck inside a driver does not die at once, and must not take us with it: one second is ample for
        // any other. It is left a zombie then.
        const clock_type::time_point give_up = clock_type::now() + std::chrono::seconds(1);
        while (waitpid(child_, nullptr, WNOHANG) == 0 && clock_type::now() < give_up) {
            poll(nullptr, 0, static_cast<int>(BETWEEN_TWO_LOOKS.count()));
        }
    }

    pid_t child_;
    bool ended_ = false;
    descriptor output_;
    std::string text_;
};

}  // namespace

// A network that is half configured is worse than a command that outlives us: none is ever killed. Behind one that
// hangs at a stop no other is started, since the two would get in each other's way.
int brelsys(const char *format, ...) {
    char *command_line = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&command_line, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return COULD_NOT_BE_RUN;
    }
    const std::unique_ptr<char, decltype(&std::free)> owner(command_line, &std::free);
    if (stop_requested() && patience_after_stop.count() <= 0) {
        return COULD_NOT_BE_RUN;
    }
    const pid_t child = start_process({"/bin/sh", "-c", command_line});
    if (child < 0) {
        return COULD_NOT_BE_RUN;
    }
    if (!ends_in_time(child)) {
        say_once("zelt: stopping without the end of \"" + std::string(command_line) + "\", which goes on as process " +
                 std::to_string(child));
        return COULD_NOT_BE_RUN;
    }
    return wait_for_end(child);
}

std::optional<std::string> collect_output(const std::vector<std::string> &program_and_arguments,
                                          std::chrono::milliseconds deadline, std::size_t size_limit) {
    if (stop_requested()) {  // a quick program could end before the first look
        return std::nullopt;
    }
    const clock_type::time_point give_up = clock_type::now() + deadline;
    pipe_ends output;
    if (!output.read_end.is_open()) {
        return std::nullopt;
    }
    const pid_t child =
        start_process(program_and_arguments, {.streams = {NULL_DEVICE, output.write_end.get(), STDERR_FILENO},
                                              .group = process_group::own,
                                              .dies_with_us = true});
    if (child < 0) {
        return std::nullopt;
    }
    output.write_end.close();

    supervised program(child, std::move(output.read_end));
    if (!program.follow_to_the_end(give_up, size_limit) || program.reaped_status() != 0) {
        return std::nullopt;
    }
    return std::move(program).text();
}

// The C library's own ignores SIGINT and SIGQUIT in who calls it while the command runs: a stop would be lost. The
// linker takes this one in its place. The command is waited for however long it takes, after a stop too.
extern "C" int system(const char *command) try {
    if (command == nullptr) {
        return 1;  // there is a shell
    }
    const pid_t child =
        start_process({"/bin/sh", "-c", command}, {.streams = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}});
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
} catch (const std::exception &) {  // no memory
    return -1;
}
