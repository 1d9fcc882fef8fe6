// What every program with the host begins with, before its main and its own objects, whatever its parent ignored or
// blocked: the end of a child can be heard, no signal is blocked, and a broken pipe is an error of the write. Never
// logs, never blocks.
#pragma once

// Writing to a pipe or a socket that nobody reads is an error then and ends nobody. Done at the start, and again after
// a library that ignores the signal: what is ignored would be inherited by every program that is started; what is
// caught is not.
void catch_broken_pipes();
