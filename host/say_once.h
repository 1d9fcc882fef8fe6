// Messages for whoever started the daemon. It meets the same fault in every cycle; standard error gets it once.
#pragma once

#include <string>

// Writes the message as a line to standard error, unless this process has said the same before.
void say_once(const std::string &message);
