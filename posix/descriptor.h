// An open descriptor that closes itself. Never logs.
#pragma once

#include <utility>

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
