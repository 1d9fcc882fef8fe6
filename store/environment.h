// Named databases of typed keys in one folder, kept in one LMDB environment: what the platform functions and the tools
// share. Knows LMDB; knows no key. Never logs. Bytes in the folder that LMDB did not write are a fault, never a crash:
// page_check looks at them before LMDB does, fault_guard holds what changes in between.
//
// The environment is the folder /run/sysdb, or the one that SYSDB_DIR names. Each named database is an LMDB database of
// that name without flags; store/value_bytes.h tells the form of a value.
//
// Results are 0, an errno (positive), an LMDB code (negative), SYSDB_FOREIGN_VALUE or SYSDB_FAULT. An output is only
// set on 0. For one thread. An environment may be open once in a process, with one transaction on it at a time: LMDB's
// own rules. After fork() it is the parent's; the child opens its own with its first transaction.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

#include "store/database_files.h"
#include "store/fault_guard.h"
#include "store/value_bytes.h"

struct MDB_env;
struct MDB_txn;

// The value has an unknown type byte or a length that its type cannot have. Outside both ranges of codes.
inline constexpr int SYSDB_FOREIGN_VALUE = -1;

// A key or a named database that is not there; a transaction in which an earlier write failed. LMDB's codes.
inline constexpr int SYSDB_MISSING = -30798;
inline constexpr int SYSDB_BROKEN_TRANSACTION = -30782;

// No room for a write: too much is stored, or a slow reader keeps the pages of its time. LMDB's code.
inline constexpr int SYSDB_FULL = -30792;

// Of a key or a named database, in bytes: LMDB's limit as it is built everywhere.
inline constexpr std::size_t SYSDB_LONGEST_NAME = 511;

// modify: writes, but makes neither the folder nor a named database.
enum class sysdb_access { read, modify, create };

std::string sysdb_folder();

// What went wrong and what to do about it, for people: "/run/sysdb: ..." without a line feed.
std::string sysdb_problem(const std::string &folder, int result);

// Nothing was ever written there, in difference to a fault.
bool sysdb_is_absent(int result);

// The bytes in the folder are not what LMDB wrote.
bool sysdb_is_damaged(int result);

class sysdb_environment {
public:
    sysdb_environment() = default;
    ~sysdb_environment() { close(); }
    sysdb_environment(const sysdb_environment &) = delete;
    sysdb_environment &operator=(const sysdb_environment &) = delete;

    // Meant to stay open: what is open for this folder and access already is kept, without a look at the file system.
    // Whether its files are still those that the folder names is looked at with each transaction's begin().
    int open(const std::string &folder, sysdb_access access);
    void close();
    bool is_open() const { return env_ != nullptr; }

    // How often the files were opened: behind another value they may be others.
    unsigned int opens() const { return opens_; }

    // Of an open environment: who reads a commit that is not the last one. Its pages, and those that were set free
    // since, cannot be written to.
    std::vector<pid_t> slow_readers() const;

    // Grows by one with each committed transaction that wrote something; 0 where it cannot be read. Cheap: no lock, no
    // transaction.
    std::size_t change_counter() const;

    // The folder or a file in it was removed or made anew since the last open(), which may be closed again: what was
    // opened has no name any more. Also before the first open().
    bool is_stale() const;

private:
    friend class sysdb_transaction;

    // What a look at the files found, with what was looked at.
    struct soundness {
        std::size_t commit = 0;
        bool is_for_writing = false;
        file_state file;
    };

    bool serves(const std::string &folder, sysdb_access access) const;
    bool is_young() const;
    int open_once(sysdb_access access);
    void map_locks();
    int check_locks() const;
    bool is_another(const struct stat &data_file) const;
    int check(std::size_t commit, bool to_write);
    bool is_untouched() const;  // since the last look
    void note_own_commit(std::size_t commit);
    void abandon();
    bool has_lost_lock() const;

    MDB_env *env_ = nullptr;
    std::string folder_;
    std::string data_file_;  // in it: kept, since every transaction looks at both
    std::string lock_file_;
    sysdb_access access_ = sysdb_access::read;
    unsigned int forks_ = 0;  // of this process when it was opened
    unsigned int opens_ = 0;
    void *locks_ = nullptr;  // the beginning of the lock file, to read
    int data_fd_ = -1;       // LMDB's
    file_identity data_;
    file_identity lock_;
    soundness sound_;
};
