#include "host/serial_port.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include "host/port_record.h"
#include "host/port_watch.h"
#include "host/say_once.h"
#include "host/stop.h"
#include "platform/module_access.h"
#include "posix/device_holders.h"
#include "store/value_text.h"

namespace {

using clock_type = std::chrono::steady_clock;
using moment = clock_type::time_point;
using std::chrono::milliseconds;

// Shared by all descriptors: a late answer does not care which one is open. Written by exchanges alone.
struct {
    bool out_of_step = false;      // a command was sent, its final result was not seen
    bool mark_unanswered = false;  // so was a mark: the next answer to one may be its answer
} step;

constexpr std::string_view mark = "at+cmee?\r";

bool answers_the_mark(std::string_view line) {
    return line.starts_with("+CMEE:");
}

// Waiting ends at its moment only, however long no byte comes.
constexpr milliseconds NO_SILENCE{-1};

// Reads and writes until a moment given by the caller, a stop, or the end of the port.
class port_stream {
public:
    enum class event { line, written, time_is_up, stopped, closed, shared };

    explicit port_stream(int fd) : fd_(fd) {}

    event write_all(std::string_view text, moment until) {
        for (;;) {
            if (stop_requested() || clock_type::now() >= until) {
                return stop_requested() ? event::stopped : event::time_is_up;
            }
            const ssize_t size = ::write(fd_, text.data(), text.size());
            if (size < 0 && !may_try_again()) {
                return event::closed;
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
            if (text.empty()) {
                return event::written;
            }
            if (const event woken = wait(POLLOUT, until); woken != event::written) {
                return woken;
            }
        }
    }

    // The next line, which is in line() until the next call. With a silence, time is also up when no byte came for so
    // long.
    event next_line(moment until, milliseconds silence = NO_SILENCE) {
        for (;;) {
            if (const std::optional<std::string_view> line = cutter_.next_line(unread_)) {
                line_ = *line;
                return event::line;
            }
            const moment wake = silence == NO_SILENCE ? until : std::min(until, last_byte_ + silence);
            if (const event woken = wait(POLLIN, wake); woken != event::line) {
                return woken;
            }
            const ssize_t size = ::read(fd_, bytes_.data(), bytes_.size());
            if (size > 0) {
                unread_ = {bytes_.data(), static_cast<std::size_t>(size)};
                last_byte_ = clock_type::now();
            } else if (size == 0 || !may_try_again()) {
                return event::closed;
            }
        }
    }

    std::string_view line() const { return line_; }

private:
    static bool may_try_again() { return errno == EAGAIN || errno == EINTR; }

    // event::line or event::written when the port is ready for it. A port that hung up is ready: the call tells.
    event wait(short what, moment until) const {
        for (;;) {
            const auto left = std::chrono::ceil<milliseconds>(until - clock_type::now()).count();
            if (stop_requested()) {
                return event::stopped;
            }
            if (left <= 0) {
                return event::time_is_up;
            }
            std::array<pollfd, 3> ports = {
                {{fd_, what, 0}, {stop_descriptor(), POLLIN, 0}, {port_watch_descriptor(), POLLIN, 0}}};
            const int ready = fd_ < 0 ? -1 : poll(ports.data(), ports.size(), static_cast<int>(left));
            if (fd_ < 0 || (ready < 0 && errno != EINTR)) {
                return event::closed;
            }
            if (ready > 0 && ports[2].revents != 0 && port_was_shared()) {
                return event::shared;
            }
            if (ready > 0 && ports[0].revents != 0) {
                return what == POLLIN ? event::line : event::written;
            }
        }
    }

    int fd_;
    std::array<char, 512> bytes_ = {};
    std::string_view unread_;  // in bytes_
    line_cutter cutter_;
    std::string_view line_;  // in cutter_
    moment last_byte_ = clock_type::now();
};

// The end of an exchange for which no final result came.
at_answer broken_off(port_stream::event why, at_lines lines = {}) {
    switch (why) {
    case port_stream::event::shared:
        return {at_ending::port_shared, {}};
    case port_stream::event::closed:
        return {at_ending::port_closed, std::move(lines)};
    default:
        return {at_ending::no_final_result, std::move(lines)};
    }
}

at_answer completed(std::string_view final_result, at_lines lines) {
    return {is_error_result(final_result) ? at_ending::error : at_ending::ok, std::move(lines)};
}

// A module that talks on without a final result must not fill the memory. Answers have less than 20 lines, most of them
// less than 4.
void keep(at_lines &lines, std::string_view line) {
    constexpr std::size_t MOST_LINES = 256;
    constexpr std::size_t USUAL_LINES = 4;
    if (lines.size() < MOST_LINES) {
        lines.reserve(USUAL_LINES);
        lines.emplace_back(line);
    }
}

// Drops everything up to the answer to the mark. True when nothing old can follow. A stop or a closed port is left
// for the command to find.
bool get_in_step(port_stream &port, const at_limits &limits, moment deadline) {
    const bool earlier_unanswered = std::exchange(step.mark_unanswered, true);
    moment until = std::min(deadline, clock_type::now() + limits.mark);
    if (port.write_all(mark, until) != port_stream::event::written) {
        return false;
    }
    bool seen = false;
    milliseconds silence = NO_SILENCE;
    while (port.next_line(until, silence) == port_stream::event::line) {
        if (answers_the_mark(port.line())) {
            seen = true;
            silence = NO_SILENCE;
            until = deadline;  // its final result follows, and must not be taken for the command's
        } else if (is_final_result(port.line()) && seen) {
            step.mark_unanswered = earlier_unanswered;
            return !earlier_unanswered;
        } else if (is_final_result(port.line())) {
            silence = limits.silence;  // of a late answer, or of a module that does not know the mark
        }
    }
    return false;
}

at_answer read_answer_in_step(port_stream &port, std::string_view command, std::string_view wanted_prefix,
                              const at_limits &limits, moment deadline) {
    at_lines lines;
    for (;;) {
        const port_stream::event event = port.next_line(deadline);
        if (event != port_stream::event::line) {
            return broken_off(event, std::move(lines));
        }
        const std::string_view line = port.line();
        if (is_echo(line, command)) {
            continue;
        }
        if (answers_the_mark(line) && command != mark) {
            return broken_off(event);
        }
        keep(lines, line);
        if (is_final_result(line)) {
            return completed(line, std::move(lines));
        }
        if (!wanted_prefix.empty() && line.starts_with(wanted_prefix)) {
            deadline = std::min(deadline, clock_type::now() + limits.after_wanted_line);
        }
    }
}

// Unsolicited lines behind the final result are no new answer: only a further final result makes one.
at_answer read_answer_in_doubt(port_stream &port, std::string_view command, const at_limits &limits, moment deadline) {
    at_lines lines;
    std::optional<at_answer> last;
    bool in_answer_to_mark = false;
    for (;;) {
        const port_stream::event event = port.next_line(deadline, last ? limits.silence : NO_SILENCE);
        const bool was_silent = event == port_stream::event::time_is_up && clock_type::now() < deadline;
        if (was_silent && last) {
            return *std::move(last);
        }
        if (event != port_stream::event::line) {
            return broken_off(event);
        }
        const std::string_view line = port.line();
        if (is_echo(line, command)) {  // an answer begins: what came before was none, or an older one
            lines.clear();
            last.reset();
            continue;
        }
        keep(lines, line);
        if (answers_the_mark(line)) {
            in_answer_to_mark = true;
            last.reset();
        } else if (is_final_result(line)) {
            at_answer answer = completed(line, std::exchange(lines, {}));
            if (!std::exchange(in_answer_to_mark, false)) {
                last = std::move(answer);
            }
        }
    }
}

std::string advice_for(int error) {
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EIO:
        return "plug in the module, or check that its driver is loaded";
    case EACCES:
    case EPERM:
        return "run as root, or as a member of the device's group";
    case ENOTTY:
        return "give the module's AT port instead";
    default:
        return "check that no other program holds the port";
    }
}

bool are_equal(const termios &a, const termios &b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag &&
           a.c_cc[VMIN] == b.c_cc[VMIN] && a.c_cc[VTIME] == b.c_cc[VTIME];
}

// 8 data bits, no parity, 1 stop bit, no flow control, every byte as it is. A port remembers its settings, but other
// programs use it too: it is asked each time, and told when they are others.
bool make_raw(int fd) {
    termios found = {};
    if (tcgetattr(fd, &found) != 0) {
        return false;
    }
    termios settings = found;
    cfmakeraw(&settings);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
    // The port is closed after each exchange: a modem line that drops then makes modules end the data call.
    settings.c_cflag &= ~static_cast<tcflag_t>(HUPCL);
    settings.c_cflag |= CLOCAL | CREAD;
    // A read of no bytes means the end of the port, not that nothing is there yet.
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    if (!are_equal(found, settings) && tcsetattr(fd, TCSANOW, &settings) != 0) {
        return false;
    }
    // The modules' default. A USB port has no real speed and may refuse one.
    if (cfgetospeed(&found) != B115200 && cfsetspeed(&settings, B115200) == 0) {
        tcsetattr(fd, TCSANOW, &settings);
    }
    return true;
}

bool is_first_user_namespace() {
    constexpr std::string_view FIRST = "user:[4026531837]";
    std::array<char, 64> name = {};
    const ssize_t size = readlink("/proc/self/ns/user", name.data(), name.size());
    return size > 0 && std::string_view(name.data(), static_cast<std::size_t>(size)) == FIRST;
}

// The trap: a pseudo-terminal keeps the flag when its user is killed, as long as the other end is open. Then only the
// machine's root opens it again, and a daemon in a box or of an ordinary user would be locked out by its predecessor. A
// real port forgets it with its last user.
void keep_others_away(int fd) {
    static const bool gets_in_anyway = geteuid() == 0 && is_first_user_namespace();
    constexpr unsigned int FIRST_PSEUDO_TERMINAL = 136;
    constexpr unsigned int LAST_PSEUDO_TERMINAL = 143;
    struct stat status {};
    if (gets_in_anyway || (fstat(fd, &status) == 0 && (major(status.st_rdev) < FIRST_PSEUDO_TERMINAL ||
                                                       major(status.st_rdev) > LAST_PSEUDO_TERMINAL))) {
        ioctl(fd, TIOCEXCL);
    }
}

// The values stay old until the port is ours alone. The record has the process, the message the program: one that is
// started again and again is named once.
void tell_users(const std::vector<device_holder> &users) {
    std::string programs;
    for (const device_holder &user : users) {
        programs += (programs.empty() ? "" : ", ") + escaped(user.name);
    }
    record_port(port_state::in_use, escaped(in_words(users)));
    say_once("The AT port is in use by another program (" + programs +
             "): two readers take pieces of each other's answers, so the daemon waits until it is alone there");
}

// A failed exchange of the operation below, which keeps 0 and 1 for the two completed answers.
unsigned int failed_collection(unsigned int text_count) {
    return std::max(text_count, SER_ANSWER_COMPLETE_MAX + 1);
}

// The index of the text that names the final result; text_count when none does.
unsigned int index_of_ending(at_ending ending, const std::string *texts, unsigned int text_count) {
    const std::string_view result = ending == at_ending::ok ? "OK" : "ERROR";
    return static_cast<unsigned int>(std::find(texts, texts + text_count, result) - texts);
}

// A caller's buffer, empty at first, that takes what it has room for. Always ends in a NUL.
class bounded_text {
public:
    bounded_text(char *buffer, unsigned int buffer_size) : rest_(buffer, buffer == nullptr ? 0 : buffer_size) {
        append("");
    }

    void append(std::string_view text) {
        if (!rest_.empty()) {
            rest_ = rest_.subspan(text.copy(rest_.data(), rest_.size() - 1));
            rest_.front() = '\0';
        }
    }

private:
    std::span<char> rest_;
};

// What the module does not take would hold up the close, for half a minute on a real port.
void drop_what_was_not_sent(int fd) {
    int unsent = 0;
    if (ioctl(fd, TIOCOUTQ, &unsent) == 0 && unsent > 0) {
        tcflush(fd, TCOFLUSH);
    }
}

at_answer exchange(int fd, std::string_view command, std::string_view wanted_prefix, const at_limits &limits) {
    const moment deadline = clock_type::now() + limits.total;
    port_stream port(fd);
    tcflush(fd, TCIFLUSH);  // unsolicited lines since the last exchange
    const bool in_doubt = step.out_of_step && !get_in_step(port, limits, deadline);
    step.out_of_step = true;
    if (const port_stream::event event = port.write_all(command, deadline); event != port_stream::event::written) {
        drop_what_was_not_sent(fd);
        return broken_off(event);
    }
    at_answer answer = in_doubt ? read_answer_in_doubt(port, command, limits, deadline)
                                : read_answer_in_step(port, command, wanted_prefix, limits, deadline);
    if (port_was_shared()) {  // the last bytes may have been read before the notice of it
        return broken_off(port_stream::event::shared);
    }
    if (answer.is_complete()) {
        step = {};
    } else {
        drop_what_was_not_sent(fd);
    }
    return answer;
}

// The wanted line is an answer too, though no final result follows it. A stop tells nothing of the port.
void record_outcome(const at_answer &answer, std::string_view wanted_prefix) {
    const bool has_wanted_line = !wanted_prefix.empty() && std::ranges::any_of(answer.lines, [&](const auto &line) {
        return line.starts_with(wanted_prefix);
    });
    if (answer.ending == at_ending::port_shared) {
        const std::vector<device_holder> users = look_for_users_of_port();
        tell_users(users.empty() ? std::vector<device_holder>{{0, "a program that has gone again"}} : users);
    } else if (answer.is_complete() || has_wanted_line) {
        record_port(port_state::answers);
    } else if (answer.ending == at_ending::port_closed) {
        record_port(port_state::hung_up);
    } else if (!stop_requested()) {
        record_port(port_state::no_answer);
    }
}

}  // namespace

at_answer ask_module(int fd, std::string_view command, std::string_view wanted_prefix, const at_limits &limits) {
    at_answer answer = exchange(fd, command, wanted_prefix, limits);
    if (fd >= 0) {
        record_outcome(answer, wanted_prefix);
    }
    if (!answer.is_complete()) {
        doubt_port();
    }
    return answer;
}

int ser_open(const char *device) {
    const std::string path = device == nullptr ? "" : device;
    if (const std::vector<device_holder> users = users_of_port(path); !users.empty()) {
        tell_users(users);
        return -1;
    }
    // Not blocking: neither the open, which would wait for a carrier, nor the exchanges, which have a deadline.
    const int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (fd >= 0 && make_raw(fd)) {
        keep_others_away(fd);
        port_is_open();
        return fd;
    }
    const int error = errno;
    ser_close(fd);
    const std::string reason = std::string(std::strerror(error)) + ": " + advice_for(error);
    record_port(port_state::cannot_be_opened, reason);
    say_once("Cannot use \"" + path + "\" as the AT port (" + std::strerror(error) + "): " + advice_for(error));
    return -1;
}

void ser_close(int fd) {
    if (fd >= 0) {
        ioctl(fd, TIOCNXCL);  // a pseudo-terminal, or a port that another program has open, would keep it
        close(fd);
    }
}

// The texts behind the first one are names of final results: any of these ends the answer, named or not. A text in
// quotes or in the middle of a line never does. The line is taken as it came, also with blanks; its beginning must
// equal texts[0] exactly.
unsigned int ser_write_and_wait_for_txt_get_line(int fd, const char *command, const std::string *texts,
                                                 unsigned int text_count, char *buffer, unsigned int buffer_size,
                                                 unsigned int, unsigned int) {
    bounded_text found(buffer, buffer_size);
    const std::string_view prefix = text_count > 0 ? std::string_view(texts[0]) : "";
    const at_answer answer = ask_module(fd, command, prefix);
    const auto line = std::find_if(answer.lines.begin(), answer.lines.end(),
                                   [&](const std::string &text) { return text.starts_with(prefix); });
    if (line != answer.lines.end()) {
        found.append(*line);
        return SER_LINE_FOUND;
    }
    if (answer.ending == at_ending::port_closed) {
        return SER_PORT_CLOSED;
    }
    return 1 + (answer.is_complete() ? index_of_ending(answer.ending, texts, text_count) : text_count);
}

// The lines are joined by CR LF.
unsigned int ser_write_and_get_all_response_until_searchtxt(int fd, const char *command, const std::string *texts,
                                                            unsigned int text_count, char *buffer,
                                                            unsigned int buffer_size, unsigned int, unsigned int) {
    const at_answer answer = ask_module(fd, command);
    bounded_text joined(buffer, buffer_size);
    for (std::size_t i = 0; i < answer.lines.size(); ++i) {
        joined.append(i == 0 ? "" : "\r\n");
        joined.append(answer.lines[i]);
    }
    const unsigned int index = answer.is_complete() ? index_of_ending(answer.ending, texts, text_count) : text_count;
    return index < text_count ? index : failed_collection(text_count);
}
