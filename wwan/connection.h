// Whether the cellular link is up, and the log of its changes. The link counts as up while "wwan0" holds an IPv4
// address. Every operation catches and logs its own exceptions.
#pragma once

// 1 while the link was up at the last check, else 0. Clearing sets it to 0.
inline int cell_connected = 0;

// A connect event was logged; the AT query cycle takes it back and asks for operator and subscriber at once.
inline bool cell_new_connection = false;

// Tests the interface, publishes "CELL_CONNECTED" and updates the event log.
void check_connection();

// Logs one line when cell_connected has changed since the last event, with the minutes spent in the previous state, and
// keeps the time of the change in a file that outlives the daemon. The first call always logs.
void update_event_log();

// The time file, in seconds of fwtime_s(). Reading: 0, or -1 with *t left as it was when the file cannot be opened or
// does not begin with a number. Writing: 0, or -1 when it cannot be opened; what a full disk takes away goes unnoticed.
// What is no regular file, or has a second name, counts as one that cannot be opened; so does an exception.
int read_last_connect_change_time(unsigned int *t);
int write_last_connect_change_time(unsigned int t);
