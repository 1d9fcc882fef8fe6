#include "host/commands.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "host/stop.h"
#include "platform/device_utils.h"

namespace {

using clock_type = std::chrono::steady_clock;

// What the shell reports when it could not run a command; used likewise when the shell itself could not be run.
constexpr int COULD_NOT_BE_RUN = 127;

class spawn_settings {
public:
    spawn_settings() {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        reset_signals();
    }
    ~spawn_settings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    spawn_settings(const spawn_settings &) = delete;
    spawn_settings &operator=(const spawn_settings &) = delete;

    void own_process_group() { set_flags(POSIX_SPAWN_SETPGROUP); }
    void standard_output(int fd) { posix_spawn_file_actions_adddup2(&actions_, fd, STDOUT_FILENO); }

    // The process id, or -1. `arguments` ends with a null pointer, as for execvp.
    pid_t spawn(char *const *arguments) {
        // Not every library opens its descriptors with O_CLOEXEC.
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        pid_t child = -1;
        return posix_spawnp(&child, arguments[0], &actions_, &attributes_, arguments, environ) == 0 ? child : -1;
    }

private:
    void set_flags(int more) {
        short flags = 0;
        posix_spawnattr_getflags(&attributes_, &flags);
        posix_spawnattr_setflags(&attributes_, static_cast<short>(flags | more));
    }

    void reset_signals() {
        sigset_t every = {};
        sigfillset(&every);
        posix_spawnattr_setsigdefault(&attributes_, &every);
        sigset_t none = {};
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        set_flags(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }

    posix_spawnattr_t attributes_ = {};
    posix_spawn_file_actions_t actions_ = {};
};

std::vector<char *> argument_pointers(const std::vector<std::string> &arguments) {
    std::vector<char *> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string &argument : arguments) {
        pointers.push_back(const_cast<char *>(argument.c_str()));  // exec's type; it does not write
    }
    pointers.push_back(nullptr);
    return pointers;
}

// As the shell says it: the exit status, or 128 + n for signal n.
int shell_status(int wait_status) {
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

int wait_for_end(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {  // SIGCHLD is ignored and the kernel has forgotten the status
            return COULD_NOT_BE_RUN;
        }
    }
    return shell_status(status);
}

int run_in_shell(const char *command_line) {
    spawn_settings settings;
    const pid_t child = settings.spawn(argument_pointers({"/bin/sh", "-c", command_line}).data());
    return child < 0 ? COULD_NOT_BE_RUN : wait_for_end(child);
}

int milliseconds_until(clock_type::time_point moment) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - clock_type::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// By its number: the C library's declaration cannot be linked from C++ before glibc 2.37.
int open_process(pid_t process) {
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

// A program under supervision. Killed with its whole group, and reaped, unless its end was seen.
class supervised {
public:
    supervised(pid_t child, descriptor output) : child_(child), end_(open_process(child)), output_(std::move(output)) {}
    ~supervised() {
        if (!ended_) {
            kill_group();
        }
    }
    supervised(const supervised &) = delete;
    supervised &operator=(const supervised &) = delete;

    // True when the program ended by itself in time, with at most size_limit bytes of output.
    bool follow_to_the_end(clock_type::time_point deadline, std::size_t size_limit) {
        while (end_.is_open() && text_.size() <= size_limit) {
            std::array<pollfd, 3> events = {
                {{end_.get(), POLLIN, 0}, {output_.get(), POLLIN, 0}, {stop_descriptor(), POLLIN, 0}}};
            const int left = milliseconds_until(deadline);
            if (left == 0 || stop_requested() || (poll(events.data(), events.size(), left) < 0 && errno != EINTR)) {
                return false;
            }
            if (events[0].revents != 0) {
                read_what_is_left();
                ended_ = text_.size() <= size_limit;
                return ended_;
            }
            if (events[1].revents != 0) {
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
        pollfd end = {end_.get(), POLLIN, 0};
        while (end_.is_open() && poll(&end, 1, 1000) < 0 && errno == EINTR) {
        }
        waitpid(child_, nullptr, WNOHANG);
    }

    pid_t child_;
    bool ended_ = false;
    descriptor end_;  // readable when the program has ended
    descriptor output_;
    std::string text_;
};

}  // namespace

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
    return run_in_shell(command_line);
}

std::optional<std::string> collect_output(const std::vector<std::string> &program_and_arguments,
                                          std::chrono::milliseconds deadline, std::size_t size_limit) {
    const clock_type::time_point give_up = clock_type::now() + deadline;
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    descriptor read_end(ends[0]);
    descriptor write_end(ends[1]);
    spawn_settings settings;
    settings.own_process_group();
    settings.standard_output(write_end.get());
    const pid_t child = settings.spawn(argument_pointers(program_and_arguments).data());
    if (child < 0) {
        return std::nullopt;
    }
    write_end.close();

    supervised program(child, std::move(read_end));
    if (!program.follow_to_the_end(give_up, size_limit) || program.reaped_status() != 0) {
        return std::nullopt;
    }
    return std::move(program).text();
}
