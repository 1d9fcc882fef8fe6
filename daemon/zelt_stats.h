// The whole daemon behind its process entry.
#pragma once

// Starts up, runs the main loop until a stop signal, and returns the exit status, which is always 0.
int zelt_stats(int argc, char **argv);
