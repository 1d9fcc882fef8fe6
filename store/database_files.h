// The two files of an environment in the file system: their names, who may open them, and which file a name means now.
// Knows the file system; knows neither LMDB's calls nor a key. Never logs, never waits.
#pragma once

#include <string>

#include <sys/stat.h>
#include <sys/types.h>

inline std::string data_file_of(const std::string &folder) {
    return folder + "/data.mdb";
}
inline std::string lock_file_of(const std::string &folder) {
    return folder + "/lock.mdb";
}

// Who may read the database, besides its owner: the members of this group, where this machine has it. What they could
// do to the owner thereby: docs/database-access.md.
inline constexpr const char *READER_GROUP = "zelt";

// 0 or an errno; 0 when it is there already, whoever may open it.
int make_database_folder(const std::string &folder);

// Makes what is missing and takes the file system's space for what LMDB will write through a mapping. make: also the
// data file. 0, an errno, or MDB_INVALID where the data file is no file.
int prepare_database_files(const std::string &folder, bool make);

// A file for as long as somebody has it open. Of a missing one all is 0.
struct file_identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const file_identity &) const = default;
};
file_identity identity_of(const struct stat &status);
file_identity identity_of(const std::string &path);

// Changes with each write to the file, within a tick of the kernel's clock.
struct file_state {
    off_t bytes = 0;
    timespec changed = {};
    explicit file_state(const struct stat &status) : bytes(status.st_size), changed(status.st_ctim) {}
    file_state() = default;
    bool operator==(const file_state &other) const {
        return bytes == other.bytes && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};
