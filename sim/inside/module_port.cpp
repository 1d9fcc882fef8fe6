#include "sim/inside/module_port.h"

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "posix/failure.h"

namespace {

// Bytes. A module that talks on while nobody listens loses them too, if sooner.
constexpr std::size_t LONGEST_QUEUE = 32 << 20;

}  // namespace

void module_port::plug() {
    if (module_side_.is_open()) {
        return;
    }
    ::descriptor module_side(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, 64> path{};
    throw_unless(module_side.is_open() && grantpt(module_side.get()) == 0 && unlockpt(module_side.get()) == 0 &&
                     ptsname_r(module_side.get(), path.data(), path.size()) == 0,
                 "pseudo-terminal");
    ::descriptor router_side(open(path.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    throw_unless(router_side.is_open() && tcgetattr(router_side.get(), &settings) == 0, path.data());
    cfmakeraw(&settings);
    throw_unless(tcsetattr(router_side.get(), TCSANOW, &settings) == 0 && symlink(path.data(), name_.c_str()) == 0,
                 name_);
    ::descriptor closes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    throw_unless(inotify_add_watch(closes.get(), path.data(), IN_CLOSE) >= 0, path.data());
    module_side_ = std::move(module_side);
    router_side_ = std::move(router_side);
    closes_ = std::move(closes);
}

void module_port::unplug() {
    if (module_side_.is_open()) {
        unlink(name_.c_str());
        router_side_.close();
        module_side_.close();
        closes_.close();
        outgoing_.clear();
    }
}

void module_port::forget_user() const {
    std::array<char, 4096> notices{};
    while (::read(closes_.get(), notices.data(), notices.size()) > 0) {
    }
    ioctl(router_side_.get(), TIOCNXCL);
}

std::string module_port::read() {
    std::string bytes;
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; (size = ::read(module_side_.get(), piece.data(), piece.size())) > 0;) {
        bytes.append(piece.data(), static_cast<std::size_t>(size));
    }
    return bytes;
}

void module_port::write(std::string_view bytes) {
    if (module_side_.is_open() && outgoing_.size() < LONGEST_QUEUE) {
        outgoing_ += bytes;
        flush();
    }
}

void module_port::flush() {
    while (!outgoing_.empty()) {
        const ssize_t size = ::write(module_side_.get(), outgoing_.data(), outgoing_.size());
        if (size <= 0) {
            return;
        }
        outgoing_.erase(0, static_cast<std::size_t>(size));
    }
}
