#include "tools/sysdb/request.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <getopt.h>

#include "store/environment.h"
#include "store/value_text.h"

namespace {

struct command_form {
    std::string_view name;
    const char *line;  // behind "sysdb "
    std::size_t words;
    bool may_json;
    bool may_time;
};

// clang-format off
constexpr std::array<command_form, 6> COMMANDS{{
    {"databases", "databases", 0, false, false},
    {"list", "list DB [--json]", 1, true, false},
    {"get", "get DB KEY [--json]", 2, true, false},
    {"set", "set DB KEY TYPE VALUE", 4, false, false},
    {"del", "del DB KEY", 2, false, false},
    {"watch", "watch DB [--json] [--time]", 1, true, true},
}};
// clang-format on

const command_form *find_command(std::string_view name) {
    const auto *const found = std::ranges::find(COMMANDS, name, &command_form::name);
    return found == COMMANDS.end() ? nullptr : found;
}

struct command_line {
    std::vector<std::string> words;
    bool json = false;
    bool time = false;
    bool help = false;
    bool version = false;
};

void take_option(int letter, const char *as_written, command_line &line) {
    switch (letter) {
    case 'j':
        line.json = true;
        break;
    case 't':
        line.time = true;
        break;
    case 'h':
        line.help = true;
        break;
    case 'v':
        line.version = true;
        break;
    default:
        throw request_error{"unknown option \"" + escaped(as_written) + "\""};
    }
}

command_line read_words(int argc, char **argv) {
    // clang-format off
    static constexpr option LONG_OPTIONS[] = {
        {"json", no_argument, nullptr, 'j'},
        {"time", no_argument, nullptr, 't'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    // clang-format on
    command_line line;
    opterr = 0;  // the messages are ours
    while (optind < argc) {
        const char *const as_written = argv[optind];
        if (const int letter = getopt_long(argc, argv, "+h", LONG_OPTIONS, nullptr); letter != -1) {
            take_option(letter, as_written, line);
            continue;
        }
        if (std::string_view(as_written) == "--") {
            line.words.insert(line.words.end(), argv + optind, argv + argc);
            break;
        }
        line.words.emplace_back(argv[optind++]);
        if (line.words.front() == "set") {
            line.words.insert(line.words.end(), argv + optind, argv + argc);
            break;
        }
    }
    return line;
}

const command_form &command_of(const std::vector<std::string> &words) {
    if (words.empty()) {
        throw request_error{"a command is missing"};
    }
    if (const command_form *form = find_command(words[0])) {
        return *form;
    }
    const auto later =
        std::ranges::find_if(words, [](const std::string &word) { return find_command(word) != nullptr; });
    throw request_error{later == words.end()
                            ? "unknown command \"" + escaped(words[0]) + "\""
                            : "the command comes first: sysdb " + std::string(find_command(*later)->line)};
}

std::string name_or_fail(const std::string &name) {
    if (name.empty() || name.size() > SYSDB_LONGEST_NAME) {
        throw request_error{"a database and a key have 1 to 511 bytes"};
    }
    return name;
}

}  // namespace

sysdb_request read_request(int argc, char **argv) {
    command_line line = read_words(argc, argv);
    if (line.help) {
        return {.command = "help"};
    }
    if (line.version) {
        return {.command = "version"};
    }
    const command_form &form = command_of(line.words);
    if (line.words.size() != 1 + form.words || (line.json && !form.may_json) || (line.time && !form.may_time)) {
        throw request_error{std::string("expected: sysdb ") + form.line};
    }
    line.words.resize(1 + COMMANDS[3].words);
    return {.command = std::string(form.name),
            .database = form.words >= 1 ? name_or_fail(line.words[1]) : "",
            .key = form.words >= 2 ? name_or_fail(line.words[2]) : "",
            .type = line.words[3],
            .value = line.words[4],
            .json = line.json,
            .time = line.time};
}
