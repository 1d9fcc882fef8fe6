// Open descriptors that close themselves. Never logs.
#pragma once

#include <array>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

class descriptor {
public:
    explicit descriptor(int fd = -1) : fd_(fd) {}
    ~descriptor() { close(); }
    descriptor(descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    descriptor &operator=(descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    int get() const { return fd_; }
    bool is_open() const { return fd_ >= 0; }

    // 0, or -1 with errno set: a write may report its failure only here.
    int close() { return is_open() ? ::close(std::exchange(fd_, -1)) : 0; }

private:
    int fd_;
};

// Both closed on exec; not open, with errno set, when no pipe can be made.
struct pipe_ends {
    pipe_ends() {
        std::array<int, 2> ends = {-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) == 0) {
            read_end = descriptor(ends[0]);
            write_end = descriptor(ends[1]);
        }
    }
    descriptor read_end;
    descriptor write_end;
};
