// The process-wide stop of the host's waiting operations, set once by stop_libzelt_funcs() and never taken back.
// Knows nothing of what waits for it. Never logs, never blocks.
#pragma once

// For poll(): readable (POLLIN) once the stop was requested. Nobody reads from it or closes it. -1 when the system had
// no descriptor left at start; stop_requested() then still answers.
int stop_descriptor();

bool stop_requested();
