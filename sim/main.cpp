// zelt-sim: the router in a box.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "sim/inside/player.h"
#include "sim/inside/port_probe.h"
#include "sim/inside/router_files.h"
#include "sim/inside/terminal_program.h"
#include "sim/outside/box.h"
#include "sim/outside/command_line.h"
#include "sim/outside/terminal_guard.h"
#include "sim/stand_ins/stand_ins.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

constexpr int EXIT_SCENARIO = 2;  // also: the command line is wrong
constexpr const char *MODULE_PORT = "/dev/ttyQSB3";

constexpr const char *USAGE =
    R"(Usage: zelt-sim run SCENARIO [--view] [--speed N] [--seconds N] [--quiet | --verbose] [-- COMMAND...]
       zelt-sim shell [SCENARIO] [--speed N] [--seconds N]
       zelt-sim module PORT --model NAME [--view] [--seconds N] [--quiet | --verbose]
       zelt-sim list [FOLDER]
       zelt-sim check SCENARIO...

The router in a box: runs the daemon with a simulated module, in a "/dev", "/tmp", "/run" and network of its own.

  run     play SCENARIO (a file, or the name of a shipped one) and print what happens
            --view        show the live view zelt-top in place of that; q ends it and the box
            --speed N     the daemon's pauses and the scenario's times are N times shorter (1 to 100)
            --seconds N   end after N seconds
            --quiet       print failures only
            --verbose     print every AT exchange, log line and change of a key
            COMMAND       what to run in place of the daemon, which is the zelt-stats beside this program
  shell   play SCENARIO (default: drive) and open a shell in the box; leaving it ends the box
  module  run the daemon with the real module behind the serial port PORT, such as /dev/ttyUSB2. NAME is its model:
          EC21, EC25, BG96, RM520N ... Everything but the port stays as private as with the simulated module
  list    name the scenarios of FOLDER (default: the shipped ones), one line each
  check   look for errors in scenario files, and run nothing

Exit status: 0 all fine; 1 an expectation failed or the daemon ended wrongly; 2 an error in the scenario, on the
command line, or no module at the port; 3 the box cannot be made.
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

// In place of a file: the daemon with the real module, until the user ends it.
std::string module_scenario(const play_request &request) {
    return "module " + request.model + "\n";
}

words daemon_command(const scenario &story) {
    words command{own_folder() / "zelt-stats"};
    if (!story.module.empty()) {
        command.insert(command.end(), {"-d", story.module});
    }
    return command;
}

// The program that makes pauses shorter: beside this one in the build folder, in the library folder when installed.
std::string speed_library() {
    const fs::path beside = own_folder() / "libzelt_speed.so";
    return fs::exists(beside) ? beside : own_folder().parent_path() / "lib/zelt-stats/libzelt_speed.so";
}

// Only the daemon runs faster, so the variables are set for it alone.
words faster(const words &command, unsigned int speed) {
    // A sanitizer wants to be the first library; this one does not get into its way.
    const char *const chosen = std::getenv("ASAN_OPTIONS");
    const std::string sanitizer = (chosen != nullptr ? std::string(chosen) + ":" : "") + "verify_asan_link_order=0";
    words all{"/usr/bin/env", "LD_PRELOAD=" + speed_library(), "ZELT_SPEED=" + std::to_string(speed),
              "ASAN_OPTIONS=" + sanitizer};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

int refuse_program(const std::string &path) {
    refuse(path + " is no program; build it with: cmake --build --preset release");
    return EXIT_NO_BOX;
}

// Plays the request in a box. Its scenario is `text`, called `name` in messages.
int play_in_box(play_request request, const std::string &name, const std::string &text) {
    const scenario story = parse_scenario(text, name);
    request.scenario = name;
    if (request.command.empty()) {
        request.command = daemon_command(story);
    }
    std::string &program = request.command[0];
    if (program.find('/') != std::string::npos) {
        program = fs::absolute(program);
        if (access(program.c_str(), X_OK) != 0) {
            return refuse_program(program);
        }
    }
    if (request.beside == companion::view && access((own_folder() / "zelt-top").c_str(), X_OK) != 0) {
        return refuse_program(own_folder() / "zelt-top");
    }
    box_request box{.visible = {own_folder(), program}, .command = {own_folder() / "zelt-sim", "inside"}};
    if (!request.port.empty()) {
        box.devices = {{request.port, MODULE_PORT}};
    }
    if (request.speed > 1) {
        box.visible.push_back(speed_library());
        request.command = faster(request.command, request.speed);
    }
    const words inner = to_words(request);
    box.command.insert(box.command.end(), inner.begin(), inner.end());
    if (request.beside != companion::none) {
        std::signal(SIGTSTP, SIG_IGN);  // see terminal_program: nobody stops half-way
    }
    const terminal_guard terminal;
    return run_in_box(box, text);
}

int run(const play_request &request) {
    if (request.beside == companion::view && (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)) {
        return refuse("--view needs a terminal; without --view it prints plain lines");
    }
    if (!request.port.empty()) {
        if (const std::string wrong = why_no_port(request.port); !wrong.empty()) {
            return refuse(wrong);
        }
        return play_in_box(request, request.port, module_scenario(request));
    }
    const fs::path file = find_scenario(request.scenario);
    return play_in_box(request, file, read_file(file));
}

// --- Inside the box ---

std::unique_ptr<terminal_program> make_companion(companion which) {
    if (which == companion::view) {
        return std::make_unique<terminal_program>(words{own_folder() / "zelt-top"}, false);
    }
    if (which == companion::none) {
        return nullptr;
    }
    std::puts("A shell in the box, beside the running daemon. Look around with:  sysdb list CELL   zelt-top\n"
              "ip address show wwan0   cat /run/wwan_ipv4   ls /run /tmp        exit ends the box.");
    std::fflush(stdout);
    words command{"/usr/bin/env", "PATH=" + own_folder().string() + ":" + std::getenv("PATH"), "PS1=box:\\w# ",
                  "HISTFILE="};
    // Without the user's own settings: they belong to a system that can be written.
    access("/bin/bash", X_OK) == 0 ? command.insert(command.end(), {"/bin/bash", "--norc"})
                                   : command.insert(command.end(), "/bin/sh");
    return std::make_unique<terminal_program>(command, isatty(STDIN_FILENO) != 0);
}

// While a program has the terminal, what the box prints is kept, and printed at the end.
class kept_output {
public:
    kept_output() {
        std::fflush(stdout);
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
            dup2(kept_.get(), fd);
        }
    }
    ~kept_output() {
        std::fflush(stdout);
        dup2(stdout_.get(), STDOUT_FILENO);
        dup2(stderr_.get(), STDERR_FILENO);
        std::array<char, 4096> piece{};
        lseek(kept_.get(), 0, SEEK_SET);
        for (ssize_t size = 0; (size = read(kept_.get(), piece.data(), piece.size())) > 0;) {
            std::fwrite(piece.data(), 1, static_cast<std::size_t>(size), stdout);
        }
        std::fflush(stdout);
    }
    kept_output(const kept_output &) = delete;
    kept_output &operator=(const kept_output &) = delete;

private:
    descriptor kept_{memfd_create("journal", MFD_CLOEXEC)};
    descriptor stdout_{fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)};
    descriptor stderr_{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
};

int play_beside(const scenario &story, play_options &options, companion which) {
    const std::unique_ptr<terminal_program> beside = make_companion(which);
    if (!beside) {
        return play(story, options);
    }
    options.level = journal_level::quiet;
    options.beside = beside.get();
    const kept_output kept;
    const int status = play(story, options);
    beside->end();  // before anything is printed
    return status;
}

// The half of the program that the outer one starts in the box.
int inside(const words &arguments) try {
    for (const int fd : {BOX_TEXT, BOX_CONTROL, BOX_READY}) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    const play_request request = from_words(arguments);
    if (fcntl(BOX_READY, F_GETFD) < 0) {
        return refuse("\"inside\" is for zelt-sim itself");
    }
    std::signal(SIGPIPE, SIG_IGN);
    const scenario story = parse_scenario(read_file("/proc/self/fd/" + std::to_string(BOX_TEXT)), request.scenario);
    play_options options{.scenario_name = request.scenario,
                         .command = request.command,
                         .limit = std::nullopt,
                         .control = BOX_CONTROL,
                         .speed = request.speed,
                         .real_module = !request.port.empty()};
    if (request.seconds != "none") {
        options.limit = std::chrono::seconds(std::stol(request.seconds));
    }
    options.level = request.level == "quiet"     ? journal_level::quiet
                    : request.level == "verbose" ? journal_level::verbose
                                                 : journal_level::story;
    prepare_surroundings();
    if (write(BOX_READY, "", 1) != 1) {
        return EXIT_NO_BOX;
    }
    if (options.real_module) {
        if (const std::string wrong = why_no_module(MODULE_PORT, request.port); !wrong.empty()) {
            return refuse(wrong);
        }
    }
    return play_beside(story, options, request.beside);
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
        return run(read_run_request(arguments));
    }
    if (subcommand == "shell") {
        return run(read_shell_request(arguments));
    }
    if (subcommand == "module") {
        return run(read_module_request(arguments));
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
    return refuse("expected run, shell, module, list or check; see zelt-sim --help");
}

}  // namespace

int main(int argc, char **argv) {
    try {
        if (argc > 0 && is_stand_in(argv[0])) {
            return play_stand_in(argc, argv);
        }
        const words all(argv, argv + argc);
        return dispatch(argc > 1 ? all[1] : "", words(all.begin() + std::min(argc, 2), all.end()));
    } catch (const scenario_error &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return EXIT_SCENARIO;
    } catch (const request_error &e) {
        return refuse(e.text);
    } catch (const std::exception &e) {
        return refuse(e.what());
    }
}
