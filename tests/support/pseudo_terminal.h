// A terminal whose user, or whose module behind the cable, is the test.
#pragma once

#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include "posix/descriptor.h"
#include "tests/support/other_process.h"

class pseudo_terminal {
public:
    explicit pseudo_terminal(unsigned short columns = 80, unsigned short rows = 24)
        : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
        if (grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        name_ = ptsname(master_.get());
        // Held open: the master of a terminal that nobody has open reports a hang-up; and its settings are looked at.
        slave_ = descriptor(open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        resize(columns, rows);
        before_ = settings();
    }

    const std::string &name() const { return name_; }
    int master() const { return master_.get(); }  // does not block
    int slave() const { return slave_.get(); }

    // A process with this terminal as its own, and as its standard streams.
    other_process run(const std::function<int()> &body) const {
        return other_process([&] { return login_tty(slave_.get()) == 0 ? body() : COULD_NOT_BE_RUN; });
    }

    void make_raw() const {
        termios raw = settings();
        cfmakeraw(&raw);
        tcsetattr(slave_.get(), TCSANOW, &raw);
    }
    void resize(unsigned short columns, unsigned short rows) const {
        const winsize size = {.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(ioctl(master_.get(), TIOCSWINSZ, &size), 0);
    }
    void type(const std::string &keys) const {
        EXPECT_EQ(write(master_.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void let_go() { slave_.close(); }  // nobody but who comes has it open
    void hang_up() { master_.close(); }

    // What has been written there and not read yet; when there is nothing, what comes within this time.
    std::string read(std::chrono::milliseconds patience = {}) const {
        pollfd readable = {master_.get(), POLLIN, 0};
        poll(&readable, 1, static_cast<int>(patience.count()));
        std::string text;
        std::array<char, 4096> piece = {};
        for (ssize_t size = 0; (size = ::read(master_.get(), piece.data(), piece.size())) > 0;) {
            text.append(piece.data(), static_cast<std::size_t>(size));
        }
        return text;
    }

    termios settings() const {
        termios now = {};
        tcgetattr(slave_.get(), &now);
        return now;
    }
    bool is_as_before() const {
        const termios now = settings();
        return now.c_iflag == before_.c_iflag && now.c_oflag == before_.c_oflag && now.c_lflag == before_.c_lflag;
    }

private:
    descriptor master_;
    descriptor slave_;
    std::string name_;
    termios before_ = {};
};
