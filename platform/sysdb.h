// The system database: named databases of typed keys, shared by every program of the router.
//
// Nothing here writes to the system log; beginning to write may wait for another program's write transaction to end.
// Texts are NUL-terminated and copied by the library: no pointer is kept after a call returns.
//
// Known of the device's library: the names, the order of the arguments, 0 = success where a result is
// tested (sysdb_init, sysdb_txn_start, the reads), and that a reader passes SYSDB_READ_ONLY twice.
// Assumed by this project: the layout of the handle, that the results of the other calls are 0 = success too, that a
// key keeps the type with which it was last written, and that a call which cannot be served (outside of a transaction,
// a write in one that only reads, a key of the wrong length) fails alone and changes nothing.
#pragma once

// Flag of sysdb_init and sysdb_txn_start for a session that only reads; 0 opens for writing.
inline constexpr int SYSDB_READ_ONLY = 0x20000;

// One session. Lives on the caller's stack for the span of one transaction; needs no initialisation before
// sysdb_init and is dead after sysdb_exit. The members belong to the library.
struct sysdb_handle {
    void *session;
    void *transaction;
    unsigned int database;
    int flags;
};

// Opens a session. 0 on success; on failure the handle must not be used, sysdb_exit included. A reader may be refused
// already here while nothing was ever written, and a writer inside of a session that only reads (assumed).
int sysdb_init(sysdb_handle *handle, int flags);

// Closes the session; a transaction that was not ended is dropped with all its writes.
void sysdb_exit(sysdb_handle *handle);

// Starts a transaction on one named database. 0 on success; on failure only sysdb_exit may follow. One at a time in a
// process: another one, of whatever session, is refused until this one ends.
// A writing transaction creates the named database when it is missing, a reading one fails.
int sysdb_txn_start(sysdb_handle *handle, const char *named_database, int flags);

// Commits the transaction: other programs see all of its writes at once, or none when it fails (non-zero), for
// example because one of them did not fit. The transaction is over in either case.
int sysdb_txn_end(sysdb_handle *handle);

// Write or delete one key, of 1 to 511 bytes, inside the open transaction. Deleting a missing key is harmless. The
// flags are always 0 (assumed: reserved).
int sysdb_write_int(sysdb_handle *handle, const char *key, int value, int flags);
int sysdb_write_dbl(sysdb_handle *handle, const char *key, double value, int flags);
int sysdb_write_str(sysdb_handle *handle, const char *key, const char *value, int flags);
int sysdb_del(sysdb_handle *handle, const char *key);

// Read one key inside the open transaction. 0 on success; on failure the output is left as it was.
// sysdb_read_int of a real key yields its integer part (assumed), unless an int cannot hold it; sysdb_read_dbl of an
// integer key yields its value; any other mismatch of types is a failure.
// sysdb_read_str cuts to size - 1 characters and always ends the text with NUL; a size of 0 is a failure (assumed).
int sysdb_read_int(sysdb_handle *handle, const char *key, int *value);
int sysdb_read_dbl(sysdb_handle *handle, const char *key, double *value);
int sysdb_read_str(sysdb_handle *handle, const char *key, char *buffer, unsigned int size);

// One key in a transaction of its own, committed on return; refused while another one is open. The daemon passes a null
// handle and flags 0.
int sysdb_namedb_write_int(sysdb_handle *handle, const char *named_database, const char *key, int value, int flags);
int sysdb_namedb_write_str(sysdb_handle *handle, const char *named_database, const char *key, const char *value,
                           int flags);
int sysdb_namedb_del(sysdb_handle *handle, const char *named_database, const char *key);
