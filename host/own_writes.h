// What this process has written to the system database and not deleted since: so that it can be there again in a
// database made anew. The daemon publishes what changed, and would leave the rest out. Never logs, never blocks.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/renewal.h"

struct own_write {
    std::string key;
    std::optional<sysdb_value> value;  // nothing: deleted
};

class own_writes {
public:
    // In the transaction that is open, on this named database. Null: deleted. What is committed already is not kept
    // twice.
    void note(const std::string &named_database, std::string_view key, const sysdb_value *value);
    const std::vector<own_write> &pending() const { return pending_; }

    // The end of that transaction.
    void commit(const std::string &named_database);
    void drop() { pending_.clear(); }

    // Of all committed transactions; nothing any more.
    const sysdb_databases &committed() const { return committed_; }
    void forget() { committed_.clear(); }

private:
    bool is_committed(const std::string &named_database, std::string_view key, const sysdb_value *value) const;

    sysdb_databases committed_;
    std::vector<own_write> pending_;
};
