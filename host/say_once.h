// Messages for whoever started the daemon, on standard error. Control characters in them are escaped: they hold what
// others have written. A message is lost rather than waited for: standard error may be a pipe that nobody reads.
#pragma once

#include <string>

// Writes the message as a line, cut to what a pipe takes at once (4 kB).
void say(const std::string &message);

// The same, unless this process has said it before: the daemon meets the same fault in every cycle.
void say_once(const std::string &message);
