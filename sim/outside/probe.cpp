#include "sim/outside/probe.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

#include "host/at_text.h"
#include "host/serial_port.h"
#include "platform/module_access.h"
#include "posix/descriptor.h"
#include "posix/device_holders.h"
#include "sim/outside/daemons.h"
#include "sim/outside/port_check.h"
#include "sim/scenario/line_text.h"
#include "sim/text_file.h"
#include "store/value_text.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

// Longer than the second after which a receiver of satellites repeats itself.
constexpr at_limits SHORT{.total = at_limits::milliseconds(1500)};

struct finding {
    bool is_usable = false;
    std::string text;
};

words ports_of_the_machine() {
    words found;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/dev", error)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("ttyUSB") || name.starts_with("ttyACM")) {
            found.push_back(entry.path());
        }
    }
    // ttyUSB10 behind ttyUSB9.
    std::ranges::sort(found, {}, [](const std::string &path) { return std::pair(path.size(), path); });
    return found;
}

// What the answer to a query says: its first line, without the prefix that some modules put in front.
std::string first_text(const at_answer &answer, const std::string &prefix) {
    if (answer.lines.empty()) {
        return "";
    }
    const std::string &line = answer.lines[0];
    return line.starts_with(prefix) ? line.substr(std::min(line.size(), line.find_first_not_of(' ', prefix.size())))
                                    : line;
}

std::string model_behind(int fd) {
    const at_answer answer = ask_module(fd, "at+cgmm\r", "", SHORT);
    return answer.ending == at_ending::ok && answer.lines.size() > 1 ? first_text(answer, "+CGMM:") : "";
}

std::string maker_and_revision(int fd) {
    const at_answer answer = ask_module(fd, "ati\r", "", SHORT);
    std::string all;
    for (const std::string &line : answer.lines) {
        if (!is_final_result(line)) {
            all += (all.empty() ? "" : ", ") + escaped(line);
        }
    }
    return all;
}

std::string sim_state(int fd) {
    const std::string state = first_text(ask_module(fd, "at+cpin?\r", "", SHORT), "+CPIN:");
    if (state == "READY") {
        return "SIM ready";
    }
    if (state == "+CME ERROR: 10" || state == "+CME ERROR: SIM not inserted") {
        return "no SIM";
    }
    return state.empty() ? "nothing said about the SIM" : "SIM not ready: " + escaped(state);
}

std::string registration(int fd) {
    constexpr std::array<std::pair<const char *, const char *>, 3> DOMAINS{
        {{"at+creg?\r", "+CREG:"}, {"at+cereg?\r", "+CEREG:"}, {"at+c5greg?\r", "+C5GREG:"}}};
    for (const auto &[command, prefix] : DOMAINS) {
        const auto state = registration_state(ask_module(fd, command, "", SHORT).lines, prefix);
        if (state && is_registered(*state)) {
            return is_roaming(*state) ? "registered, roaming" : "registered at home";
        }
    }
    return "not registered";
}

// What the module says goes into a command line that people copy.
bool is_model_name(const std::string &text) {
    return get_module_model_from_config_string(text.c_str()) != MODULE_UNKNOWN &&
           std::ranges::all_of(text, [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; });
}

finding describe_module(const std::string &port, int fd) {
    const std::string model = model_behind(fd);
    const std::string about = maker_and_revision(fd);
    finding found{is_model_name(model), "answers AT: " + (model.empty() ? "a module without a name" : escaped(model))};
    found.text += ", " + sim_state(fd) + ", " + registration(fd);
    if (!about.empty()) {
        found.text += "\n    " + about;
    }
    found.text +=
        "\n    " + (found.is_usable ? "go on with: ./run --module " + port + " --model " + model
                                    : "the daemon knows EC21, EC25, BG96 and RM5xx; if it is one of them, name "
                                      "it behind --model");
    return found;
}

finding describe_silence(const at_answer &answer) {
    if (std::ranges::any_of(answer.lines, [](const std::string &line) { return line.starts_with("$G"); })) {
        return {false, "sends NMEA: positions of a satellite receiver, no AT port"};
    }
    if (answer.ending == at_ending::port_closed) {
        return {false, "hung up"};
    }
    return {false, answer.lines.empty() ? "does not answer AT" : "sends something, but does not answer AT"};
}

finding ask_port(const std::string &port) {
    const int fd = ser_open(port.c_str());
    if (fd < 0) {
        return {false, "cannot be used; the reason stands above"};
    }
    // A module that was just switched on may swallow the first one.
    const at_answer first = ask_module(fd, "at\r", "", SHORT);
    const bool answers = first.is_complete() || (first.lines.empty() && first.ending != at_ending::port_closed &&
                                                 ask_module(fd, "at\r", "", SHORT).is_complete());
    finding found = answers ? describe_module(port, fd) : describe_silence(first);
    ser_close(fd);
    return found;
}

// A process for each port: all at once, and one that is out of step is no other's business.
class question {
public:
    explicit question(const std::string &port) {
        pipe_ends pipe;
        std::fflush(stdout);
        pid_ = fork();
        if (pid_ == 0) {
            const finding found = ask_port(port);
            const std::string bytes = (found.is_usable ? "+" : "-") + found.text;
            static_cast<void>(!write(pipe.write_end.get(), bytes.data(), bytes.size()));
            _exit(0);
        }
        answer_ = std::move(pipe.read_end);
    }

    finding wait() {
        const std::string bytes = read_text(answer_.get()).value_or("");
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        return bytes.empty() ? finding{false, "could not be asked"} : finding{bytes[0] == '+', bytes.substr(1)};
    }

private:
    descriptor answer_;
    pid_t pid_ = -1;
};

// Why a port is not to be asked; nothing when it may be.
std::optional<std::string> reason_to_pass_over(const std::string &port) {
    if (const std::vector<pid_t> daemons = daemons_at(port); !daemons.empty()) {
        return "used by zelt-stats (pid " + std::to_string(daemons[0]) + "); left alone";
    }
    const std::vector<device_holder> holders = holders_of_device(port);
    if (!holders.empty()) {
        const bool manager = std::ranges::any_of(holders, [](const auto &one) { return one.name == "ModemManager"; });
        return "in use by " + escaped(in_words(holders)) + "; left alone" +
               (manager ? "\n    to free it: sudo systemctl stop ModemManager" : "");
    }
    if (const std::string wrong = why_no_port(port); !wrong.empty()) {
        const std::string front = port + ": ";
        const std::string text = wrong.starts_with(front) ? wrong.substr(front.size()) : wrong;
        return replace_all(text, "\n", "\n    ");
    }
    return std::nullopt;
}

}  // namespace

int probe(const words &named) {
    const words ports = named.empty() ? ports_of_the_machine() : named;
    if (ports.empty()) {
        std::puts("There is no serial port (/dev/ttyUSB*, /dev/ttyACM*) on this machine. Is the module plugged in?\n"
                  "`dmesg | tail` shows what was plugged in last.");
        return 1;
    }
    std::vector<std::pair<std::optional<std::string>, std::optional<question>>> asked;
    for (const std::string &port : ports) {
        asked.emplace_back(reason_to_pass_over(port), std::nullopt);
    }
    for (std::size_t i = 0; i < ports.size(); ++i) {
        if (!asked[i].first) {
            asked[i].second.emplace(ports[i]);
        }
    }
    bool any = false;
    for (std::size_t i = 0; i < ports.size(); ++i) {
        auto &[reason, one] = asked[i];
        const finding found = one ? one->wait() : finding{false, *reason};
        std::printf("%s  %s\n", ports[i].c_str(), found.text.c_str());
        std::fflush(stdout);
        any = any || found.is_usable;
    }
    return any ? 0 : 1;
}
