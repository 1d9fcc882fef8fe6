// A module on the other end of a PTY. It lives in a thread of its own and does what the test's script says.
#pragma once

#include <array>
#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "host/serial_port.h"
#include "platform/module_access.h"
#include "posix/descriptor.h"
#include "tests/support/pseudo_terminal.h"

// Long enough for a busy machine where an answer comes, short where none does.
inline constexpr at_limits patient{.total = std::chrono::seconds(10),
                                   .after_wanted_line = std::chrono::milliseconds(200),
                                   .mark = std::chrono::seconds(10),
                                   .silence = std::chrono::milliseconds(150)};

class scripted_module {
public:
    using script = std::function<void(scripted_module &)>;

    explicit scripted_module(script life) : over_(eventfd(0, EFD_CLOEXEC)) {
        line_.make_raw();
        thread_ = std::thread([this, life = std::move(life)] { life(*this); });
    }
    ~scripted_module() { end(); }
    scripted_module(const scripted_module &) = delete;
    scripted_module &operator=(const scripted_module &) = delete;

    const std::string &device() const { return line_.name(); }

    // A port that no program has open, as one just plugged in.
    void let_go() { line_.let_go(); }

    // Until the script's bytes have passed the PTY.
    void wait_until_readable() const {
        pollfd slave = {line_.slave(), POLLIN, 0};
        poll(&slave, 1, 5000);
    }

    // Ends the script: every command that it heard.
    const std::vector<std::string> &heard() {
        end();
        return heard_;
    }

    // From here on for the script.

    // The next command without its CR; empty when the test is over.
    std::string hear() {
        for (;;) {
            if (const std::size_t end = received_.find('\r'); end != std::string::npos) {
                heard_.push_back(received_.substr(0, end));
                received_.erase(0, end + 1);
                return heard_.back();
            }
            std::array<pollfd, 2> ports = {{{line_.master(), POLLIN, 0}, {over_.get(), POLLIN, 0}}};
            poll(ports.data(), ports.size(), -1);
            std::array<char, 256> bytes = {};
            const ssize_t size = ports[0].revents != 0 ? read(line_.master(), bytes.data(), bytes.size()) : 0;
            if (size > 0) {
                received_.append(bytes.data(), static_cast<std::size_t>(size));
            } else if (ports[1].revents != 0) {
                return "";
            } else {
                rest(std::chrono::milliseconds(5));  // nobody has it open: poll does not wait
            }
        }
    }

    // False when the other side does not read and the test is over.
    bool say(std::string_view text) {
        while (!text.empty()) {
            const ssize_t size = write(line_.master(), text.data(), text.size());
            if (size > 0) {
                text.remove_prefix(static_cast<std::size_t>(size));
            } else if (errno != EAGAIN || rest(std::chrono::milliseconds(1))) {
                return false;
            }
        }
        return true;
    }

    void say_torn(std::string_view text) {
        for (const char byte : text) {
            say({&byte, 1});
            std::this_thread::yield();
        }
    }

    // True when the test is over.
    bool rest(std::chrono::milliseconds time) {
        pollfd over = {over_.get(), POLLIN, 0};
        return poll(&over, 1, static_cast<int>(time.count())) > 0;
    }

    void vanish() { line_.hang_up(); }

private:
    void end() {
        if (thread_.joinable()) {
            const eventfd_t one = 1;
            eventfd_write(over_.get(), one);
            thread_.join();
        }
    }

    pseudo_terminal line_;
    descriptor over_;
    std::string received_;
    std::vector<std::string> heard_;
    std::thread thread_;
};

// The port as the daemon opens it.
class opened_port {
public:
    explicit opened_port(const scripted_module &module) : fd_(ser_open(module.device().c_str())) {}
    ~opened_port() { ser_close(fd_); }
    opened_port(const opened_port &) = delete;
    opened_port &operator=(const opened_port &) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

inline constexpr std::string_view MARK = "at+cmee?";
inline constexpr std::string_view MARK_ANSWER = "\r\n+CMEE: 0\r\n\r\nOK\r\n";

// Answers every command with the same bytes, but the mark as a module does.
inline scripted_module::script always(const std::string &bytes, bool torn = false) {
    return [=](scripted_module &module) {
        for (std::string command = module.hear(); !command.empty(); command = module.hear()) {
            const std::string_view answer = command == MARK ? MARK_ANSWER : std::string_view(bytes);
            torn ? module.say_torn(answer) : static_cast<void>(module.say(answer));
        }
    };
}

// Knows these commands only.
inline scripted_module::script by_table(std::map<std::string, std::string> answers) {
    return [answers = std::move(answers)](scripted_module &module) {
        for (std::string command = module.hear(); !command.empty(); command = module.hear()) {
            const auto found = answers.find(command);
            module.say("\r\n" + (found != answers.end() ? found->second : "ERROR") + "\r\n");
        }
    };
}

// Being out of step outlives a test that left it behind: one good exchange ends it.
inline void get_back_in_step() {
    scripted_module module(always("\r\nOK\r\n"));
    const opened_port port(module);
    const std::array<std::string, 2> texts = {"OK", "ERROR"};
    std::array<char, 16> buffer = {};
    ser_write_and_get_all_response_until_searchtxt(port.fd(), "at\r", texts.data(), 2, buffer.data(), buffer.size(), 1,
                                                   1);
}
