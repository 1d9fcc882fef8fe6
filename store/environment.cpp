#include "store/environment.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <lmdb.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "store/lmdb_limits.h"
#include "store/page_check.h"

namespace {

static_assert(SYSDB_MISSING == MDB_NOTFOUND && SYSDB_BROKEN_TRANSACTION == MDB_BAD_TXN && SYSDB_FULL == MDB_MAP_FULL,
              "the codes are LMDB's");

// MDB_NOSYNC: /run is memory. A killed writer leaves the last commit whole with or without it, and after a power cut
// there is no /run to be whole. MDB_NOTLS: a reader slot belongs to the transaction, not to the thread, so a
// session leaves nothing behind in the thread.
constexpr unsigned int ENVIRONMENT_FLAGS = MDB_NOSYNC | MDB_NOTLS;

// More than is looked at.
constexpr std::size_t LOCK_VIEW_BYTES = 4096;

// LMDB makes no files here: they are there with their modes.
constexpr mode_t UNUSED_MODE = 0600;

// LMDB takes 3 MB (half of it where pointers have 32 bits) for each open and hardly touches them. Handed back and taken
// again, as by a reader whose folder is made anew, glibc would move such pieces into its heap and clear them each time:
// 4 MB of memory really used. A threshold that is set, even to its default, stays where it is.
void keep_large_pieces_out_of_the_heap() {
    constexpr int DEFAULT_THRESHOLD_BYTES = 128 * 1024;
    [[maybe_unused]] static const int done = mallopt(M_MMAP_THRESHOLD, DEFAULT_THRESHOLD_BYTES);
}

void close_environment(MDB_env *env) {
    guarded_call([=] {
        mdb_env_close(env);
        return 0;
    });
}

int open_environment(const std::string &folder, sysdb_access access, MDB_env **opened) {
    keep_large_pieces_out_of_the_heap();
    MDB_env *env = nullptr;
    int result = mdb_env_create(&env);
    if (result != 0) {
        return result;
    }
    const unsigned int flags = ENVIRONMENT_FLAGS | (access == sysdb_access::read ? MDB_RDONLY : 0U);
    const char *path = folder.c_str();
    mdb_env_set_assert(env, leave_at_assertion);
    result = mdb_env_set_mapsize(env, MAP_BYTES);
    result = result != 0 ? result : mdb_env_set_maxdbs(env, MOST_NAMED_DATABASES);
    result = result != 0 ? result : guarded_call([=] { return mdb_env_open(env, path, flags, UNUSED_MODE); });
    if (result != 0) {
        close_environment(env);
        return result;
    }
    *opened = env;
    return 0;
}

// While LMDB writes the first pages of a new file, it holds the first byte of the lock file.
bool is_being_filled(const descriptor &lock_file) {
    struct flock first_byte = {};
    first_byte.l_type = F_RDLCK;
    first_byte.l_whence = SEEK_SET;
    first_byte.l_len = 1;
    return lock_file.is_open() && fcntl(lock_file.get(), F_GETLK, &first_byte) == 0 && first_byte.l_type != F_UNLCK;
}

int check_head(const descriptor &data_file, const descriptor &lock_file) {
    constexpr int LONGEST_WAIT_MS = 1000;  // for two pages
    int result = check_file_head(data_file.get());
    for (int waited_ms = 0; result == MDB_INVALID && waited_ms < LONGEST_WAIT_MS; ++waited_ms) {
        const bool was_being_filled = is_being_filled(lock_file);
        result = check_file_head(data_file.get());
        if (!was_being_filled) {
            break;
        }
        usleep(1000);
    }
    return result;
}

// Before LMDB believes what they say of sizes and locks. Only while the environment is closed: closing a descriptor of
// the lock file gives up LMDB's locks on it. Files that may not be opened are left to LMDB to complain about.
int check_files(const std::string &folder, sysdb_access access) {
    const descriptor data(open(data_file_of(folder).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const descriptor lock(open(lock_file_of(folder).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    int result = data.is_open() ? check_head(data, lock) : 0;
    if (result == ENOENT && access == sysdb_access::create) {
        result = 0;  // empty: this one fills it
    }
    return result != 0 || !lock.is_open() ? result : check_lock_file(lock.get());
}

// How often this process is the child of a fork.
unsigned int fork_count() {
    static unsigned int forks = 0;
    [[maybe_unused]] static const int done = pthread_atfork(nullptr, nullptr, [] { ++forks; });
    return forks;
}

// They stay reachable: what cannot be given back is no leak.
void keep_for_ever(MDB_env *env) {
    static auto *const kept = new std::vector<MDB_env *>;
    kept->push_back(env);
}

// At a file that is being written for the first time: 40 ms in all. Neither a file system nor a person makes a folder
// anew this often in a moment.
constexpr int MOST_OPENINGS = 20;
constexpr useconds_t BETWEEN_LOOKS_AT_A_BIRTH_US = 2000;

std::vector<file_identity> &lost_locks() {
    static std::vector<file_identity> locks;
    return locks;
}

const char *advice(int result) {
    switch (result) {
    case ENOENT:
    case ENOTDIR:
        return "; start the program that writes it (the folder above must exist), or name another folder in SYSDB_DIR";
    case EACCES:
    case EPERM:
        return "; root may write to it and members of the group zelt may read it, or name another folder in SYSDB_DIR";
    case EROFS:
    case EISDIR:
    case EEXIST:
        return "; name another folder in SYSDB_DIR";
    case ENOSPC:
    case EFBIG:
    case EIO:  // LMDB's word for a page of which only a part could be written
        return "; the file system is full: remove what is not needed there";
    case EBUSY:
        return "; end the transaction or the reading session that this process has open";
    case MDB_MAP_FULL:
    case MDB_BAD_TXN:
        return "; the database or its file system is full: delete keys, or stop its users and remove the folder";
    case ETIMEDOUT:
        return "; another program has it locked to write: end that program";
    case MDB_READERS_FULL:
        return "; end some of the reading programs";
    case MDB_DBS_FULL:
        return "; one transaction may use at most 16 named databases";
    case MDB_BAD_VALSIZE:
        return "; a key or a named database has 1 to 511 bytes";
    case MDB_VERSION_MISMATCH:
    case MDB_INVALID:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_PANIC:
    case MDB_INCOMPATIBLE:
    case SYSDB_FAULT:
        return "; the database is damaged or none of ours: whoever writes it next makes it anew";
    default:
        return "";
    }
}

}  // namespace

std::string sysdb_folder() {
    const char *folder = std::getenv("SYSDB_DIR");
    return folder != nullptr && *folder != '\0' ? folder : "/run/sysdb";
}

std::string sysdb_problem(const std::string &folder, int result) {
    if (result == SYSDB_FOREIGN_VALUE) {
        return folder + ": a value is neither an integer, a real nor a string; delete or write anew the key";
    }
    return folder + ": " + (result == SYSDB_FAULT ? "its files changed while they were used" : mdb_strerror(result)) +
           advice(result);
}

bool sysdb_is_absent(int result) {
    return result == ENOENT || result == MDB_NOTFOUND;
}

bool sysdb_is_damaged(int result) {
    return result == MDB_CORRUPTED || result == MDB_INVALID || result == MDB_VERSION_MISMATCH ||
           result == MDB_PAGE_NOTFOUND || result == MDB_PANIC || result == SYSDB_FAULT;
}

bool sysdb_environment::serves(const std::string &folder, sysdb_access access) const {
    return is_open() && forks_ == fork_count() && folder_ == folder &&
           (access == sysdb_access::read || access_ != sysdb_access::read);
}

// It has its first two pages at most: another writer may be about to write them, and a look between two of its bytes
// finds a file that is none of LMDB's.
bool sysdb_environment::is_young() const {
    struct stat status = {};
    return stat(data_file_.c_str(), &status) == 0 && status.st_size <= 2 * sysconf(_SC_PAGESIZE);
}

int sysdb_environment::open(const std::string &folder, sysdb_access access) {
    if (serves(folder, access)) {
        return 0;
    }
    close();
    folder_ = folder;
    data_file_ = data_file_of(folder);
    lock_file_ = lock_file_of(folder);
    access_ = access;
    int result = open_once(access);
    for (int opening = 1; opening < MOST_OPENINGS; ++opening) {
        const bool is_being_born = result == MDB_INVALID && is_young();
        if (result != EAGAIN && !is_being_born) {
            break;
        }
        if (is_being_born) {
            usleep(BETWEEN_LOOKS_AT_A_BIRTH_US);
        }
        result = open_once(access);
    }
    return result;
}

// EAGAIN: somebody gave a file's name to another file meanwhile. Of two writers with different lock files each would
// believe to be alone.
int sysdb_environment::open_once(sysdb_access access) {
    int result = prepare_database_files(folder_, access == sysdb_access::create);
    lock_ = identity_of(lock_file_);
    result = result != 0 ? result : check_files(folder_, access);
    if (result == 0) {
        map_locks();
        result = open_environment(folder_, access, &env_);
    }
    if (result != 0) {
        close();
        return result;
    }
    forks_ = fork_count();
    sound_ = {};
    mdb_env_get_fd(env_, &data_fd_);
    fcntl(data_fd_, F_SETFD, FD_CLOEXEC);  // LMDB leaves it open to every program that this one starts
    struct stat status = {};
    data_ = fstat(data_fd_, &status) == 0 ? identity_of(status) : file_identity{};
    if (is_stale()) {
        close();
        return EAGAIN;
    }
    ++opens_;
    return 0;
}

void sysdb_environment::close() {
    if (env_ != nullptr) {
        close_environment(std::exchange(env_, nullptr));
    }
    if (locks_ != nullptr) {
        munmap(std::exchange(locks_, nullptr), LOCK_VIEW_BYTES);
    }
}

// LMDB tells nobody where it has them. Before LMDB opens the file: closing a descriptor of it gives up the locks on it.
void sysdb_environment::map_locks() {
    const descriptor file(::open(lock_file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    void *view = file.is_open() ? mmap(nullptr, LOCK_VIEW_BYTES, PROT_READ, MAP_SHARED, file.get(), 0) : MAP_FAILED;
    locks_ = view != MAP_FAILED ? view : nullptr;
}

// A lock of another kind than LMDB's may end the process that takes it. No system call but the look at the file's size.
int sysdb_environment::check_locks() const {
    struct stat status = {};
    if (locks_ == nullptr || stat(lock_file_.c_str(), &status) != 0 || identity_of(status) != lock_) {
        return 0;  // of a file system that is only read, LMDB uses none; of another file, it is found out later
    }
    return check_locks_in_use(locks_, static_cast<std::size_t>(status.st_size));
}

// Nothing gives back LMDB's lock of a transaction that was left by a jump: whoever waits for it waits for the end of
// this process, and this process itself would wait for ever. Its file stays open with the rest of what is abandoned, so
// that no other file gets the same identity.
void sysdb_environment::abandon() {
    lost_locks().push_back(lock_);
    keep_for_ever(std::exchange(env_, nullptr));
}

bool sysdb_environment::has_lost_lock() const {
    return std::ranges::find(lost_locks(), lock_) != lost_locks().end();
}

// EAGAIN: what is open is not what the folder names. What this process wrote itself, and what was looked at already, is
// not looked at again.
int sysdb_environment::check(std::size_t commit, bool to_write) {
    struct stat status = {};
    if (stat(data_file_.c_str(), &status) != 0 || is_another(status)) {
        return EAGAIN;
    }
    const file_state state(status);
    if (sound_.commit == commit && sound_.file == state && (sound_.is_for_writing || !to_write)) {
        return 0;
    }
    const int result = check_commit(data_fd_, commit, to_write ? page_use::write : page_use::read);
    sound_ = result == 0 ? soundness{commit, to_write, state} : soundness{};
    return result;
}

bool sysdb_environment::is_untouched() const {
    struct stat status = {};
    return fstat(data_fd_, &status) == 0 && sound_.file == file_state(status);
}

void sysdb_environment::note_own_commit(std::size_t commit) {
    struct stat status = {};
    if (fstat(data_fd_, &status) == 0) {
        sound_ = {commit, true, file_state(status)};
    }
}

std::vector<pid_t> sysdb_environment::slow_readers() const {
    std::string table;
    const auto append = [](const char *text, void *to) {
        static_cast<std::string *>(to)->append(text);
        return 0;
    };
    if (mdb_reader_list(env_, append, &table) < 0) {
        return {};
    }
    // "    pid     thread     txnid", and a line of that form for each slot; "-" for one that reads nothing now.
    std::vector<pid_t> found;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        pid_t pid = 0;
        std::string thread;
        std::size_t commit = 0;
        if (words >> pid >> thread >> commit && commit < change_counter()) {
            found.push_back(pid);
        }
    }
    return found;
}

std::size_t sysdb_environment::change_counter() const {
    MDB_envinfo info = {};
    guarded_call([&] { return mdb_env_info(env_, &info); });
    return info.me_last_txnid;
}

bool sysdb_environment::is_stale() const {
    struct stat status = {};
    return stat(data_file_.c_str(), &status) != 0 || is_another(status);
}

bool sysdb_environment::is_another(const struct stat &data_file) const {
    return identity_of(data_file) != data_ || identity_of(lock_file_) != lock_;
}
