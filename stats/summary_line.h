// The one-line radio summary for people, built from what the database holds at that moment.
#pragma once

// Reads the summary's keys back from "CELL" and "GPIO", joins its 29 fields and stores the line as "CELL_RSSIMON". A
// database that cannot be opened leaves the values of the last reading in place; a key that cannot be read leaves its
// field empty. Logs only an exception.
void update_rssimon_sysdb_values();
