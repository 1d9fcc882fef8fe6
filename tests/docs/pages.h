// The commands that a page tells its readers to type.
#pragma once

#include <string>
#include <vector>

// As written, without their comments: the lines of `sh` blocks, the lines behind "$ " of `console` blocks, and spans
// between backticks that begin with one of our programs or one that builds or tests them, and say more than its name.
std::vector<std::string> commands_in(const std::string &markdown);
