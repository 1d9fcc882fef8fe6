// The system database of the platform, on host/kept_database. A folder that is removed and made anew while the daemon
// runs is found anew by the next transaction; after a fault the next session opens the database anew.
//
// Sessions may nest; they share the environment, and no session may write inside one that only reads. Transactions may
// not nest: a second one is refused, whether it reads or writes. For one thread.
// A fault is told on standard error once per reason; that nothing was written yet is not a fault.
#include "platform/sysdb.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "host/kept_database.h"
#include "host/port_record.h"
#include "host/say_once.h"

namespace {

// What the sessions of this process share.
struct shared_state {
    kept_database database;
    sysdb_access access = sysdb_access::read;  // of the outermost session
    int sessions = 0;
    bool has_written = false;  // in the transaction
    bool is_troubled = false;  // a session met a fault

    // What the database holds of the port, and which database that is.
    std::optional<port_record> stored_record;
    unsigned int stored_in = 0;
};

shared_state &shared() {
    static shared_state state;
    return state;
}

sysdb_access access_of(int flags) {
    return (flags & SYSDB_READ_ONLY) != 0 ? sysdb_access::read : sysdb_access::create;
}

// 0 for success, else -1. The daemon meets the same fault in every cycle: each reason is told once in its life.
// A missing key or named database is no fault, and a broken transaction was told when it broke.
int told(int result, const char *key = "") {
    if (result != 0 && result != SYSDB_MISSING && result != SYSDB_BROKEN_TRANSACTION) {
        std::string reason = sysdb_problem(shared().database.folder(), result);
        if (result == SYSDB_FOREIGN_VALUE) {
            reason.append(" ").append(key);
        }
        say_once("zelt: system database " + reason);
        shared().is_troubled |= result != SYSDB_FOREIGN_VALUE;
    }
    return result == 0 ? 0 : -1;
}

// No exception leaves the library; the only ones here are for lack of memory.
template <typename Body>
int guarded(Body body) noexcept {
    try {
        return body();
    } catch (const std::exception &) {
        return -1;
    }
}

int open_session(sysdb_handle &handle, sysdb_access access) {
    shared_state &state = shared();
    if (state.sessions == 0) {
        state.access = access;
        if (const int result = state.database.open(sysdb_folder(), access); result != 0) {
            return access == sysdb_access::read && sysdb_is_absent(result) ? -1 : told(result);
        }
    } else if (access != sysdb_access::read && state.access == sysdb_access::read) {
        return told(EBUSY);
    }
    ++state.sessions;
    handle.session = &state;
    return 0;
}

bool has_transaction(const sysdb_handle *handle) {
    return handle != nullptr && handle->transaction != nullptr;
}

// With the one transaction open, when that is this session's.
kept_database *database_of(const sysdb_handle *handle) {
    return has_transaction(handle) ? &shared().database : nullptr;
}

int write_value(const sysdb_handle *handle, const char *key, const sysdb_value &value) {
    kept_database *database = database_of(handle);
    if (database == nullptr) {
        return -1;
    }
    const int result = database->put(key, value);
    shared().has_written |= result == 0;
    return told(result);
}

// What the platform itself has to tell rides along with what is written anyway: an exchange with the module costs no
// commit. Where all that was written had its value already, there is one when the record has news, at most once a
// second: a reader that waits for commits must learn how old the module's last answer is. A fault breaks the
// transaction, and shows as it ends. A cycle has some fifteen commits, and news for one of them. True when the commit
// leaves the record in the database.
bool add_port_record(kept_database *database) {
    const std::optional<port_record> &record = recorded_port();
    const bool is_stored = record == shared().stored_record && database->opens() == shared().stored_in;
    if (!record || is_stored || database->use_beside(PLATFORM_DATABASE) != 0) {
        return is_stored;
    }
    database->put_beside("PORT_STATE", std::string(port_state_name(record->state)));
    database->put_beside("PORT_STATE_SINCE", record->since);
    database->put_beside("PORT_REASON", record->reason);
    if (record->last_answer) {
        database->put_beside("PORT_LAST_ANSWER", *record->last_answer);
    } else {
        database->remove_beside("PORT_LAST_ANSWER");
    }
    return true;
}

int read_value(const sysdb_handle *handle, const char *key, sysdb_value &value) {
    kept_database *database = database_of(handle);
    return database == nullptr ? -1 : told(database->get(key, &value), key);
}

// The integer part, when an int can hold it: the bounds are the first reals whose integer part it cannot. NaN is
// outside of both.
bool integer_part(double real, int *value) {
    if (!(real > -2147483649.0 && real < 2147483648.0)) {
        return false;
    }
    *value = static_cast<int>(real);
    return true;
}

// One write in a session and a transaction of its own. Sessions share the environment, so that of the caller is not
// needed for it.
template <typename Write>
int in_own_session(const char *named_database, Write write) {
    sysdb_handle handle = {};
    if (sysdb_init(&handle, 0) != 0) {
        return -1;
    }
    const bool done = sysdb_txn_start(&handle, named_database, 0) == 0 && write(&handle) == 0;
    const int result = done ? sysdb_txn_end(&handle) : -1;
    sysdb_exit(&handle);
    return result;
}

}  // namespace

int sysdb_init(sysdb_handle *handle, int flags) {
    if (handle == nullptr) {
        return -1;
    }
    *handle = {nullptr, nullptr, 0, flags};
    return guarded([=] { return open_session(*handle, access_of(flags)); });
}

void sysdb_exit(sysdb_handle *handle) {
    if (handle == nullptr || handle->session == nullptr) {
        return;
    }
    shared_state &state = shared();
    if (has_transaction(handle)) {
        state.database.drop();
    }
    *handle = {};
    if (--state.sessions == 0 && std::exchange(state.is_troubled, false)) {
        state.database.close();  // opening it anew mends what can be mended
    }
}

int sysdb_txn_start(sysdb_handle *handle, const char *named_database, int flags) {
    if (handle == nullptr || handle->session == nullptr) {
        return -1;
    }
    return guarded([=] {
        shared_state &state = shared();
        const sysdb_access access = access_of(flags);
        const bool may = access == sysdb_access::read || access_of(handle->flags) != sysdb_access::read;
        const int result = may ? state.database.begin(named_database, access) : EACCES;
        if (result == 0) {
            handle->transaction = &state.database;
            state.has_written = false;
        }
        return told(result);
    });
}

int sysdb_txn_end(sysdb_handle *handle) {
    if (!has_transaction(handle)) {
        return -1;
    }
    handle->transaction = nullptr;
    return guarded([] {
        shared_state &state = shared();
        if (!std::exchange(state.has_written, false)) {
            return told(state.database.commit());
        }
        const bool has_record = add_port_record(&state.database);
        state.stored_in = state.database.opens();  // before the commit, which may go into one that is made anew
        const int result = state.database.commit();
        state.stored_record = result == 0 && has_record ? recorded_port() : std::nullopt;
        return told(result);
    });
}

int sysdb_write_int(sysdb_handle *handle, const char *key, int value, int) {
    return guarded([=] { return write_value(handle, key, value); });
}

int sysdb_write_dbl(sysdb_handle *handle, const char *key, double value, int) {
    return guarded([=] { return write_value(handle, key, value); });
}

int sysdb_write_str(sysdb_handle *handle, const char *key, const char *value, int) {
    return value == nullptr ? -1 : guarded([=] { return write_value(handle, key, std::string(value)); });
}

int sysdb_del(sysdb_handle *handle, const char *key) {
    return guarded([=] {
        kept_database *database = database_of(handle);
        if (database == nullptr) {
            return -1;
        }
        const int result = database->remove(key);
        shared().has_written |= result == 0;
        return result == SYSDB_MISSING ? 0 : told(result);
    });
}

int sysdb_read_int(sysdb_handle *handle, const char *key, int *value) {
    return guarded([=] {
        sysdb_value found;
        if (value == nullptr || read_value(handle, key, found) != 0) {
            return -1;
        }
        if (const auto *real = std::get_if<double>(&found)) {
            return integer_part(*real, value) ? 0 : -1;
        }
        const auto *integer = std::get_if<std::int32_t>(&found);
        *value = integer != nullptr ? *integer : *value;
        return integer != nullptr ? 0 : -1;
    });
}

int sysdb_read_dbl(sysdb_handle *handle, const char *key, double *value) {
    return guarded([=] {
        sysdb_value found;
        if (value == nullptr || read_value(handle, key, found) != 0 || std::holds_alternative<std::string>(found)) {
            return -1;
        }
        const auto *integer = std::get_if<std::int32_t>(&found);
        *value = integer != nullptr ? *integer : std::get<double>(found);
        return 0;
    });
}

int sysdb_read_str(sysdb_handle *handle, const char *key, char *buffer, unsigned int size) {
    return guarded([=] {
        sysdb_value found;
        if (buffer == nullptr || size == 0 || read_value(handle, key, found) != 0) {
            return -1;
        }
        const auto *text = std::get_if<std::string>(&found);
        if (text == nullptr) {
            return -1;
        }
        const std::size_t length = std::min<std::size_t>(text->size(), size - 1);
        std::memcpy(buffer, text->data(), length);
        buffer[length] = '\0';
        return 0;
    });
}

int sysdb_namedb_write_int(sysdb_handle *, const char *named_database, const char *key, int value, int flags) {
    return in_own_session(named_database, [=](sysdb_handle *own) { return sysdb_write_int(own, key, value, flags); });
}

int sysdb_namedb_write_str(sysdb_handle *, const char *named_database, const char *key, const char *value, int flags) {
    return in_own_session(named_database, [=](sysdb_handle *own) { return sysdb_write_str(own, key, value, flags); });
}

int sysdb_namedb_del(sysdb_handle *, const char *named_database, const char *key) {
    return in_own_session(named_database, [=](sysdb_handle *own) { return sysdb_del(own, key); });
}
