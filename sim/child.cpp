#include "sim/child.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim/scenario/signal_names.h"

namespace {

std::vector<char *> to_argv(const std::vector<std::string> &command) {
    std::vector<char *> argv;
    for (const std::string &word : command) {
        argv.push_back(const_cast<char *>(word.c_str()));  // NOLINT: posix_spawn does not write there
    }
    argv.push_back(nullptr);
    return argv;
}

// A group of its own keeps a terminal's Ctrl-C away: the box stops the program in its own order.
int spawn(pid_t &pid, const std::vector<std::string> &command, int output) {
    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    if (output >= 0) {
        posix_spawn_file_actions_adddup2(&files, output, 1);
        posix_spawn_file_actions_adddup2(&files, output, 2);
    }
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    sigset_t every{};
    sigfillset(&every);
    posix_spawnattr_setsigdefault(&attributes, &every);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    const int error = posix_spawnp(&pid, command[0].c_str(), &files, &attributes, to_argv(command).data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return error;
}

}  // namespace

child::~child() {
    if (runs()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void child::start(const std::vector<std::string> &command) {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    output_ = descriptor(pipe[0]);
    const descriptor write_end(pipe[1]);
    fcntl(write_end.get(), F_SETFL, 0);
    if (const int error = spawn(pid_, command, write_end.get()); error != 0) {
        pid_ = -1;
        throw std::system_error(error, std::generic_category(), command[0]);
    }
    end_ = end_of_process(pid_);
}

void child::send(int signal_number) const {
    if (runs()) {
        kill(pid_, signal_number);
    }
}

std::string child::read_output() {
    std::string bytes;
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; output_.is_open();) {
        size = read(output_.get(), piece.data(), piece.size());
        if (size > 0) {
            bytes.append(piece.data(), static_cast<std::size_t>(size));
        } else if (size == 0) {
            output_.close();
        } else {
            break;
        }
    }
    return bytes;
}

std::string child::reap() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    end_.close();
    return WIFSIGNALED(status) ? signal_name(WTERMSIG(status)) : std::to_string(WEXITSTATUS(status));
}

// By number: the C library's own declaration cannot be linked from C++ in every version.
descriptor end_of_process(pid_t pid) {
    return descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

int run_helper(const std::vector<std::string> &command) {
    pid_t pid = -1;
    const descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (spawn(pid, command, nowhere.get()) != 0) {
        return 127;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
