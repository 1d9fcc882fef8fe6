// A further program in a box that runs already.
#pragma once

#include <string>
#include <vector>

// Joins the box of the process `box`, or the only one of this user when that is 0, and runs the command in it, or a
// shell when there is none. Then ends this process with the command's exit status, or with EXIT_NO_BOX and a message.
// The end of the command leaves the box alone, the end of the box ends the command. Throws request_error when there is
// no box to join.
[[noreturn]] void attach_to_box(int box, const std::vector<std::string> &command);
