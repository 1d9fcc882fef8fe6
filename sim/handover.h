// What the two halves of zelt-sim agree on: the outer one, which people start, and the inner one, which the outer one
// starts in the box with the words of a request. Pure but for refuse() and the environment.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

enum class companion {
    none,
    view,   // zelt-top on the terminal
    shell,  // a shell on the terminal
};

enum class journal_level {
    quiet,    // only failures
    story,    // what people want to see
    verbose,  // every AT exchange, every log line, every change of a key at its time
};

// One scenario, or one real module, in the box.
struct play_request {
    std::string scenario;      // a file, or the name of a shipped one; without one: the real module's
    std::string port;          // of a real module, as the host knows it; empty: the simulated one
    std::string model;         // of the real module
    unsigned int seconds = 0;  // after which it ends; 0: no limit
    journal_level level = journal_level::story;
    unsigned int speed = 1;
    companion beside = companion::none;
    std::vector<std::string> command;  // empty: the daemon
};

// Says what was expected.
struct request_error {
    std::string text;
};

// The request as words for the inner half, and back. from_words throws request_error.
std::vector<std::string> to_words(const play_request &request);
play_request from_words(const std::vector<std::string> &words);

// The inner half's first word.
inline constexpr const char *INSIDE = "inside";
inline constexpr const char *NOT_FOR_PEOPLE = "\"inside\" is for zelt-sim itself";

// It finds the text of its scenario on this descriptor, ...
inline constexpr int BOX_TEXT = 3;
// ... a pipe that is closed when it shall end, and brings a byte when it shall stop for a while or go on, ...
inline constexpr int BOX_CONTROL = 4;
inline constexpr char STOP_FOR_A_WHILE = 's';
inline constexpr char GO_ON = 'c';
// ... and one in which it writes a byte as soon as the box stands, and another each time it has stopped for a while.
inline constexpr int BOX_READY = 5;
inline constexpr char BOX_STANDS = '!';
inline constexpr char BOX_HAS_STOPPED = 's';

// The module's port in the box.
inline constexpr const char *MODULE_PORT = "/dev/ttyQSB3";

// Tells the live view that the module is a real one, whose data link is not the box's.
inline constexpr const char *MODULE_IN_BOX = "/run/zelt-sim.module";

// The router's configuration in the box.
inline constexpr const char *BOX_CONFIG = "/run/zelt/config.json";

// What a person's programs find in the box: the programs of `folder` first, the box's database and configuration.
void set_box_environment(const std::string &folder);

// A shell for people, to be started there.
std::vector<std::string> shell_in_box();

inline constexpr int EXIT_SCENARIO = 2;  // also: the command line is wrong, no module at the port
inline constexpr int EXIT_NO_BOX = 3;

// Prints the message; returns the status.
int refuse(const std::string &message, int status = EXIT_SCENARIO);

// Where this program stands, and beside it the others.
std::filesystem::path own_folder();
