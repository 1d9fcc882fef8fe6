// Stand-ins for the router's commands: each tells the box how it was called, and succeeds. One program plays them all,
// by the name under which it is started. The call goes through the system log's socket, so that calls and log lines
// keep their order.
#pragma once

#include <string>

// Puts them in their places, beside the host's own programs. Throws std::system_error.
void make_stand_ins();

// True when this process was started as a stand-in: it must only report its call and end.
bool is_stand_in(const std::string &started_as);
int report_call(int argc, char **argv);
