// Utility functions of the device: files, texts, network interfaces, commands and time. Nothing here logs.
//
// Known of the device's library: the names, the arguments and what each comment says.
// Assumed by this project: what is marked so.
#pragma once

#include <cstdint>

// --- Files. Results: 0 on success; the daemon ignores them (assumed). A new file is readable by all and writable by
// its owner, whatever the umask; one that exists keeps its mode (assumed). ---

// The file holds the process id in decimal and replaces an older one. But while the process that an older one names
// runs the same program, that file stays, also from this process's delete_file; the result is non-zero, and the library
// says on standard error that two are running (assumed). It stops nobody: the caller goes on.
int create_pidfile(const char *path);

int create_empty_file(const char *path);  // an existing file is left as it is (assumed)
int delete_file(const char *path);        // a missing file is not an error
bool file_exists(const char *path);
int write_str_to_file(const char *path, const char *text);  // creates or replaces; adds no newline

// --- Texts, changed in place. ---

// strtok_r, except that two delimiters in a row yield an empty field instead of being merged, so that field
// numbers stay aligned with the delimiters' positions. A leading delimiter yields an empty first field; null when
// nothing is left, so a trailing delimiter opens no field (assumed).
char *strtok_consecutive_r(char *text, const char *delimiters, char **state);

// Removes every character that lies in none of the inclusive ranges; `ranges` holds range_count pairs (low, high)
// and need not end with NUL.
void strip_not_in_range_list(char *text, const char *ranges, unsigned int range_count);

// --- Network. IPv4 texts are dotted quads; their buffers hold 16 bytes. ---

// Prefix length 0 to 32; -1 for a text that is no mask, the empty one included (assumed).
int netmask_to_cidr(const char *mask);

// Writes the broadcast address; an empty text when either input is no address (assumed).
void calculate_bcast_from_ipv4_and_mask(const char *ipv4, const char *mask, char *broadcast);

// 0 when the interface has an IPv4 address, which is then written into ip; otherwise ip is left as it was (assumed).
int check_interface_ip(const char *interface_name, char *ip);

// Set the administrative state, also to what it is. 0 on success, otherwise an errno value: ENODEV when there is no
// such interface (assumed).
int ip_link_set_interface_down(const char *interface_name);
int ip_link_set_interface_up(const char *interface_name);

// --- Commands and time. ---

// Formats a command line in the manner of printf, runs it through the shell, waits for its end and returns its exit
// status: 0 = success, 127 = the shell found no such command or could not be run, 128 + n = ended by signal n
// (assumed). The line may have any length.
// After stop_libzelt_funcs() all commands together have 3 s. One that has not ended by then is left running, and no
// other is started: 127 (assumed).
int brelsys(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Whole seconds of a clock that never steps back, since boot. The argument is always 0 (assumed: reserved).
std::uint32_t fwtime_s(int reserved);
