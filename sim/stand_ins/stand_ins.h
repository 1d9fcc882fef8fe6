// Stand-ins for the router's commands: each tells the box how it was called, and then ends as the scenario says;
// without a word of it, at once and with success. One program plays them all, by the name under which it is started.
// The call goes through the system log's socket, so that calls and log lines keep their order.
#pragma once

#include <string>

#include "sim/scenario/scenario.h"

// Puts them in their places, beside the host's own programs. Throws std::system_error.
void make_stand_ins();

// Puts one more in its place, or changes how it ends. What went wrong, empty on success.
std::string apply(const install_program &what);

// True when this process was started as a stand-in: it must only play it and end with its exit status.
bool is_stand_in(const std::string &started_as);
int play_stand_in(int argc, char **argv);
