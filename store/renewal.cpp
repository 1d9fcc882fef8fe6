#include "store/renewal.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "store/lmdb_limits.h"
#include "store/salvage.h"
#include "store/transaction.h"

namespace {

// Where the new files are made: on the same file system, for its owner only.
std::string workshop_of(const std::string &folder) {
    return folder + "/renewal";
}

void clear(const std::string &folder) {
    unlink(data_file_of(folder).c_str());
    unlink(lock_file_of(folder).c_str());
}

// Held by one process at a time, until its descriptor is closed. A reader cannot open it, and so cannot hold it.
class workshop {
public:
    explicit workshop(std::string folder) : folder_(std::move(folder)) {
        for (int attempt = 0; attempt < MOST_ATTEMPTS && !is_ours_; ++attempt) {
            mkdir(folder_.c_str(), 0700);
            fd_ = descriptor(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!fd_.is_open()) {
                error_ = errno;
                if (error_ == ENOENT) {
                    continue;  // its holder took it away in between, or there is nothing to make it in
                }
                return;
            }
            struct stat status = {};
            is_ours_ = flock(fd_.get(), LOCK_EX) == 0 && fstat(fd_.get(), &status) == 0 &&
                       identity_of(status) == identity_of(folder_);  // else its holder took it away
            error_ = is_ours_ ? 0 : EAGAIN;
        }
        if (is_ours_) {
            clear(folder_);
        }
    }
    ~workshop() {
        if (is_ours_) {
            clear(folder_);
            rmdir(folder_.c_str());
        }
    }
    workshop(const workshop &) = delete;
    workshop &operator=(const workshop &) = delete;

    int error() const { return error_; }

private:
    std::string folder_;
    descriptor fd_;
    bool is_ours_ = false;
    int error_ = 0;
};

// A transaction a database, since one has few handles. Nobody sees it yet.
int fill(const std::string &folder, const sysdb_salvage &salvaged, const sysdb_databases &own) {
    sysdb_environment environment;
    int result = environment.open(folder, sysdb_access::create);
    for (const auto &[name, entries] : salvaged) {
        sysdb_transaction transaction;
        result = result != 0 ? result : transaction.begin(environment, name.c_str(), sysdb_access::create);
        for (const auto &[key, bytes] : entries) {
            result = result != 0 ? result : transaction.put_bytes(key, bytes);
        }
        result = result != 0 ? result : transaction.commit();
    }
    for (const auto &[name, values] : own) {
        sysdb_transaction transaction;
        result = result != 0 ? result : transaction.begin(environment, name.c_str(), sysdb_access::create);
        for (const auto &[key, value] : values) {
            result = result != 0 ? result : transaction.put(key.c_str(), value);
        }
        result = result != 0 ? result : transaction.commit();
    }
    return result;
}

// The lock file first: who opens the files in between writes to the old database, and finds out with the next
// transaction. The other way round, two could write to the new one at once.
int take_the_place(const std::string &made, const std::string &folder, renewal_reason reason) {
    if (reason == renewal_reason::damaged) {
        const std::string aside = data_file_of(folder) + ".damaged";
        unlink(aside.c_str());
        const bool is_aside = link(data_file_of(folder).c_str(), aside.c_str()) == 0 || errno == ENOENT ||
                              rename(data_file_of(folder).c_str(), aside.c_str()) == 0;  // a folder has no second name
        if (!is_aside) {
            return errno;
        }
    }
    const bool is_done = rename(lock_file_of(made).c_str(), lock_file_of(folder).c_str()) == 0 &&
                         rename(data_file_of(made).c_str(), data_file_of(folder).c_str()) == 0;
    return is_done ? 0 : errno;
}

}  // namespace

int renew_database(const std::string &folder, sysdb_environment &environment, renewal_reason reason,
                   const sysdb_databases &own) {
    const workshop ours(workshop_of(folder));
    if (ours.error() != 0) {
        return ours.error();
    }
    // Of a sound database the lock: nobody writes to it while it is copied.
    sysdb_transaction lock;
    int result = environment.open(folder, sysdb_access::modify);
    result = result != 0 ? result : lock.begin_unnamed(environment, sysdb_access::modify);
    const bool is_sound = result == 0;
    if (!is_sound && !sysdb_is_damaged(result)) {
        return sysdb_is_absent(result) ? EALREADY : result;
    }
    if (is_sound && (reason == renewal_reason::damaged || environment.slow_readers().empty())) {
        return EALREADY;
    }
    result = fill(workshop_of(folder), salvage_database(data_file_of(folder)), own);
    result = result != 0 ? result : take_the_place(workshop_of(folder), folder, reason);
    lock.drop();
    environment.close();
    return result;
}
