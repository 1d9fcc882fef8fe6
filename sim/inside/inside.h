// The half of zelt-sim that the other one starts in the box: makes the router's surroundings, and plays.
#pragma once

#include <string>
#include <vector>

// `words`: of a request. The exit status. Throws scenario_error and request_error.
int inside(const std::vector<std::string> &words);
