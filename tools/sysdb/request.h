// What the command line asks for. Reads words only: no database, no output.
#pragma once

#include <string>
#include <vector>

struct sysdb_request {
    std::string command;  // one of those of `sysdb --help`, or "help" or "version"
    std::string database{};
    std::string key{};
    std::string type{};
    std::string value{};
    bool json = false;
    bool time = false;
};

// Wrong usage; the text says what was expected, with the whole line where the command is known.
struct request_error {
    std::string text;
};

// Options may stand anywhere, but behind `set`, whose value may begin with "-". Throws request_error.
sysdb_request read_request(int argc, char **argv);
