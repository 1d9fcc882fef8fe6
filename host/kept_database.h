// The database of this process's sessions: stays open between them, and is made anew when it is damaged, or full
// because somebody reads and does not end. What this process has written is there again then, and also where its folder
// was removed; a write whose value is there already takes no commit. Tells standard error of each renewal once. Waits
// as a transaction does. Results are those of store/environment.h.
#pragma once

#include <string>
#include <vector>

#include "host/own_writes.h"
#include "store/transaction.h"

class kept_database {
public:
    const std::string &folder() const { return folder_; }

    // Another folder is another database, into which nothing of the one before comes.
    int open(const std::string &folder, sysdb_access access);
    void close() { environment_.close(); }

    // How often it was opened: behind another value it may be another one.
    unsigned int opens() const { return environment_.opens(); }

    int begin(const char *named_database, sysdb_access access);
    int commit();
    void drop();

    // In the open transaction.
    int put(const char *key, const sysdb_value &value);
    int remove(const char *key);
    int get(const char *key, sysdb_value *value) { return transaction_.get(key, value); }

    // Into another named database of the same commit: not remembered. Nothing of it may follow but commit().
    int use_beside(const char *named_database) { return transaction_.use(named_database, sysdb_access::create); }
    int put_beside(const char *key, const sysdb_value &value);
    int remove_beside(const char *key) { return transaction_.remove(key); }

private:
    template <typename Operation>
    int attempt(Operation operation);
    bool renew(int result);
    int resume();
    void bring_back();

    sysdb_environment environment_;
    sysdb_transaction transaction_;
    own_writes own_;
    std::string folder_;
    std::string named_database_;  // of the transaction, or the last one
    bool writes_ = false;         // the transaction
    unsigned int at_home_ = 0;    // environment_.opens() when all that is our own was there
};
