// zelt-sim: the router in a box.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "sim/box.h"
#include "sim/play.h"
#include "sim/stand_ins.h"
#include "sim/surroundings.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

constexpr int EXIT_SCENARIO = 2;  // also: the command line is wrong

constexpr const char *USAGE =
    R"(Usage: zelt-sim run SCENARIO [--seconds N] [--quiet | --verbose] [-- COMMAND...]
       zelt-sim list [FOLDER]
       zelt-sim check SCENARIO...

The router in a box: runs the daemon with a simulated module, in a "/dev", "/tmp", "/run" and network of its own.

  run     play SCENARIO (a file, or the name of a shipped one) and print what happens
            --seconds N   end after N seconds
            --quiet       print failures only
            --verbose     print every AT exchange, log line and change of a key
            COMMAND       what to run in place of the daemon, which is the zelt-stats beside this program
  list    name the scenarios of FOLDER (default: the shipped ones), one line each
  check   look for errors in scenario files, and run nothing

Exit status: 0 all fine; 1 an expectation failed or the daemon ended wrongly; 2 an error in the scenario or on the
command line; 3 the box cannot be made.
)";

int refuse(const std::string &message) {
    std::fprintf(stderr, "zelt-sim: %s\n", message.c_str());
    return EXIT_SCENARIO;
}

fs::path own_folder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

// Beside an installed program, else in the source tree from which this one was built.
fs::path shipped_scenarios() {
    const fs::path installed = own_folder().parent_path() / "share/zelt-stats/scenarios";
    return fs::is_directory(installed) ? installed : fs::path(ZELT_SCENARIOS);
}

// Throws scenario_error when it cannot be read.
std::string read_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad()) {
        throw scenario_error(path.string() + ": cannot be read; `zelt-sim list` names the shipped scenarios");
    }
    return text;
}

// A file, or the name of a shipped scenario.
fs::path find_scenario(const std::string &name) {
    const fs::path shipped = shipped_scenarios() / (name + ".scenario");
    return !fs::exists(name) && name.find('/') == std::string::npos && fs::exists(shipped) ? shipped : fs::path(name);
}

struct run_request {
    std::string scenario;
    std::string seconds = "none";
    std::string level = "story";
    words command;
};

bool is_number(const std::string &text) {
    unsigned int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number > 0 && number < 100'000'000;
}

// An error text, empty when the arguments are fine.
std::string read_run_arguments(const words &arguments, run_request &request) {
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
        if (*word == "--") {
            request.command.assign(word + 1, arguments.end());
            return request.command.empty() ? "expected a command behind --" : "";
        }
        if (*word == "--quiet" || *word == "--verbose") {
            request.level = word->substr(2);
        } else if (*word == "--seconds") {
            if (++word == arguments.end() || !is_number(*word)) {
                return "expected a number of seconds behind --seconds";
            }
            request.seconds = *word;
        } else if (word->starts_with('-') || !request.scenario.empty()) {
            return "did not expect \"" + *word + "\"; see zelt-sim --help";
        } else {
            request.scenario = *word;
        }
    }
    return "";
}

words daemon_command(const scenario &story) {
    words command{own_folder() / "zelt-stats"};
    if (!story.module.empty()) {
        command.insert(command.end(), {"-d", story.module});
    }
    return command;
}

int run(const words &arguments) {
    run_request request;
    if (const std::string wrong = read_run_arguments(arguments, request); !wrong.empty()) {
        return refuse(wrong);
    }
    if (request.scenario.empty()) {
        return refuse("expected a scenario behind run; `zelt-sim list` names the shipped ones");
    }
    const fs::path file = find_scenario(request.scenario);
    const std::string text = read_file(file);
    const scenario story = parse_scenario(text, file);
    words command = request.command.empty() ? daemon_command(story) : request.command;
    if (command[0].find('/') != std::string::npos) {
        command[0] = fs::absolute(command[0]);
        if (access(command[0].c_str(), X_OK) != 0) {
            return refuse(command[0] + " is no program; build it with: cmake --build --preset release"), EXIT_NO_BOX;
        }
    }
    const words inner = {own_folder() / "zelt-sim", "inside", file, request.seconds, request.level};
    box_request box{.visible = {own_folder(), command[0]}, .command = inner};
    box.command.insert(box.command.end(), command.begin(), command.end());
    return run_in_box(box, text);
}

// The half of `run` that the outer one starts in the box: NAME SECONDS LEVEL COMMAND...
int inside(const words &arguments) try {
    for (const int fd : {BOX_TEXT, BOX_CONTROL, BOX_READY}) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    if (arguments.size() < 4 || fcntl(BOX_READY, F_GETFD) < 0) {
        return refuse("\"inside\" is for zelt-sim itself");
    }
    std::signal(SIGPIPE, SIG_IGN);
    const scenario story = parse_scenario(read_file("/proc/self/fd/" + std::to_string(BOX_TEXT)), arguments[0]);
    play_options options{.scenario_name = arguments[0],
                         .command = {arguments.begin() + 3, arguments.end()},
                         .limit = std::nullopt,
                         .control = BOX_CONTROL};
    if (arguments[1] != "none") {
        options.limit = std::chrono::seconds(std::stol(arguments[1]));
    }
    options.level = arguments[2] == "quiet"     ? journal_level::quiet
                    : arguments[2] == "verbose" ? journal_level::verbose
                                                : journal_level::story;
    prepare_surroundings();
    if (write(BOX_READY, "", 1) != 1) {
        return EXIT_NO_BOX;
    }
    return play(story, options);
} catch (const std::system_error &e) {
    std::fprintf(stderr, "zelt-sim: cannot go on in the box: %s\n", e.what());
    return EXIT_NO_BOX;
}

int list(const words &arguments) {
    const fs::path folder = arguments.empty() ? shipped_scenarios() : fs::path(arguments[0]);
    std::error_code error;
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".scenario") {
            files.push_back(entry.path());
        }
    }
    if (error) {
        return refuse(folder.string() + ": " + error.message());
    }
    std::ranges::sort(files);
    for (const fs::path &file : files) {
        std::printf("%-16s %s\n", file.stem().c_str(), parse_scenario(read_file(file), file).summary.c_str());
    }
    return 0;
}

int check(const words &arguments) {
    int status = arguments.empty() ? refuse("expected scenario files behind check") : 0;
    for (const std::string &file : arguments) {
        try {
            parse_scenario(read_file(file), file);
        } catch (const scenario_error &e) {
            std::fprintf(stderr, "%s\n", e.what());
            status = EXIT_SCENARIO;
        }
    }
    return status;
}

int dispatch(const std::string &subcommand, const words &arguments) {
    if (subcommand == "run") {
        return run(arguments);
    }
    if (subcommand == "inside") {
        return inside(arguments);
    }
    if (subcommand == "list") {
        return list(arguments);
    }
    if (subcommand == "check") {
        return check(arguments);
    }
    if (subcommand == "--help" || subcommand == "-h") {
        std::fputs(USAGE, stdout);
        return 0;
    }
    return refuse("expected run, list or check; see zelt-sim --help");
}

}  // namespace

int main(int argc, char **argv) {
    try {
        if (argc > 0 && is_stand_in(argv[0])) {
            return report_call(argc, argv);
        }
        const words all(argv, argv + argc);
        return dispatch(argc > 1 ? all[1] : "", words(all.begin() + std::min(argc, 2), all.end()));
    } catch (const scenario_error &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return EXIT_SCENARIO;
    } catch (const std::exception &e) {
        return refuse(e.what());
    }
}
