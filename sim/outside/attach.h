// A further program in a box that runs already.
#pragma once

#include <string>
#include <vector>

// Joins the box of the process `box`, or the only one of this user when that is 0, and runs the command in it, or a
// shell when there is none. Its exit status; EXIT_NO_BOX with a message on standard error. Ending the command leaves
// the box alone; the end of the box ends the command.
int attach_to_box(int box, const std::vector<std::string> &command);
