// The stop signals.
#pragma once

// SIGTERM, SIGQUIT and SIGINT stop the daemon: one log line, then the run flag, then the module library's operations.
// Async-signal-safe.
void on_signal(int signal_number);

void install_signal_handler();
