#include "posix/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

// --- In the child, from fork to exec: only what may be called there. execvp() and closefrom() of glibc may. ---

// False with errno set, as below.
bool take_streams(const process_settings &settings) {
    int target = STDIN_FILENO;
    for (int source : settings.streams) {
        if (source == NULL_DEVICE) {
            source = open("/dev/null", (target == STDIN_FILENO ? O_RDONLY : O_WRONLY) | O_CLOEXEC);
        }
        if (source < 0 || dup2(source, target) < 0) {
            return false;
        }
        ++target;
    }
    return true;
}

bool take_group(const process_settings &settings) {
    if (settings.group != process_group::ours) {
        setpgid(0, 0);
    }
    return settings.group != process_group::foreground || tcsetpgrp(STDIN_FILENO, getpid()) == 0;
}

// Not every library opens its descriptors with O_CLOEXEC. Returns where the failure is told from now on.
int close_descriptors(int failure) {
    constexpr int FIRST = STDERR_FILENO + 1;
    if (failure < 0) {
        closefrom(FIRST);
        return failure;
    }
    if (failure != FIRST) {
        dup3(failure, FIRST, O_CLOEXEC);
    }
    closefrom(FIRST + 1);
    return FIRST;
}

// A stop key that was pressed since the fork is dropped: the child would stop before it runs the program, and
// start_program() would wait for that.
void take_default_signals() {
    for (const int stop : {SIGTSTP, SIGTTIN, SIGTTOU}) {
        std::signal(stop, SIG_IGN);
    }
    for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
        std::signal(signal_number, SIG_DFL);
    }
    sigset_t none = {};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// file: null where it is to be found as a shell does.
[[noreturn]] void become(const char *file, char *const *command, const process_settings &settings, pid_t parent,
                         int failure) {
    if (settings.dies_with_us) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {  // it died before it could be watched
            _exit(COULD_NOT_BE_RUN);
        }
    }
    if (take_streams(settings) && take_group(settings)) {
        failure = settings.inherits_descriptors ? failure : close_descriptors(failure);
        take_default_signals();
        file != nullptr ? execv(file, command) : execvp(command[0], command);
    }
    const int error = errno;
    static_cast<void>(!write(failure, &error, sizeof error));
    _exit(COULD_NOT_BE_RUN);
}

// --- In the parent ---

// failure: what the child writes errno to when it cannot become the program; negative: nowhere. Not posix_spawn(): it
// cannot ask for the child's death with ours.
pid_t start(const char *file, const std::vector<std::string> &command, const process_settings &settings, int failure) {
    const argument_vector arguments(command);
    const pid_t parent = getpid();
    sigset_t every = {};
    sigset_t before = {};
    sigfillset(&every);
    sigprocmask(SIG_BLOCK, &every, &before);
    const pid_t child = fork();
    if (child == 0) {
        become(file, arguments.data(), settings, parent, failure);
    }
    const int error = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (child > 0 && settings.group != process_group::ours) {
        setpgid(child, child);  // whoever of the two comes first: its group may be signalled at once
    }
    errno = error;
    return child;
}

}  // namespace

argument_vector::argument_vector(const std::vector<std::string> &words) {
    pointers_.reserve(words.size() + 1);
    for (const std::string &word : words) {
        pointers_.push_back(const_cast<char *>(word.c_str()));  // exec's type; it does not write
    }
    pointers_.push_back(nullptr);
}

std::optional<std::string> find_program(const std::string &name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    const char *const path = std::getenv("PATH");
    std::string_view folders = path != nullptr ? path : "";
    while (!folders.empty()) {
        const auto end = std::min(folders.find(':'), folders.size());
        std::string candidate = std::string(folders.substr(0, end)) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        folders.remove_prefix(std::min(end + 1, folders.size()));
    }
    return std::nullopt;
}

pid_t start_process(const std::vector<std::string> &command, const process_settings &settings) {
    return start(nullptr, command, settings, -1);
}

pid_t start_program(const std::vector<std::string> &command, const process_settings &settings) {
    const std::string file = find_program(command.front()).value_or("");  // whose name is nobody's: ENOENT
    pipe_ends failure;
    const pid_t child =
        failure.read_end.is_open() ? start(file.c_str(), command, settings, failure.write_end.get()) : -1;
    int error = child < 0 ? errno : 0;
    failure.write_end.close();
    // A program that runs has closed its end, without a word.
    while (child > 0 && read(failure.read_end.get(), &error, sizeof error) < 0 && errno == EINTR) {
    }
    if (error != 0) {
        if (child > 0) {
            wait_for_end(child);
        }
        throw std::system_error(error, std::generic_category(), command.front());
    }
    return child;
}

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

int run_process(const std::vector<std::string> &command, const process_settings &settings) {
    const pid_t child = start_process(command, settings);
    return child < 0 ? COULD_NOT_BE_RUN : wait_for_end(child);
}

// By number: the C library's own declaration cannot be linked from C++ in every version.
descriptor end_of_process(pid_t process) {
    return descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}
