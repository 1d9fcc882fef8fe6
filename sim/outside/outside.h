// The half of zelt-sim that people start.
#pragma once

#include <string>
#include <vector>

// Carries out the command line behind the program's name; the exit status. Playing waits for the end of the box.
// Throws scenario_error and request_error.
int outside(const std::vector<std::string> &words);
