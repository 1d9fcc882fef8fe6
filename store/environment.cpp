#include "store/environment.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <lmdb.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

static_assert(SYSDB_MISSING == MDB_NOTFOUND && SYSDB_BROKEN_TRANSACTION == MDB_BAD_TXN, "the codes are LMDB's");
static_assert(std::endian::native == std::endian::little, "a value's payload is copied as it lies in memory");

// The daemon's keys need some 10 kB, and a writer needs twice the changed pages. 4 MiB is far above that, a small piece
// of a 32-bit address space, and a bound on what a runaway writer can take from a memory file system.
constexpr std::size_t MAP_BYTES = std::size_t{4} * 1024 * 1024;

// That one open environment may use; a router has a handful.
constexpr unsigned int MOST_NAMED_DATABASES = 16;

constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t FILE_MODE = 0644;

// MDB_NOSYNC: /run is memory. A killed writer leaves the last commit whole with or without it, and after a power cut
// there is no /run to be whole. MDB_NOTLS: a reader slot belongs to the transaction, not to the thread, so a
// session leaves nothing behind in the thread.
constexpr unsigned int ENVIRONMENT_FLAGS = MDB_NOSYNC | MDB_NOTLS;

// LMDB's lock file with its default of 126 readers.
constexpr off_t LOCK_FILE_BYTES = 8192;

// A new file gets its mode whatever the umask: it is there for other programs. One that exists keeps its own.
descriptor open_or_create(const std::string &file) {
    constexpr int FLAGS = O_RDWR | O_CLOEXEC | O_NONBLOCK;
    descriptor created(::open(file.c_str(), FLAGS | O_CREAT | O_EXCL, FILE_MODE));
    if (!created.is_open() && errno == EEXIST) {
        return descriptor(::open(file.c_str(), FLAGS));
    }
    if (created.is_open()) {
        fchmod(created.get(), FILE_MODE);
    }
    return created;
}

// 0, or an errno value.
int make_folder(const std::string &folder) {
    if (mkdir(folder.c_str(), FOLDER_MODE) != 0) {
        return errno == EEXIST ? 0 : errno;
    }
    return chmod(folder.c_str(), FOLDER_MODE) == 0 ? 0 : errno;
}

// Takes the first bytes of the file from the file system now, without changing its length. LMDB writes the lock file
// through a mapping: on a full file system that would be SIGBUS. And a first page without the second would be taken
// for a foreign file ever after. Only a lack of space counts here; any other trouble LMDB meets and reports itself.
int reserve(const std::string &file, off_t bytes) {
    const descriptor fd = open_or_create(file);
    const bool full = (fd.is_open() ? fallocate(fd.get(), FALLOC_FL_KEEP_SIZE, 0, bytes) != 0 : true) &&
                      (errno == ENOSPC || errno == EDQUOT);
    return full ? ENOSPC : 0;
}

// An empty file is one that a writer has just made or could not fill. Only writers may open it: LMDB lets whoever comes
// first hold the lock under which the first pages are written. A FIFO would make LMDB wait for its other end.
int look_at_data_file(const std::string &file) {
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return MDB_INVALID;
    }
    return status.st_size > 0 ? 0 : ENOENT;
}

int prepare_files(const std::string &folder, const std::string &data_file, sysdb_access access) {
    int result = access == sysdb_access::create ? make_folder(folder) : 0;
    if (result != 0) {
        return result;
    }
    result = look_at_data_file(data_file);
    if (access == sysdb_access::create && result == ENOENT) {
        result = reserve(data_file, 2 * sysconf(_SC_PAGESIZE));
    }
    return result != 0 ? result : reserve(folder + "/lock.mdb", LOCK_FILE_BYTES);
}

// LMDB takes 3 MB (half of it where pointers have 32 bits) for each open and hardly touches them. Handed back and taken
// again, glibc would move such pieces into its heap and clear them each time: 4 MB of memory really used. A threshold
// that is set, even to its default, stays where it is.
void keep_large_pieces_out_of_the_heap() {
    constexpr int DEFAULT_THRESHOLD_BYTES = 128 * 1024;
    [[maybe_unused]] static const int done = mallopt(M_MMAP_THRESHOLD, DEFAULT_THRESHOLD_BYTES);
}

int open_environment(const std::string &folder, sysdb_access access, MDB_env **opened) {
    keep_large_pieces_out_of_the_heap();
    MDB_env *env = nullptr;
    int result = mdb_env_create(&env);
    if (result != 0) {
        return result;
    }
    const unsigned int flags = ENVIRONMENT_FLAGS | (access == sysdb_access::read ? MDB_RDONLY : 0U);
    result = mdb_env_set_mapsize(env, MAP_BYTES);
    result = result != 0 ? result : mdb_env_set_maxdbs(env, MOST_NAMED_DATABASES);
    result = result != 0 ? result : mdb_env_open(env, folder.c_str(), flags, FILE_MODE);
    if (result != 0) {
        mdb_env_close(env);
        return result;
    }
    // LMDB leaves its data file open to every program that this one starts.
    mdb_filehandle_t data = -1;
    mdb_env_get_fd(env, &data);
    fcntl(data, F_SETFD, FD_CLOEXEC);
    *opened = env;
    return 0;
}

MDB_val bytes_of(std::string_view text) {
    return {text.size(), const_cast<char *>(text.data())};  // LMDB only reads it
}

std::string_view text_of(const MDB_val &bytes) {
    return {static_cast<const char *>(bytes.mv_data), bytes.mv_size};
}

// LMDB has this check for writes, but takes a key that is too long to delete for one that is not there.
int check_name(const char *name) {
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    return length >= 1 && length <= SYSDB_LONGEST_NAME ? 0 : MDB_BAD_VALSIZE;
}

template <typename Number>
std::string with_payload(char type, Number number) {
    std::string bytes(1 + sizeof number, type);
    std::memcpy(bytes.data() + 1, &number, sizeof number);
    return bytes;
}

std::string encode(const sysdb_value &value) {
    if (const auto *integer = std::get_if<std::int32_t>(&value)) {
        return with_payload('i', *integer);
    }
    if (const auto *real = std::get_if<double>(&value)) {
        return with_payload('r', *real);
    }
    return "s" + std::get<std::string>(value);
}

template <typename Number>
std::optional<sysdb_value> number_in(std::string_view payload) {
    Number number = {};
    if (payload.size() != sizeof number) {
        return std::nullopt;
    }
    std::memcpy(&number, payload.data(), sizeof number);
    return number;
}

std::optional<sysdb_value> decode(std::string_view bytes) {
    const char type = bytes.empty() ? '\0' : bytes.front();
    const std::string_view payload = bytes.substr(bytes.empty() ? 0 : 1);
    switch (type) {
    case 'i':
        return number_in<std::int32_t>(payload);
    case 'r':
        return number_in<double>(payload);
    case 's':
        return std::string(payload);
    default:
        return std::nullopt;
    }
}

const char *advice(int result) {
    switch (result) {
    case ENOENT:
    case ENOTDIR:
        return "; start the program that writes it (the folder above must exist), or name another folder in SYSDB_DIR";
    case EACCES:
    case EPERM:
        return "; run as root (readers write to the lock file too), or name another folder in SYSDB_DIR";
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
    case MDB_READERS_FULL:
        return "; end some of the reading programs";
    case MDB_DBS_FULL:
        return "; one session may use at most 16 named databases";
    case MDB_BAD_VALSIZE:
        return "; a key or a named database has 1 to 511 bytes";
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_PANIC:
    case MDB_INCOMPATIBLE:
        return "; this is no system database: stop its users and remove the folder, it is written anew";
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
    return folder + ": " + mdb_strerror(result) + advice(result);
}

bool sysdb_is_absent(int result) {
    return result == ENOENT || result == MDB_NOTFOUND;
}

int sysdb_environment::open(const std::string &folder, sysdb_access access) {
    close();
    data_file_ = folder + "/data.mdb";
    int result = prepare_files(folder, data_file_, access);
    result = result != 0 ? result : open_environment(folder, access, &env_);
    if (result != 0) {
        return result;
    }
    int fd = -1;
    struct stat status = {};
    if (mdb_env_get_fd(env_, &fd) == 0 && fstat(fd, &status) == 0) {
        device_ = status.st_dev;
        inode_ = status.st_ino;
    }
    // Here, because a slot that nobody frees keeps every page since then from being used again.
    int freed = 0;
    mdb_reader_check(env_, &freed);
    return 0;
}

void sysdb_environment::close() {
    if (env_ != nullptr) {
        mdb_env_close(std::exchange(env_, nullptr));
    }
}

// LMDB keeps them as keys of a database without a name.
int sysdb_environment::named_databases(std::vector<std::string> *names) const {
    MDB_txn *txn = nullptr;
    int result = mdb_txn_begin(env_, nullptr, MDB_RDONLY, &txn);
    if (result != 0) {
        return result;
    }
    MDB_dbi root = 0;
    MDB_cursor *cursor = nullptr;
    result = mdb_dbi_open(txn, nullptr, 0, &root);
    result = result != 0 ? result : mdb_cursor_open(txn, root, &cursor);
    std::vector<std::string> found;
    MDB_val name = {};
    while (result == 0 && (result = mdb_cursor_get(cursor, &name, nullptr, MDB_NEXT_NODUP)) == 0) {
        MDB_dbi database = 0;
        const std::string text(text_of(name));
        const int opened = mdb_dbi_open(txn, text.c_str(), 0, &database);
        if (opened == 0) {
            found.push_back(text);
        }
        result = opened == MDB_DBS_FULL ? opened : result;
    }
    if (cursor != nullptr) {
        mdb_cursor_close(cursor);  // a transaction that only reads leaves its cursors
    }
    mdb_txn_abort(txn);
    if (result != MDB_NOTFOUND) {
        return result;
    }
    names->swap(found);
    return 0;
}

std::size_t sysdb_environment::change_counter() const {
    MDB_envinfo info = {};
    mdb_env_info(env_, &info);
    return info.me_last_txnid;
}

bool sysdb_environment::is_stale() const {
    struct stat status = {};
    return stat(data_file_.c_str(), &status) != 0 || status.st_dev != device_ || status.st_ino != inode_;
}

int sysdb_transaction::begin(const sysdb_environment &environment, const char *named_database, sysdb_access access) {
    if (is_open() || !environment.is_open()) {
        return is_open() ? EBUSY : EINVAL;
    }
    int result = check_name(named_database);
    if (result == 0) {
        result = mdb_txn_begin(environment.env_, nullptr, access == sysdb_access::read ? MDB_RDONLY : 0U, &txn_);
    }
    if (result != 0) {
        return result;
    }
    commit_read_ = mdb_txn_id(txn_);
    result = use(named_database, access);
    if (result != 0) {
        drop();
    }
    return result;
}

int sysdb_transaction::use(const char *named_database, sysdb_access access) {
    if (const int result = check_name(named_database); result != 0) {
        return result;
    }
    unsigned int database = 0;
    int result = mdb_dbi_open(txn_, named_database, access == sysdb_access::create ? MDB_CREATE : 0U, &database);
    unsigned int flags = 0;
    if (result == 0 && mdb_dbi_flags(txn_, database, &flags) == 0 && flags != 0) {
        result =
            MDB_INCOMPATIBLE;  // LMDB would keep its promises to whoever made it: several values a key, other orders
    }
    database_ = result == 0 ? database : database_;
    return result;
}

int sysdb_transaction::commit() {
    return is_open() ? mdb_txn_commit(std::exchange(txn_, nullptr)) : EINVAL;
}

void sysdb_transaction::drop() {
    if (is_open()) {
        mdb_txn_abort(std::exchange(txn_, nullptr));
    }
}

int sysdb_transaction::put(const char *key, const sysdb_value &value) {
    if (const int result = check_name(key); result != 0) {
        return result;
    }
    const std::string bytes = encode(value);
    MDB_val name = bytes_of(key);
    MDB_val data = bytes_of(bytes);
    return mdb_put(txn_, database_, &name, &data, 0);
}

int sysdb_transaction::remove(const char *key) {
    if (const int result = check_name(key); result != 0) {
        return result;
    }
    MDB_val name = bytes_of(key);
    return mdb_del(txn_, database_, &name, nullptr);
}

int sysdb_transaction::get(const char *key, sysdb_value *value) const {
    if (const int result = check_name(key); result != 0) {
        return result;
    }
    MDB_val name = bytes_of(key);
    MDB_val data = {};
    if (const int result = mdb_get(txn_, database_, &name, &data); result != 0) {
        return result;
    }
    std::optional<sysdb_value> decoded = decode(text_of(data));
    if (!decoded) {
        return SYSDB_FOREIGN_VALUE;
    }
    *value = std::move(*decoded);
    return 0;
}

int sysdb_transaction::list(sysdb_values *values, std::vector<std::string> *foreign_keys) const {
    MDB_cursor *cursor = nullptr;
    int result = mdb_cursor_open(txn_, database_, &cursor);
    if (result != 0) {
        return result;
    }
    MDB_val name = {};
    MDB_val data = {};
    sysdb_values found;
    std::vector<std::string> foreign;
    while ((result = mdb_cursor_get(cursor, &name, &data, MDB_NEXT)) == 0) {
        if (std::optional<sysdb_value> decoded = decode(text_of(data))) {
            found.emplace_hint(found.end(), text_of(name), std::move(*decoded));
        } else {
            foreign.emplace_back(text_of(name));
        }
    }
    mdb_cursor_close(cursor);
    if (result != MDB_NOTFOUND) {
        return result;
    }
    values->swap(found);
    foreign_keys->swap(foreign);
    return 0;
}
