// The box seen from outside: private "/dev", "/tmp", "/run", network and process numbers, made by bubblewrap. The same
// way for root and for an ordinary user: a user namespace in which the box's programs are root.
#pragma once

#include <string>
#include <vector>

#include "sim/handover.h"

struct box_device {
    std::string host_name;
    std::string name;  // in the box
};

struct box_request {
    std::vector<std::string> visible;  // folders and files that must be seen inside, absolute
    std::vector<std::string> command;  // what runs inside
    std::vector<box_device> devices = {};
    bool uses_terminal = false;  // otherwise the box writes to standard output and error, and has nothing to read
};

// The command line that makes the box. Pure.
std::vector<std::string> box_command(const box_request &request);

// Runs the command in a box, with the three descriptors of the handover, until it ends; SIGINT, SIGTERM and SIGHUP make
// it end. Its exit status, or EXIT_NO_BOX with a message on standard error. When this process is killed, everything in
// the box is too.
int run_in_box(const box_request &request, const std::string &text);
