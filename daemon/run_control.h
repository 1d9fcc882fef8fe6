// Run control: other programs pause the daemon or make it clear what it published, by marker files under "/tmp".
#pragma once

// Resets the link, the in-memory link state and the published values. Catches nothing: its callers do.
void clear_values();

// Clears when another program asked for it, or when forced. Catches and logs its own exceptions.
void check_if_need_to_clear_values(bool force);

// Returns at once while the daemon may run; blocks while it is paused, until it may run again or is stopping. Values
// are cleared once on entering the pause, and again on request. Catches and logs its own exceptions.
void chk_idle_blocking();
