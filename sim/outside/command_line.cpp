#include "sim/outside/command_line.h"

#include <charconv>
#include <initializer_list>
#include <string_view>
#include <system_error>

#include "platform/module_access.h"

namespace {

using words = std::vector<std::string>;

// Beyond it the exchanges with the module take longer than the daemon's pauses: nothing more is gained.
constexpr unsigned int FASTEST = 100;

unsigned int number_from_1_to(unsigned int greatest, const std::string &text) {
    unsigned int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool fine = error == std::errc() && end == text.data() + text.size() && number <= greatest;
    return fine ? number : 0;
}

// Takes the options that it is allowed to take, one after the other.
class reader {
public:
    reader(const words &arguments, std::initializer_list<std::string_view> allowed)
        : arguments_(arguments), allowed_(allowed) {}

    play_request read() {
        for (next_ = 0; next_ < arguments_.size(); ++next_) {
            const std::string &word = arguments_[next_];
            if (word == "--" && allows("--")) {
                request_.command.assign(arguments_.begin() + static_cast<std::ptrdiff_t>(next_) + 1, arguments_.end());
                if (request_.command.empty()) {
                    throw request_error{"expected a command behind --"};
                }
                break;
            }
            if (word.starts_with('-') && allows(word)) {
                read_option(word);
            } else if (word.starts_with('-') || !request_.scenario.empty()) {
                throw request_error{"did not expect \"" + word + "\"; see zelt-sim --help"};
            } else {
                request_.scenario = word;
            }
        }
        return request_;
    }

private:
    bool allows(std::string_view word) const {
        for (const std::string_view one : allowed_) {
            if (one == word) {
                return true;
            }
        }
        return false;
    }

    void read_option(const std::string &word) {
        if (word == "--quiet" || word == "--verbose") {
            request_.level = word.substr(2);
        } else if (word == "--view") {
            request_.beside = companion::view;
        } else if (word == "--model") {
            request_.model = value("a module such as EC25 behind --model");
        } else if (word == "--seconds") {
            request_.seconds = std::to_string(number(99'999'999, "a number of seconds behind --seconds"));
        } else {
            request_.speed = number(FASTEST, "a number from 1 to " + std::to_string(FASTEST) + " behind --speed");
        }
    }

    const std::string &value(const std::string &expected) {
        if (++next_ >= arguments_.size()) {
            throw request_error{"expected " + expected};
        }
        return arguments_[next_];
    }

    unsigned int number(unsigned int greatest, const std::string &expected) {
        const unsigned int found = number_from_1_to(greatest, value(expected));
        if (found == 0) {
            throw request_error{"expected " + expected};
        }
        return found;
    }

    const words &arguments_;
    std::vector<std::string_view> allowed_;
    std::size_t next_ = 0;
    play_request request_;
};

}  // namespace

play_request read_run_request(const words &arguments) {
    play_request request = reader(arguments, {"--seconds", "--quiet", "--verbose", "--view", "--speed", "--"}).read();
    if (request.scenario.empty()) {
        throw request_error{"expected a scenario behind run; `zelt-sim list` names the shipped ones"};
    }
    return request;
}

play_request read_shell_request(const words &arguments) {
    play_request request = reader(arguments, {"--seconds", "--speed"}).read();
    if (request.scenario.empty()) {
        request.scenario = "drive";
    }
    request.beside = companion::shell;
    return request;
}

play_request read_module_request(const words &arguments) {
    play_request request = reader(arguments, {"--seconds", "--quiet", "--verbose", "--view", "--model"}).read();
    request.port.swap(request.scenario);
    if (request.port.empty()) {
        throw request_error{"expected the module's AT port behind module, such as /dev/ttyUSB2"};
    }
    if (get_module_model_from_config_string(request.model.c_str()) == MODULE_UNKNOWN) {
        throw request_error{"expected --model with one of EC21, EC25, BG96, RM500Q, RM520N or another RM5xx" +
                            (request.model.empty() ? "" : ", found \"" + request.model + "\"")};
    }
    return request;
}

words to_words(const play_request &request) {
    words all{request.scenario,
              request.port,
              request.model,
              request.seconds,
              request.level,
              std::to_string(request.speed),
              std::to_string(static_cast<int>(request.beside))};
    all.insert(all.end(), request.command.begin(), request.command.end());
    return all;
}

play_request from_words(const words &all) {
    constexpr std::size_t FIELDS = 7;
    if (all.size() <= FIELDS) {
        throw request_error{"\"inside\" is for zelt-sim itself"};
    }
    return {.scenario = all[0],
            .port = all[1],
            .model = all[2],
            .seconds = all[3],
            .level = all[4],
            .speed = number_from_1_to(FASTEST, all[5]),
            .beside = static_cast<companion>(number_from_1_to(static_cast<unsigned int>(companion::shell), all[6])),
            .command = {all.begin() + FIELDS, all.end()}};
}
