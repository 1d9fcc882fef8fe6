// Follows one named database: through the commits of other programs, and when its folder comes, goes or is made anew.
// Never logs, never writes a value, never waits. For one thread; no other environment may be open in the process.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "posix/descriptor.h"
#include "store/environment.h"

class sysdb_transaction;

// What to give to poll(): the descriptor becomes readable when there may be something new; without one it is -1, which
// poll() passes over. Behind at_most_ms (-1: no limit) it is time for a look in any case.
struct sysdb_wait {
    int fd;
    int at_most_ms;
};

class sysdb_reader {
public:
    // beside: a second named database that is read along; empty: none.
    sysdb_reader(std::string folder, std::string named_database, std::string beside = "")
        : folder_(std::move(folder)), named_database_(std::move(named_database)), beside_(std::move(beside)) {}

    // All keys as of one commit, the names of those with a foreign value set apart. Results are those of the
    // environment: sysdb_is_absent() tells whether there is just nothing yet. An output is only set on 0.
    int list(sysdb_values *values, std::vector<std::string> *foreign_keys);

    // What the second database held at the same commit; empty while there is none.
    const sysdb_values &values_beside() const { return values_beside_; }

    // Whether list() could tell something else than the last time; always, while there is no database. Takes away what
    // made the descriptor readable.
    bool has_changed();

    // To be asked behind each list(). While nothing happens to the database nobody is woken: the kernel tells of each
    // write to its file and of the names in its folder, or in the folder above while it is missing. Where the kernel
    // cannot, and while the database is faulty, a look is due every 2 s.
    sysdb_wait wait() const;

    // How often list() met another state of the database than before.
    std::size_t changes() const { return changes_; }

    // Before this process opens the environment itself. list() opens it again.
    void close() { environment_.close(); }

private:
    bool watch_folder() const;
    bool watch_files();
    int open_latest();
    int read(sysdb_values *values, std::vector<std::string> *foreign_keys);
    void read_beside(sysdb_transaction &transaction);
    bool is_outdated() const;

    std::string folder_;
    std::string named_database_;
    std::string beside_;
    sysdb_values values_beside_;
    sysdb_environment environment_;
    std::size_t commit_read_ = 0;
    std::size_t changes_ = 0;
    descriptor notices_;
    bool is_watching_ = false;  // notices_ tells whatever may happen to the database
    bool is_readable_ = false;  // it, or its absence, could be read the last time
    bool is_shaken_ = false;    // a file came, went or got another name since then
};
