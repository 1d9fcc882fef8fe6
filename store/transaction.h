// One transaction on an environment: typed values of one named database at a time. Never logs; beginning to write waits
// for another writer to end, but not beyond what store/writer_wait.h says of a program that stops. Results are those of
// the environment.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "store/environment.h"

class sysdb_transaction {
public:
    sysdb_transaction() = default;
    ~sysdb_transaction() { drop(); }
    sysdb_transaction(const sysdb_transaction &) = delete;
    sysdb_transaction &operator=(const sysdb_transaction &) = delete;

    // Of an environment that was opened once, and that outlives the transaction. Opens it anew where the folder was
    // made anew, where it was open only to read and this one writes, and in the child of a fork. Frees the reader slots
    // of processes that were killed. Where somebody else has written since the last time, all that the commit reaches
    // is looked at before LMDB sees it: a read of each of its pages, 10 or so for a router's keys. EBUSY while this
    // transaction is open. Texts may be null: refused like empty ones and those over 511 bytes.
    int begin(sysdb_environment &environment, const char *named_database, sysdb_access access);

    // The same of no named database: use() or named_databases() is what may come next.
    int begin_unnamed(sysdb_environment &environment, sysdb_access access);
    bool is_open() const { return txn_ != nullptr; }

    // Of an open transaction: from here on it reads and writes another named database, as of the same commit. On a
    // failure the one of before stays.
    int use(const char *named_database, sysdb_access access);

    // In the order of their bytes. What another program keeps beside them is left out. Then use() has to come next.
    int named_databases(std::vector<std::string> *names);

    // What change_counter() said when what is read here was committed. Also known when begin() met no such named
    // database. The counter may be ahead: a commit shows there a moment before it can be read.
    std::size_t commit_read() const { return commit_read_; }

    // Ends the transaction whatever the result.
    int commit();
    void drop();

    // After SYSDB_FAULT the transaction is over.
    int put(const char *key, const sysdb_value &value);
    int put_if_new(const char *key, const sysdb_value &value);    // nothing is written where that value is stored
    int put_bytes(std::string_view key, std::string_view value);  // of a foreign form too
    int remove(const char *key);                                  // SYSDB_MISSING when there is no such key
    int get(const char *key, sysdb_value *value);

    // Every key but those with a foreign value, whose names are set apart.
    int list(sysdb_values *values, std::vector<std::string> *foreign_keys);

private:
    int begin_latest(sysdb_access access);
    int check_key(const char *key) const;
    int copy_out(const void *bytes, std::size_t size, std::string *copy);
    void end_after_fault();
    template <typename Call>
    int guarded(Call call);
    template <typename Visit>
    int for_each(Visit visit);

    sysdb_environment *environment_ = nullptr;
    MDB_txn *txn_ = nullptr;
    std::size_t commit_read_ = 0;
    unsigned int database_ = 0;
    bool writes_ = false;
};
