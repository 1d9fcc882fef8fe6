// One AT command and its answer, in a port session of its own: open, exchange, close. What an answer means is the
// caller's; silent. Blocks on the port's lock without limit, then on the module until it has answered or the library
// gives up; a stop ends both. What the library throws passes through, with the session closed.
#pragma once

#include <optional>
#include <span>

// The answer line that begins with `prefix` ("+CSQ:"). Nothing when the port could not be opened; otherwise the
// library's result: SER_PORT_CLOSED, SER_LINE_FOUND with the line in `answer`, or another value without it.
std::optional<unsigned int> exchange_for_line(const char *command, const char *prefix, std::span<char> answer);

// All lines of the answer. Nothing when the port could not be opened; otherwise the library's result: a completed
// answer up to SER_ANSWER_COMPLETE_MAX, a failed exchange above it.
std::optional<unsigned int> exchange_for_all_lines(const char *command, std::span<char> answer);
