// What becomes of a call of the system that failed. Never logs.
#pragma once

#include <string>

// Throws std::system_error, of errno and with `what` in front, unless all is fine.
void throw_unless(bool fine, const std::string &what);
