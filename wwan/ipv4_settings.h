// The IPv4 settings of the data connection: from the QMI tool's text to run-time files under "/var/run" and "CELL"
// keys. Runs no command, and knows of modules only that one of them has an MTU of its own. The handlers catch and log
// their own exceptions.
#pragma once

#include <json/value.h>

#include "platform/module_access.h"

// Empty while there is none, or it was invalid. An answer without the label leaves them as they were; clearing empties
// them.
inline char wwan_ipv4[16] = "";
inline char wwan_netmask[16] = "";
inline char wwan_bcast[16] = "";

// Withdraws the files and keys of the last answer ("wwan_cidr", "wwan_intf" and CELL_BCAST stay), then calls the
// handler of each label found. The first line with a label wins. Splits the text in place.
void parse_ipv4_info(char *text, const Json::Value &config, module_model model);

// One per label; `line` begins at the label, the value is the rest of the line as it stands.
void parse_ipv4(const char *line);
void parse_mask(const char *line);
void parse_gateway(const char *line);
void parse_mtu(const char *line, const Json::Value &config, module_model model);
void parse_dns1(const char *line);
void parse_dns2(const char *line);

// A value shorter than the shortest dotted quad empties dest and the file and deletes the key; a longer one is cut to
// size - 1 characters.
void parse_ipv4_type_string(const char *value, const char *key, const char *path, char *dest, int size);

// An empty value empties the file and deletes the key; any other is stored whole.
void parse_dns_type_string(const char *value, const char *key, const char *path);

// Fills wwan_bcast and publishes it as "CELL_BCAST".
void calculate_bcast_and_save_to_sysdb(const char *ipv4, const char *mask);

void delete_wwan_files();
void delete_wwan_sysdb_keys();
