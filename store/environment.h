// Typed values in named databases, kept in one LMDB environment: what the platform functions and the tools share.
// Knows LMDB and the form of a value; knows no key. Never logs; beginning to write waits for another writer to end.
//
// The environment is the folder /run/sysdb, or the one that SYSDB_DIR names. Each named database is an LMDB database of
// that name without flags. A value is one byte for its type and the payload, little endian:
//   'i' + 4 bytes, two's complement      'r' + 8 bytes, IEEE double      's' + the bytes of the text, without a NUL
//
// Results are 0, an errno (positive), an LMDB code (negative), or SYSDB_FOREIGN_VALUE. An output is only set on 0.
// For one thread. An environment may be open once in a process, with one transaction on it at a time: LMDB's own rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

struct MDB_env;
struct MDB_txn;

using sysdb_value = std::variant<std::int32_t, double, std::string>;

// In the order of the keys' bytes, which is LMDB's order too.
using sysdb_values = std::map<std::string, sysdb_value>;

// The value has an unknown type byte or a length that its type cannot have. Outside both ranges of codes.
inline constexpr int SYSDB_FOREIGN_VALUE = -1;

// A key or a named database that is not there; a transaction in which an earlier write failed. LMDB's codes.
inline constexpr int SYSDB_MISSING = -30798;
inline constexpr int SYSDB_BROKEN_TRANSACTION = -30782;

// Of a key or a named database, in bytes: LMDB's limit as it is built everywhere.
inline constexpr std::size_t SYSDB_LONGEST_NAME = 511;

// modify: writes, but makes neither the folder nor a named database.
enum class sysdb_access { read, modify, create };

std::string sysdb_folder();

// What went wrong and what to do about it, for people: "/run/sysdb: ..." without a line feed.
std::string sysdb_problem(const std::string &folder, int result);

// Nothing was ever written there, in difference to a fault.
bool sysdb_is_absent(int result);

class sysdb_environment {
public:
    sysdb_environment() = default;
    ~sysdb_environment() { close(); }
    sysdb_environment(const sysdb_environment &) = delete;
    sysdb_environment &operator=(const sysdb_environment &) = delete;

    // Also frees the reader slots of processes that were killed.
    int open(const std::string &folder, sysdb_access access);
    void close();
    bool is_open() const { return env_ != nullptr; }

    // In the order of their bytes. What another program keeps beside them is left out.
    int named_databases(std::vector<std::string> *names) const;

    // Grows by one with each committed transaction that wrote something. Cheap: no lock, no transaction.
    std::size_t change_counter() const;

    // The folder was removed or made anew since the last open(), which may be closed again: what was opened has no name
    // any more. Also before the first open().
    bool is_stale() const;

private:
    friend class sysdb_transaction;

    MDB_env *env_ = nullptr;
    std::string data_file_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

class sysdb_transaction {
public:
    sysdb_transaction() = default;
    ~sysdb_transaction() { drop(); }
    sysdb_transaction(const sysdb_transaction &) = delete;
    sysdb_transaction &operator=(const sysdb_transaction &) = delete;

    // EBUSY while this transaction is open. Texts may be null: refused like empty ones and those over 511 bytes.
    int begin(const sysdb_environment &environment, const char *named_database, sysdb_access access);
    bool is_open() const { return txn_ != nullptr; }

    // Of an open transaction: from here on it reads and writes another named database, as of the same commit. On a
    // failure the one of before stays.
    int use(const char *named_database, sysdb_access access);

    // What change_counter() said when what is read here was committed. Also known when begin() met no such named
    // database. The counter may be ahead: a commit shows there a moment before it can be read.
    std::size_t commit_read() const { return commit_read_; }

    // Ends the transaction whatever the result.
    int commit();
    void drop();

    int put(const char *key, const sysdb_value &value);
    int remove(const char *key);  // SYSDB_MISSING when there is no such key
    int get(const char *key, sysdb_value *value) const;

    // Every key but those with a foreign value, whose names are set apart.
    int list(sysdb_values *values, std::vector<std::string> *foreign_keys) const;

private:
    MDB_txn *txn_ = nullptr;
    std::size_t commit_read_ = 0;
    unsigned int database_ = 0;
};
