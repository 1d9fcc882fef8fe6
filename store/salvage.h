// What can still be read of a data file that LMDB must not see any more. Reads the pages with pread(), each at most
// once, and leaves out what does not fit. Knows the layout of LMDB 0.9's files; knows no key. Never logs, writes or
// waits.
#pragma once

#include <map>
#include <string>

// By named database: each key with the bytes of its value.
using sysdb_salvage = std::map<std::string, std::map<std::string, std::string>>;

// Of plain databases. The last commit counts; where something of it is missing, the one before fills in. The file must
// not be written meanwhile, or what is found may be of several commits. Nothing when it cannot be opened.
sysdb_salvage salvage_database(const std::string &data_file);
