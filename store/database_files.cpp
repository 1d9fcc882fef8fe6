#include "store/database_files.h"

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <grp.h>
#include <lmdb.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

// LMDB's lock file with its default of 126 readers.
constexpr off_t LOCK_FILE_BYTES = 8192;

// For the owner and the readers. What is made in the folder belongs to its group.
constexpr mode_t FOLDER_MODE = 02750;
constexpr mode_t DATA_MODE = 0640;
constexpr mode_t LOCK_MODE = 0660;  // a reader writes there which commit it reads

// Of this machine's own file: a service that knows more groups need not run yet when the daemon starts.
std::optional<gid_t> reader_group() {
    std::FILE *groups = std::fopen("/etc/group", "re");
    if (groups == nullptr) {
        return std::nullopt;
    }
    std::optional<gid_t> found;
    for (const group *each = nullptr; !found && (each = fgetgrent(groups)) != nullptr;) {
        if (std::string_view(each->gr_name) == READER_GROUP) {
            found = each->gr_gid;
        }
    }
    std::fclose(groups);
    return found;
}

// Whatever the umask. For the owner alone where there is no such group, or we may not give to it. Never wider than
// meant, not even for a moment.
int give_to_readers(const descriptor &made, mode_t mode) {
    const std::optional<gid_t> readers = reader_group();
    const bool is_given = readers && fchown(made.get(), static_cast<uid_t>(-1), *readers) == 0;
    return fchmod(made.get(), is_given ? mode : mode & 0700U) == 0 ? 0 : errno;
}

// One that exists keeps its group and mode.
descriptor open_or_create(const std::string &file, mode_t mode) {
    constexpr int FLAGS = O_RDWR | O_CLOEXEC | O_NONBLOCK;
    descriptor created(open(file.c_str(), FLAGS | O_CREAT | O_EXCL, 0600));
    if (!created.is_open() && errno == EEXIST) {
        return descriptor(open(file.c_str(), FLAGS));
    }
    if (created.is_open()) {
        give_to_readers(created, mode);
    }
    return created;
}

// Takes the first bytes of the file from the file system now, without changing its length. LMDB writes the lock file
// through a mapping: on a full file system that would be SIGBUS. And a first page without the second would be taken
// for a foreign file ever after. Only a lack of space counts here; any other trouble LMDB meets and reports itself.
int reserve(const std::string &file, mode_t mode, off_t bytes) {
    const descriptor fd = open_or_create(file, mode);
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

}  // namespace

int make_database_folder(const std::string &folder) {
    if (mkdir(folder.c_str(), 0700) != 0) {
        return errno == EEXIST ? 0 : errno;
    }
    const descriptor made(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return made.is_open() ? give_to_readers(made, FOLDER_MODE) : errno;
}

int prepare_database_files(const std::string &folder, bool make) {
    int result = make ? make_database_folder(folder) : 0;
    if (result != 0) {
        return result;
    }
    result = look_at_data_file(data_file_of(folder));
    if (make && result == ENOENT) {
        result = reserve(data_file_of(folder), DATA_MODE, 2 * sysconf(_SC_PAGESIZE));
    }
    return result != 0 ? result : reserve(lock_file_of(folder), LOCK_MODE, LOCK_FILE_BYTES);
}

file_identity identity_of(const struct stat &status) {
    return {status.st_dev, status.st_ino};
}

file_identity identity_of(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? identity_of(status) : file_identity{};
}
