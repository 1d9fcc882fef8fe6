#include "sim/outside/command_line.h"

#include <getopt.h>

#include "platform/module_access.h"
#include "sim/scenario/line_text.h"

namespace {

using words = std::vector<std::string>;

constexpr unsigned int LONGEST_SECONDS = 99'999'999;  // three years
// The pause between two cycles then takes 4 ms, less than their exchanges: beyond it nothing is gained.
constexpr unsigned int FASTEST = 1000;

constexpr int POSITIONAL = 1;  // what getopt_long returns for a word that is no option

enum choice { SECONDS = 's', QUIET = 'q', VERBOSE = 'v', VIEW = 'w', SPEED = 'x', MODEL = 'm' };

constexpr option WITH_SECONDS{"seconds", required_argument, nullptr, SECONDS};
constexpr option WITH_QUIET{"quiet", no_argument, nullptr, QUIET};
constexpr option WITH_VERBOSE{"verbose", no_argument, nullptr, VERBOSE};
constexpr option WITH_VIEW{"view", no_argument, nullptr, VIEW};
constexpr option WITH_SPEED{"speed", required_argument, nullptr, SPEED};
constexpr option WITH_MODEL{"model", required_argument, nullptr, MODEL};
constexpr option LAST{};

constexpr option RUN_OPTIONS[] = {WITH_SECONDS, WITH_QUIET, WITH_VERBOSE, WITH_VIEW, WITH_SPEED, LAST};
constexpr option SHELL_OPTIONS[] = {WITH_SECONDS, WITH_SPEED, LAST};
constexpr option MODULE_OPTIONS[] = {WITH_SECONDS, WITH_QUIET, WITH_VERBOSE, WITH_VIEW, WITH_MODEL, LAST};

[[noreturn]] void fail(const std::string &expected) {
    throw request_error{"expected " + expected};
}

[[noreturn]] void refuse_word(const std::string &word) {
    throw request_error{"did not expect \"" + word + "\"; see zelt-sim --help"};
}

std::string wanted_behind(int which) {
    switch (which) {
    case SECONDS:
        return "a number from 1 to " + std::to_string(LONGEST_SECONDS) + " behind --seconds";
    case SPEED:
        return "a number from 1 to " + std::to_string(FASTEST) + " behind --speed";
    default:
        return "a module such as EC25 behind --model";
    }
}

unsigned int number_from_1_to(unsigned int greatest, const char *text, int which) {
    const auto number = to_number<unsigned int>(text);
    if (!number || *number == 0 || *number > greatest) {
        fail(wanted_behind(which) + ", found \"" + text + '"');
    }
    return *number;
}

void take_option(play_request &request, int which) {
    switch (which) {
    case SECONDS:
        request.seconds = number_from_1_to(LONGEST_SECONDS, optarg, which);
        break;
    case SPEED:
        request.speed = number_from_1_to(FASTEST, optarg, which);
        break;
    case MODEL:
        request.model = optarg;
        break;
    case VIEW:
        request.beside = companion::view;
        break;
    default:
        request.level = which == QUIET ? journal_level::quiet : journal_level::verbose;
    }
}

// The one word that is no option becomes the scenario, what stands behind "--" the command.
play_request read(words arguments, const option *allowed, bool takes_command) {
    std::vector<char *> argv{nullptr};  // in place of the program's name, which getopt_long passes over
    for (std::string &word : arguments) {
        argv.push_back(word.data());
    }
    const int count = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    play_request request;
    optind = 0;  // not 1: the C library begins anew
    int at = 1;
    // "-": in their order, so that argv[at] is what a call was about; ":": it prints nothing.
    for (int found = 0; (found = getopt_long(count, argv.data(), "-:", allowed, nullptr)) >= 0; at = optind) {
        const std::string word = argv.at(static_cast<std::size_t>(at));
        if (found == ':') {
            fail(wanted_behind(optopt));
        } else if (found == '?' || (found == POSITIONAL && (word.starts_with('-') || !request.scenario.empty()))) {
            refuse_word(word);
        } else if (found == POSITIONAL) {
            request.scenario = word;
        } else {
            take_option(request, found);
        }
    }
    const bool has_dashes = optind > at;
    if (has_dashes && !takes_command) {
        refuse_word("--");
    }
    request.command.assign(arguments.begin() + (optind - 1), arguments.end());
    if (has_dashes && request.command.empty()) {
        fail("a command behind --");
    }
    return request;
}

}  // namespace

play_request read_run_request(const words &arguments) {
    play_request request = read(arguments, RUN_OPTIONS, true);
    if (request.scenario.empty()) {
        fail("a scenario behind run; `zelt-sim list` names the shipped ones");
    }
    return request;
}

play_request read_shell_request(const words &arguments) {
    play_request request = read(arguments, SHELL_OPTIONS, false);
    if (request.scenario.empty()) {
        request.scenario = "drive";
    }
    request.beside = companion::shell;
    return request;
}

play_request read_module_request(const words &arguments) {
    play_request request = read(arguments, MODULE_OPTIONS, false);
    request.port.swap(request.scenario);
    if (request.port.empty()) {
        fail("the module's AT port behind module, such as /dev/ttyUSB2");
    }
    if (get_module_model_from_config_string(request.model.c_str()) == MODULE_UNKNOWN) {
        fail("--model with one of EC21, EC25, BG96, RM500Q, RM520N or another RM5xx" +
             (request.model.empty() ? "" : ", found \"" + request.model + "\""));
    }
    return request;
}

attach_request read_attach_request(const words &arguments) {
    attach_request request;
    auto word = arguments.begin();
    if (word != arguments.end() && *word == "--box") {
        const auto number = ++word == arguments.end() ? std::nullopt : to_number<int>(*word);
        if (!number || *number <= 0) {
            fail("the process number of a box behind --box; without --box, attach names them");
        }
        request.box = *number;
        ++word;
    }
    if (word != arguments.end() && *word != "--") {
        refuse_word(*word);
    }
    if (word != arguments.end() && ++word == arguments.end()) {
        fail("a command behind --");
    }
    request.command.assign(word, arguments.end());
    return request;
}

words read_ports(const words &arguments) {
    for (const std::string &word : arguments) {
        if (word.starts_with('-')) {
            refuse_word(word);
        }
        if (!word.starts_with('/')) {
            fail("serial ports such as /dev/ttyUSB2 behind probe, found \"" + word + "\"");
        }
    }
    return arguments;
}
