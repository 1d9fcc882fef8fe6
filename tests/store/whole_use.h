// Everything that the programs do with a database, straight through LMDB: check it, read all of it, write to it. Each
// call of LMDB stands under the guard, so that a test can tell a check that let something through.
#pragma once

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <lmdb.h>

#include "posix/descriptor.h"
#include "store/fault_guard.h"
#include "store/page_check.h"

namespace whole_use {

constexpr std::size_t MAP_BYTES = std::size_t{4} * 1024 * 1024;

// Open until the object ends, but abandoned after a fault in a transaction that writes.
class environment {
public:
    explicit environment(const std::string &folder, unsigned int flags = 0) {
        mdb_env_create(&env_);
        mdb_env_set_assert(env_, leave_at_assertion);
        mdb_env_set_maxdbs(env_, 32);
        mdb_env_set_mapsize(env_, MAP_BYTES);
        result_ =
            guarded_call([&] { return mdb_env_open(env_, folder.c_str(), flags | MDB_NOSYNC | MDB_NOTLS, 0600); });
        if (result_ == 0) {
            mdb_env_get_fd(env_, &fd_);
        }
    }
    ~environment() {
        if (!is_abandoned_) {
            guarded_call([&] {
                mdb_env_close(env_);
                return 0;
            });
        }
    }
    environment(const environment &) = delete;
    environment &operator=(const environment &) = delete;

    int result() const { return result_; }
    int fd() const { return fd_; }
    MDB_env *get() const { return env_; }
    void abandon() { is_abandoned_ = true; }

private:
    MDB_env *env_ = nullptr;
    int result_ = 0;
    int fd_ = -1;
    bool is_abandoned_ = false;
};

inline void abort(MDB_txn *txn) {
    guarded_call([&] {
        mdb_txn_abort(txn);
        return 0;
    });
}

using pairs = std::vector<std::pair<std::string, std::string>>;

inline int copy(const MDB_val &from, std::string *to) {
    to->assign(std::min(from.mv_size, MAP_BYTES), '\0');
    return guarded_copy(to->data(), from.mv_data, to->size());
}

// All of one database of the transaction, or as far as it goes.
inline int read_database(MDB_txn *txn, MDB_dbi database, pairs *found) {
    MDB_cursor *cursor = nullptr;
    int result = guarded_call([&] { return mdb_cursor_open(txn, database, &cursor); });
    if (result != 0) {
        return result;
    }
    MDB_val key = {};
    MDB_val value = {};
    for (std::size_t most = MAP_BYTES / 8; result == 0 && most > 0; --most) {
        result = guarded_call([&] { return mdb_cursor_get(cursor, &key, &value, MDB_NEXT); });
        std::pair<std::string, std::string> pair;
        result = result != 0 ? result : copy(key, &pair.first);
        result = result != 0 ? result : copy(value, &pair.second);
        if (result == 0) {
            found->push_back(std::move(pair));
        }
    }
    guarded_call([&] {
        mdb_cursor_close(cursor);
        return 0;
    });
    return result == MDB_NOTFOUND ? 0 : result;
}

// Opening one that is none, or of another kind, is refused; that is no fault of the file.
inline bool is_refusal(int result) {
    return result == MDB_NOTFOUND || result == MDB_INCOMPATIBLE || result == MDB_DBS_FULL;
}

// The plain ones, as the tools list them. 0, or what was wrong.
inline int read_all(MDB_txn *txn, pairs *found) {
    MDB_dbi main_database = 0;
    pairs names;
    int result = guarded_call([&] { return mdb_dbi_open(txn, nullptr, 0, &main_database); });
    result = result != 0 ? result : read_database(txn, main_database, &names);
    for (const auto &[name, record] : names) {
        MDB_dbi database = 0;
        unsigned int flags = 0;
        const char *text = name.c_str();
        const int opened = guarded_call([&] { return mdb_dbi_open(txn, text, 0, &database); });
        if (opened == 0) {
            guarded_call([&] { return mdb_dbi_flags(txn, database, &flags); });
            result = result != 0 || flags != 0 ? result : read_database(txn, database, found);
        } else if (!is_refusal(opened)) {
            result = opened;
        }
    }
    return result;
}

// of_use stays 0 when the check finds something.
struct outcome {
    int of_check = 0;
    int of_use = 0;
    int of_check_behind = 0;  // of what a commit left
};

inline int check_files(const std::string &folder) {
    const descriptor data(open((folder + "/data.mdb").c_str(), O_RDONLY | O_CLOEXEC));
    const descriptor lock(open((folder + "/lock.mdb").c_str(), O_RDONLY | O_CLOEXEC));
    const int result = data.is_open() ? check_file_head(data.get()) : errno;
    return result != 0 || !lock.is_open() ? result : check_lock_file(lock.get());
}

// What somebody else does between the check and the use.
using interference = std::function<void()>;

inline outcome read_checked(
    const std::string &folder, pairs *found, const interference &meanwhile = [] {}) {
    outcome all = {check_files(folder)};
    if (all.of_check != 0) {
        return all;
    }
    const environment env(folder, MDB_RDONLY);
    MDB_txn *txn = nullptr;
    all.of_use = env.result();
    if (all.of_use == 0) {
        all.of_use = guarded_call([&] { return mdb_txn_begin(env.get(), nullptr, MDB_RDONLY, &txn); });
    }
    if (all.of_use != 0) {
        return all;
    }
    all.of_check = check_commit(env.fd(), mdb_txn_id(txn), page_use::read);
    if (all.of_check == 0) {
        meanwhile();
        all.of_use = read_all(txn, found);
    }
    abort(txn);
    return all;
}

using writes = std::vector<std::pair<std::string, std::string>>;  // an empty value: the key is deleted

inline int write_one(MDB_txn *txn, MDB_dbi database, const std::string &name, const std::string &bytes) {
    MDB_val key = {name.size(), const_cast<char *>(name.data())};
    MDB_val value = {bytes.size(), const_cast<char *>(bytes.data())};
    const int result = guarded_call([&] {
        return bytes.empty() ? mdb_del(txn, database, &key, nullptr) : mdb_put(txn, database, &key, &value, 0);
    });
    return result == MDB_NOTFOUND ? 0 : result;
}

inline int write_all(MDB_txn *txn, const char *name, const writes &what) {
    MDB_dbi database = 0;
    unsigned int flags = 0;
    int result = guarded_call([&] { return mdb_dbi_open(txn, name, MDB_CREATE, &database); });
    if (result == 0) {
        guarded_call([&] { return mdb_dbi_flags(txn, database, &flags); });
        result = flags == 0 ? 0 : MDB_INCOMPATIBLE;
    }
    for (const auto &[key, bytes] : what) {
        result = result != 0 ? result : write_one(txn, database, key, bytes);
    }
    return result;
}

// Pages that are lost for good make a full database, which is nothing that the check is for.
inline bool can_be_written(const outcome &all) {
    return all.of_use == 0 || all.of_use == MDB_MAP_FULL;
}

// One commit, perhaps the first; what it left is looked at again, by the check alone.
inline outcome write_checked(
    const std::string &folder, const char *name, const writes &what, const interference &meanwhile = [] {}) {
    outcome all = {check_files(folder)};
    if (all.of_check != 0 && all.of_check != ENOENT) {
        return all;
    }
    environment env(folder);
    MDB_txn *txn = nullptr;
    all.of_use = env.result();
    if (all.of_use == 0) {
        all.of_use = guarded_call([&] { return mdb_txn_begin(env.get(), nullptr, 0, &txn); });
    }
    if (all.of_use != 0) {
        return all;
    }
    const std::size_t commit = mdb_txn_id(txn);
    all.of_check = check_commit(env.fd(), commit - 1, page_use::write);
    if (all.of_check != 0) {
        abort(txn);
        return all;
    }
    meanwhile();
    all.of_use = write_all(txn, name, what);
    if (all.of_use == 0) {
        all.of_use = guarded_call([&] { return mdb_txn_commit(txn); });
        if (all.of_use == 0) {
            all.of_check_behind = check_commit(env.fd(), commit, page_use::write);
        }
    } else if (all.of_use != SYSDB_FAULT) {
        abort(txn);
    }
    if (all.of_use == SYSDB_FAULT) {
        env.abandon();
    }
    return all;
}

}  // namespace whole_use
