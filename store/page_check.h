// Whether the bytes of a database are what LMDB takes for granted. LMDB believes its file: a damaged page number,
// offset or length in it makes LMDB read or write anywhere. So the file is read here first, with pread() into memory of
// our own and with every bound looked at, and LMDB gets to see only what LMDB itself can have written. Knows the layout
// of LMDB 0.9's files in this machine's word size; knows no key. Never logs, writes, or waits for a lock.
//
// How an environment uses it:
//   1. check_file_head() and check_lock_file() before mdb_env_open();
//   2. check_commit() as the first thing in a transaction, before mdb_dbi_open(): a reader's keeps writers from using
//      the pages of its commit again, a writer's keeps other writers out;
//   3. again when somebody else has written since. What LMDB wrote in this process needs no second look.
// What changes the file between the check and the use is left to fault_guard.
//
// Results are 0, MDB_INVALID or MDB_VERSION_MISMATCH (no database of this machine's LMDB), MDB_CORRUPTED (it was one),
// or the errno of a failed pread() or fstat().
#pragma once

#include <cstddef>

// write: also the list of free pages, from which a writer takes those that it writes.
enum class page_use { read, write };

// Of data.mdb, opened by anybody: the two pages at its beginning, of which LMDB takes the sizes of everything. ENOENT
// while the file is empty, as one is that a writer has just made. Needs no lock.
int check_file_head(int fd);

// Of data.mdb, from mdb_env_get_fd(): every page that this commit reaches, each once; of long values, that their pages
// are there. Takes a pread() a page, 10 or so for a router's keys.
//   a reader:  check_commit(fd, mdb_txn_id(txn), page_use::read)
//   a writer:  check_commit(fd, mdb_txn_id(txn) - 1, page_use::write)
// EAGAIN: other commits took this one's place at the beginning of the file before it was looked at, which takes two of
// them. Nothing is wrong; begin the transaction anew. Does not happen to a writer.
int check_commit(int fd, std::size_t commit, page_use use);

// Of lock.mdb: that LMDB made it and that its locks are such as can be waited for. An empty or short file that nobody
// has open is one that LMDB fills. Only before the environment is open: closing any descriptor of this file takes away
// the locks that LMDB has on it in this process.
int check_lock_file(int fd);

// Of a mapping of lock.mdb while the environment is open, which has no file to read from: the same. SYSDB_FAULT when
// the file was cut short.
int check_locks_in_use(const void *lock_file, std::size_t file_bytes);
