// One transaction on a named database, with a session of its own. Silent; a writer waits while another program writes.
#pragma once

#include "platform/sysdb.h"

// Opens a session, runs body(handle) inside one transaction and commits it. True when everything was committed; false
// when the database could not be opened or committed. The session is closed in every case, an exception included.
template <typename Body>
bool in_sysdb_transaction(const char *named_database, int flags, Body body) {
    struct session {
        explicit session(int open_flags) : open(sysdb_init(&handle, open_flags) == 0) {}
        session(const session &) = delete;
        session &operator=(const session &) = delete;
        ~session() {
            if (open) {
                sysdb_exit(&handle);
            }
        }
        sysdb_handle handle{};
        bool open;
    };
    session current(flags);
    if (!current.open || sysdb_txn_start(&current.handle, named_database, flags) != 0) {
        return false;
    }
    body(&current.handle);
    return sysdb_txn_end(&current.handle) == 0;
}
