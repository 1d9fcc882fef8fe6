#include "sim/inside/child.h"

#include <array>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "posix/failure.h"
#include "posix/process.h"
#include "sim/scenario/signal_names.h"

child::~child() {
    if (runs()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void child::start(const std::vector<std::string> &command) {
    pipe_ends output;
    throw_unless(output.read_end.is_open(), "pipe");
    fcntl(output.read_end.get(), F_SETFL, O_NONBLOCK);
    // A group of its own keeps a terminal's Ctrl-C away: the box stops the program in its own order.
    pid_ = start_program(command, {.streams = {NULL_DEVICE, output.write_end.get(), output.write_end.get()},
                                   .group = process_group::own,
                                   .inherits_descriptors = true});
    end_ = end_of_process(pid_);
    output_ = std::move(output.read_end);
}

void child::send(int signal_number) const {
    if (runs()) {
        kill(pid_, signal_number);
    }
}

std::string child::read_output() {
    constexpr std::size_t MOST = 65536;  // what a pipe holds, so all of a program that has ended
    std::string bytes;
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; output_.is_open() && bytes.size() < MOST;) {
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
