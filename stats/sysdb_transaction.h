// One transaction on a named database, with a session of its own. Silent; a writer waits while another program writes.
#pragma once

#include "platform/sysdb.h"

// Opens a session, runs body(handle) inside one transaction and commits it. True when everything was committed; false
// when the database could not be opened or committed. The session is closed in every case, an exception included.
template <typename Body>
bool in_sysdb_transaction(const char *named_database, int flags, Body body) {
    sysdb_handle handle{};
    if (sysdb_init(&handle, flags) != 0) {
        return false;
    }
    bool committed = false;
    try {
        if (sysdb_txn_start(&handle, named_database, flags) == 0) {
            body(&handle);
            committed = sysdb_txn_end(&handle) == 0;
        }
    } catch (...) {
        sysdb_exit(&handle);
        throw;
    }
    sysdb_exit(&handle);  // not by a destructor: what it throws belongs into the caller's log
    return committed;
}
