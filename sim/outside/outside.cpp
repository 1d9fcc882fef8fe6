#include "sim/outside/outside.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "sim/handover.h"
#include "sim/outside/attach.h"
#include "sim/outside/box.h"
#include "sim/outside/command_line.h"
#include "sim/outside/port_check.h"
#include "sim/outside/probe.h"
#include "sim/outside/scenario_files.h"
#include "sim/outside/terminal_guard.h"
#include "sim/scenario/scenario.h"
#include "store/value_text.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

constexpr const char *USAGE =
    R"(Usage: zelt-sim run SCENARIO [--view] [--speed N] [--seconds N] [--quiet | --verbose] [-- COMMAND...]
       zelt-sim shell [SCENARIO] [--speed N] [--seconds N]
       zelt-sim module PORT --model NAME [--view] [--seconds N] [--quiet | --verbose]
       zelt-sim probe [PORT...]
       zelt-sim attach [--box PID] [-- COMMAND...]
       zelt-sim list [FOLDER]
       zelt-sim check SCENARIO...
       zelt-sim --help | --version

The router in a box: runs the daemon with a simulated module, in a "/dev", "/tmp", "/run" and network of its own.

  run     play SCENARIO (a file, or the name of a shipped one) and print what happens
            --view        show the live view zelt-top in place of that; q ends it and the box
            --speed N     the daemon's pauses and the scenario's times are N times shorter (1 to 1000)
            --seconds N   end after N seconds
            --quiet       print failures only
            --verbose     print every exchange with a simulated module, log line and change of a key
            COMMAND       what to run in place of the daemon, which is the zelt-stats beside this program
  shell   play SCENARIO (default: drive) and open a shell in the box; leaving it ends the box
  module  run the daemon with the real module behind the serial port PORT, such as /dev/ttyUSB2. NAME is its model:
          EC21, EC25, BG96, RM520N ... Everything but the port stays as private as with the simulated module
  probe   ask the serial ports of this machine, or each PORT, which one a module answers on, and print how to go on;
          queries only, and a port that another program has open is left alone
  attach  run COMMAND (default: a shell) in the box that runs already; ending it leaves the box alone
            --box PID     which box, when several run
  list    name the scenarios of FOLDER (default: the shipped ones), one line each
  check   look for errors in scenarios (files, or names of shipped ones), and run nothing

Exit status: 0 all fine; 1 an expectation failed or the daemon ended wrongly; 2 an error in the scenario, on the
command line, no module at the port, or no box to join; 3 the box cannot be made or joined. That of attach is COMMAND's;
of probe 0 when there is a port to go on with, else 1.
)";

// In place of a file: the daemon with the real module, until the user ends it.
std::string module_scenario(const play_request &request) {
    return "module " + request.model + "\n";
}

// Beside this one in the build folder, among the system's programs when installed.
fs::path daemon_program() {
    const fs::path beside = own_folder() / "zelt-stats";
    const fs::path installed = own_folder().parent_path() / "sbin/zelt-stats";
    return !fs::exists(beside) && fs::exists(installed) ? installed : beside;
}

words daemon_command(const scenario &story) {
    words command{daemon_program()};
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
    return refuse(path + " is no program; build it with: cmake --build --preset release", EXIT_NO_BOX);
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
    box_request box{.visible = {own_folder(), program},
                    .command = {own_folder() / "zelt-sim", INSIDE},
                    .uses_terminal = request.beside != companion::none};
    if (!request.port.empty()) {
        box.devices = {{request.port, MODULE_PORT}};
    }
    if (request.speed > 1) {
        box.visible.push_back(speed_library());
        request.command = faster(request.command, request.speed);
    }
    const words inner = to_words(request);
    box.command.insert(box.command.end(), inner.begin(), inner.end());
    const terminal_guard terminal;
    return run_in_box(box, text);
}

int play(const play_request &request) {
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
    return play_in_box(request, file, read_scenario(file));
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
        std::printf("%-16s %s\n", file.stem().c_str(),
                    shown(parse_scenario(read_scenario(file), file).summary).c_str());
    }
    return 0;
}

int check(const words &arguments) {
    int status = arguments.empty() ? refuse("expected scenarios behind check: files, or names of shipped ones") : 0;
    for (const std::string &word : arguments) {
        if (word.starts_with('-')) {
            status = refuse("did not expect \"" + word + "\"; see zelt-sim --help");
            continue;
        }
        try {
            const fs::path file = find_scenario(word);
            parse_scenario(read_scenario(file), file);
        } catch (const scenario_error &e) {
            std::fprintf(stderr, "%s\n", shown(e.what()).c_str());
            status = EXIT_SCENARIO;
        }
    }
    return status;
}

}  // namespace

int outside(const words &all) {
    const std::string subcommand = all.empty() ? "" : all[0];
    const words arguments(all.begin() + (all.empty() ? 0 : 1), all.end());
    if (subcommand == "run") {
        return play(read_run_request(arguments));
    }
    if (subcommand == "shell") {
        return play(read_shell_request(arguments));
    }
    if (subcommand == "module") {
        return play(read_module_request(arguments));
    }
    if (subcommand == "probe") {
        return probe(read_ports(arguments));
    }
    if (subcommand == "attach") {
        const attach_request request = read_attach_request(arguments);
        attach_to_box(request.box, request.command);
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
    if (subcommand == "--version") {
        std::puts("zelt-sim " ZELT_VERSION);
        return 0;
    }
    return refuse("expected run, shell, module, probe, attach, list or check; see zelt-sim --help");
}
