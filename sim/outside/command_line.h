// What the command line asks for: one scenario, or one real module, in the box. Pure.
#pragma once

#include <string>
#include <vector>

enum class companion {
    none,
    view,   // zelt-top on the terminal
    shell,  // a shell on the terminal
};

struct play_request {
    std::string scenario;          // a file, or the name of a shipped one; without one: the real module's
    std::string port;              // of a real module, as the host knows it; empty: the simulated one
    std::string model;             // of the real module
    std::string seconds = "none";  // digits
    std::string level = "story";   // "quiet", "story" or "verbose"
    unsigned int speed = 1;
    companion beside = companion::none;
    std::vector<std::string> command;  // empty: the daemon
};

// Each takes the words behind its subcommand. Throws request_error.
play_request read_run_request(const std::vector<std::string> &arguments);
play_request read_shell_request(const std::vector<std::string> &arguments);
play_request read_module_request(const std::vector<std::string> &arguments);

// The request as words for the half of the program inside the box, and back.
std::vector<std::string> to_words(const play_request &request);
play_request from_words(const std::vector<std::string> &words);

// Says what was expected.
struct request_error {
    std::string text;
};
