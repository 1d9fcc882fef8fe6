// A new database in the place of one that cannot be gone on with. Knows folders, files and transactions; knows no key.
// Never logs; waits for another process that does the same.
#pragma once

#include <map>
#include <string>

#include "store/environment.h"

// By their names.
using sysdb_databases = std::map<std::string, sysdb_values>;

// damaged: the file stays as data.mdb.damaged. held: by readers whose old commits take all of its room; they keep it as
// long as they live, and nobody else.
enum class renewal_reason { damaged, held };

// All that can still be read of the old database goes into the new one, then what `own` holds. Others see the old one
// or the new one with all of that. EALREADY: another process was quicker, and the one that is there now can be gone on
// with. The environment is closed behind it. On a failure everything is as it was.
int renew_database(const std::string &folder, sysdb_environment &environment, renewal_reason reason,
                   const sysdb_databases &own);
