#include "host/kept_database.h"

#include <cerrno>
#include <exception>
#include <fstream>

#include "host/say_once.h"

namespace {

// "process 4711 (cat)"; the name is whatever the program calls itself.
std::string name_of(pid_t pid) {
    std::string name = "gone";
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::getline(comm, name);
    return "process " + std::to_string(pid) + " (" + name + ")";
}

}  // namespace

int kept_database::open(const std::string &folder, sysdb_access access) {
    if (folder != folder_) {
        own_.forget();
        folder_ = folder;
    }
    const int result = environment_.open(folder, access);
    return access != sysdb_access::read && renew(result) ? environment_.open(folder, access) : result;
}

// Without memory for what else it does, no transaction stays open: nobody would end it.
int kept_database::begin(const char *named_database, sysdb_access access) try {
    int result = transaction_.begin(environment_, named_database, access);
    if (access != sysdb_access::read && renew(result)) {
        result = environment_.open(folder_, access);
        result = result != 0 ? result : transaction_.begin(environment_, named_database, access);
    }
    if (result == 0) {
        writes_ = access != sysdb_access::read;
        named_database_ = named_database;
        bring_back();
    }
    return result;
} catch (const std::exception &) {
    drop();
    throw;
}

// Into files that were opened anew: they may be others, where the folder was removed. Until a commit has taken it
// along.
void kept_database::bring_back() {
    if (!writes_ || at_home_ == environment_.opens() || own_.committed().empty()) {
        return;
    }
    for (const auto &[name, values] : own_.committed()) {
        if (transaction_.use(name.c_str(), sysdb_access::create) == 0) {
            for (const auto &[key, value] : values) {
                transaction_.put_if_new(key.c_str(), value);
            }
        }
    }
    transaction_.use(named_database_.c_str(), sysdb_access::create);
}

int kept_database::commit() try {
    const int result = attempt([&] { return transaction_.commit(); });
    if (result == 0 && writes_) {
        own_.commit(named_database_);
        at_home_ = environment_.opens();
    }
    own_.drop();
    return result;
} catch (const std::exception &) {
    drop();
    throw;
}

void kept_database::drop() {
    transaction_.drop();
    own_.drop();
}

int kept_database::put(const char *key, const sysdb_value &value) {
    const int result = attempt([&] { return transaction_.put_if_new(key, value); });
    if (result == 0) {
        own_.note(named_database_, key, &value);
    }
    return result;
}

int kept_database::remove(const char *key) {
    const int result = attempt([&] { return transaction_.remove(key); });
    if (result == 0 || result == SYSDB_MISSING) {
        own_.note(named_database_, key, nullptr);
    }
    return result;
}

int kept_database::put_beside(const char *key, const sysdb_value &value) {
    return transaction_.put_if_new(key, value);
}

// Again in a new database, when the one of now cannot be gone on with.
template <typename Operation>
int kept_database::attempt(Operation operation) {
    int result = operation();
    if (writes_ && renew(result)) {
        result = resume();
        result = result != 0 ? result : operation();
    }
    return result;
}

// The transaction, with all that was written before and in it so far.
int kept_database::resume() {
    int result = environment_.open(folder_, sysdb_access::create);
    result = result != 0 ? result : transaction_.begin(environment_, named_database_.c_str(), sysdb_access::create);
    if (result == 0) {
        bring_back();
    }
    for (const own_write &write : own_.pending()) {
        if (result == 0) {
            const char *key = write.key.c_str();
            result = write.value ? transaction_.put_if_new(key, *write.value) : transaction_.remove(key);
            result = result == SYSDB_MISSING ? 0 : result;
        }
    }
    return result;
}

// True when there is a new database to go on with. The transaction is over then.
bool kept_database::renew(int result) {
    const bool is_damaged = sysdb_is_damaged(result);
    const std::vector<pid_t> readers =
        result == SYSDB_FULL && environment_.is_open() ? environment_.slow_readers() : std::vector<pid_t>();
    if (!is_damaged && readers.empty()) {
        return false;
    }
    transaction_.drop();
    const int failed = renew_database(folder_, environment_,
                                      is_damaged ? renewal_reason::damaged : renewal_reason::held, own_.committed());
    if (failed == EALREADY) {
        return true;
    }
    if (failed != 0) {
        say_once("zelt: system database " + sysdb_problem(folder_, failed));
        return false;
    }
    if (is_damaged) {
        say_once("zelt: system database " + folder_ +
                 ": was damaged; a new one is in its place, the old file is data.mdb.damaged");
    }
    for (const pid_t reader : readers) {
        say_once("zelt: system database " + folder_ + ": " + name_of(reader) +
                 " reads without an end and kept it full; a new one is in its place, end that program");
    }
    return true;
}
