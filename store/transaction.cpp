#include "store/transaction.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <lmdb.h>

#include "store/lmdb_limits.h"
#include "store/writer_wait.h"

namespace {

// More than page_check lets a file have.
constexpr std::size_t LONGEST_VALUE = std::size_t{256} * 1024 * 1024;

// LMDB has this check for writes, but takes a key that is too long to delete for one that is not there.
int check_name(const char *name) {
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    return length >= 1 && length <= SYSDB_LONGEST_NAME ? 0 : MDB_BAD_VALSIZE;
}

MDB_val bytes_of(std::string_view text) {
    return {text.size(), const_cast<char *>(text.data())};  // LMDB only reads it
}

// LMDB trusts an open handle: when another program has deleted the named database, a write through the handle would go
// to pages that are free. So none outlives its transaction. LMDB numbers them from 2 on.
void forget_databases(MDB_env *env) {
    for (unsigned int handle = 2; handle < 2 + MOST_NAMED_DATABASES; ++handle) {
        mdb_dbi_close(env, handle);
    }
}

// Asked before mdb_reader_check(), which takes memory for a list even of none. LMDB tells of each one in a line of a
// table, or "(no active readers)".
bool has_readers(MDB_env *env) {
    const auto leave_at_table = [](const char *text, void *) { return *text == '(' ? 0 : -1; };
    return mdb_reader_list(env, leave_at_table, nullptr) != 0;
}

}  // namespace

template <typename Call>
int sysdb_transaction::guarded(Call call) {
    const int result = guarded_call(call);
    if (result == SYSDB_FAULT) {
        end_after_fault();
    }
    return result;
}

// One that writes must not be touched again, nor its environment: LMDB's lists may point anywhere.
void sysdb_transaction::end_after_fault() {
    if (writes_) {
        txn_ = nullptr;
        environment_->abandon();
    } else {
        drop();
        environment_->close();
    }
}

int sysdb_transaction::begin(sysdb_environment &environment, const char *named_database, sysdb_access access) {
    int result = is_open() ? EBUSY : check_name(named_database);
    result = result != 0 ? result : begin_unnamed(environment, access);
    if (result != 0) {
        return result;
    }
    result = use(named_database, access);
    if (result != 0) {
        drop();
    }
    return result;
}

int sysdb_transaction::begin_unnamed(sysdb_environment &environment, sysdb_access access) {
    if (is_open() || environment.folder_.empty()) {
        return is_open() ? EBUSY : EINVAL;
    }
    environment_ = &environment;
    writes_ = access != sysdb_access::read;
    int result = EAGAIN;
    for (int attempt = 0; result == EAGAIN && attempt < MOST_ATTEMPTS; ++attempt) {
        result = begin_latest(access);
    }
    return result;
}

// EAGAIN: the files were made anew, or the commit is not the last one any more. Looked at behind the beginning, because
// the files may be made anew while a writer waits for another one to end.
int sysdb_transaction::begin_latest(sysdb_access access) {
    int result = are_writer_waits_over() ? ETIMEDOUT : environment_->open(environment_->folder_, access);
    result = result != 0 ? result : environment_->check_locks();
    result = result == 0 && writes_ && environment_->has_lost_lock() ? SYSDB_FAULT : result;
    if (result != 0) {
        environment_->close();
        return result;
    }
    MDB_env *env = environment_->env_;
    const unsigned int flags = writes_ ? 0U : MDB_RDONLY;
    // A slot that nobody frees keeps every page since then from being used again. No system call where nobody reads.
    int freed = 0;
    result = guarded([&] { return has_readers(env) ? mdb_reader_check(env, &freed) : 0; });
    result = result == SYSDB_FAULT ? result : writer_wait([&] { return mdb_txn_begin(env, nullptr, flags, &txn_); });
    if (result == SYSDB_FAULT || result == ETIMEDOUT) {
        end_after_fault();
    }
    if (result == MDB_MAP_RESIZED) {  // by a program that maps more; opened anew, so does this one
        environment_->close();
        return EAGAIN;
    }
    if (result != 0) {
        return result;
    }
    commit_read_ = mdb_txn_id(txn_);
    result = environment_->check(writes_ ? commit_read_ - 1 : commit_read_, writes_);
    if (result != 0) {
        drop();
        environment_->close();
    }
    return result;
}

int sysdb_transaction::use(const char *named_database, sysdb_access access) {
    if (const int result = check_name(named_database); result != 0 || !is_open()) {
        return result != 0 ? result : MDB_BAD_TXN;
    }
    unsigned int database = 0;
    unsigned int flags = 0;
    const unsigned int create = access == sysdb_access::create ? MDB_CREATE : 0U;
    int result = guarded([&] {
        const int opened = mdb_dbi_open(txn_, named_database, create, &database);
        return opened != 0 ? opened : mdb_dbi_flags(txn_, database, &flags);
    });
    if (result == 0 && flags != 0) {
        result =
            MDB_INCOMPATIBLE;  // LMDB would keep its promises to whoever made it: several values a key, other orders
    }
    database_ = result == 0 ? database : database_;
    return result;
}

// visit(key, bytes), in the order of the keys' bytes.
template <typename Visit>
int sysdb_transaction::for_each(Visit visit) {
    MDB_cursor *cursor = nullptr;
    int result = is_open() ? guarded([&] { return mdb_cursor_open(txn_, database_, &cursor); }) : MDB_BAD_TXN;
    MDB_val name = {};
    MDB_val data = {};
    std::string key;
    std::string bytes;
    while (result == 0) {
        result = guarded([&] { return mdb_cursor_get(cursor, &name, &data, MDB_NEXT); });
        result = result != 0 ? result : copy_out(name.mv_data, name.mv_size, &key);
        result = result != 0 ? result : copy_out(data.mv_data, data.mv_size, &bytes);
        if (result == 0) {
            visit(key, bytes);
        }
    }
    if (cursor != nullptr && is_open()) {
        mdb_cursor_close(cursor);
    }
    return result == MDB_NOTFOUND ? 0 : result;
}

// LMDB keeps them as keys of a database without a name.
int sysdb_transaction::named_databases(std::vector<std::string> *names) {
    std::vector<std::string> keys;
    int result = guarded([&] { return mdb_dbi_open(txn_, nullptr, 0, &database_); });
    result = result != 0 ? result : for_each([&](const std::string &key, const std::string &) { keys.push_back(key); });
    std::vector<std::string> found;
    for (const std::string &key : keys) {
        MDB_dbi handle = 0;
        const char *name = key.c_str();
        const int opened = result != 0 ? result : guarded([&] { return mdb_dbi_open(txn_, name, 0, &handle); });
        if (opened == 0) {
            found.push_back(key);
        }
        result = opened == MDB_DBS_FULL || opened == SYSDB_FAULT ? opened : result;
    }
    if (result == 0) {
        names->swap(found);
    }
    return result;
}

int sysdb_transaction::commit() {
    if (!is_open()) {
        return MDB_BAD_TXN;
    }
    MDB_env *env = environment_->env_;
    const std::size_t commit = mdb_txn_id(txn_);
    const bool is_untouched = writes_ && environment_->is_untouched();
    const int result = guarded([&] { return mdb_txn_commit(std::exchange(txn_, nullptr)); });
    if (result == SYSDB_FAULT) {
        return result;
    }
    forget_databases(env);
    if (result == 0 && is_untouched && environment_->change_counter() == commit) {
        environment_->note_own_commit(commit);
    }
    return result;
}

void sysdb_transaction::drop() {
    if (is_open()) {
        MDB_env *env = environment_->env_;
        guarded([&] {
            mdb_txn_abort(std::exchange(txn_, nullptr));
            forget_databases(env);
            return 0;
        });
    }
}

int sysdb_transaction::put(const char *key, const sysdb_value &value) {
    const int refused = check_key(key);
    if (refused != 0) {
        return refused;
    }
    return put_bytes(key, encode(value));
}

int sysdb_transaction::put_bytes(std::string_view key, std::string_view value) {
    MDB_val name = bytes_of(key);
    MDB_val data = bytes_of(value);
    return is_open() ? guarded([&] { return mdb_put(txn_, database_, &name, &data, 0); }) : MDB_BAD_TXN;
}

// Equal bytes are compared where they lie: a value that stays, as most do, is not copied.
int sysdb_transaction::put_if_new(const char *key, const sysdb_value &value) {
    const int refused = check_key(key);
    if (refused != 0) {
        return refused;
    }
    const std::string bytes = encode(value);
    MDB_val name = bytes_of(key);
    MDB_val stored = {};
    bool is_there = false;
    const int found = guarded([&] {
        const int result = mdb_get(txn_, database_, &name, &stored);
        is_there = result == 0 && stored.mv_size == bytes.size() &&
                   std::memcmp(stored.mv_data, bytes.data(), bytes.size()) == 0;
        return result;
    });
    if (is_there || sysdb_is_damaged(found)) {
        return found;
    }
    return put_bytes(key, bytes);
}

int sysdb_transaction::remove(const char *key) {
    const int refused = check_key(key);
    if (refused != 0) {
        return refused;
    }
    MDB_val name = bytes_of(key);
    return guarded([&] { return mdb_del(txn_, database_, &name, nullptr); });
}

int sysdb_transaction::get(const char *key, sysdb_value *value) {
    int result = check_key(key);
    if (result != 0) {
        return result;
    }
    MDB_val name = bytes_of(key);
    MDB_val data = {};
    std::string bytes;
    result = guarded([&] { return mdb_get(txn_, database_, &name, &data); });
    result = result != 0 ? result : copy_out(data.mv_data, data.mv_size, &bytes);
    if (result != 0) {
        return result;
    }
    std::optional<sysdb_value> decoded = decode(bytes);
    if (!decoded) {
        return SYSDB_FOREIGN_VALUE;
    }
    *value = std::move(*decoded);
    return 0;
}

int sysdb_transaction::list(sysdb_values *values, std::vector<std::string> *foreign_keys) {
    sysdb_values found;
    std::vector<std::string> foreign;
    const int result = for_each([&](const std::string &key, const std::string &bytes) {
        if (std::optional<sysdb_value> decoded = decode(bytes)) {
            found.emplace_hint(found.end(), key, std::move(*decoded));
        } else {
            foreign.push_back(key);
        }
    });
    if (result == 0) {
        values->swap(found);
        foreign_keys->swap(foreign);
    }
    return result;
}

int sysdb_transaction::check_key(const char *key) const {
    const int result = check_name(key);
    return result == 0 && !is_open() ? MDB_BAD_TXN : result;
}

int sysdb_transaction::copy_out(const void *bytes, std::size_t size, std::string *copy) {
    if (size > LONGEST_VALUE) {
        return MDB_CORRUPTED;
    }
    copy->assign(size, '\0');
    return guarded([&] { return guarded_copy(copy->data(), bytes, size); });
}
