// Whose pid file it is. Never logs.
#pragma once

// True for a pid file that create_pidfile() left to another running instance of this program, as long as that one runs.
bool is_left_to_another_instance(const char *path);
