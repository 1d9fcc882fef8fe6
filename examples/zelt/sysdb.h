/* The values of zelt-stats, for programs in C and C++: a reader of the system database over LMDB, all of it in this
 * header.
 *
 *     struct zelt_reader reader;
 *     zelt_reader_init(&reader, NULL, "CELL");
 *     for (;;) {
 *         if (zelt_snapshot_begin(&reader) == 0) {
 *             int rsrp;
 *             if (zelt_get_int(&reader, "CELL_RSRP", &rsrp) == 0) ...
 *             zelt_snapshot_end(&reader);
 *         }
 *         zelt_wait(&reader, -1);
 *     }
 *
 * What the keys mean stands in cell-keys(7). Everything that one snapshot reads was committed together. Keep it short:
 * while it lives, the daemon cannot use again what it frees. Results are 0, an errno (positive) or an LMDB code
 * (negative); zelt_strerror() has words for each. An output is only set on 0. Nothing is ever written but LMDB's own
 * lock file.
 *
 * For one thread. A process may have one reader of a folder, and none beside an LMDB environment of its own there.
 * Link with what `pkg-config --libs zelt-sysdb` says. */
#ifndef ZELT_SYSDB_H
#define ZELT_SYSDB_H

#include <errno.h>
#include <fcntl.h>
#include <lmdb.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZELT_DEFAULT_FOLDER "/run/sysdb"
#define ZELT_NOT_REPORTED (-999)

enum zelt_type { ZELT_INT = 'i', ZELT_REAL = 'r', ZELT_STRING = 's' };

/* The text is not ended by a NUL, and is valid until the snapshot ends. */
struct zelt_value {
    enum zelt_type type;
    int32_t integer;
    double real;
    const char *text;
    size_t length;
};

/* The members belong to the functions below. */
struct zelt_reader {
    char folder[256];
    char database[64];
    MDB_env *env;
    MDB_txn *txn;
    MDB_dbi dbi;
    dev_t device;
    ino_t inode;
    size_t commit_read;
    int notices;
};

static inline const char *zelt_strerror(int result) {
    return result == MDB_NOTFOUND ? "no such key or database" : mdb_strerror(result);
}

/* folder: NULL for the one that SYSDB_DIR names, else /run/sysdb. Opens nothing yet: the database may come later.
 * ENAMETOOLONG when a name does not fit. */
static inline int zelt_reader_init(struct zelt_reader *reader, const char *folder, const char *database) {
    const char *const chosen = folder != NULL ? folder : getenv("SYSDB_DIR");
    const char *const used = chosen != NULL && *chosen != '\0' ? chosen : ZELT_DEFAULT_FOLDER;
    memset(reader, 0, sizeof *reader);
    reader->notices = -1;
    if (strlen(used) >= sizeof reader->folder || strlen(database) >= sizeof reader->database) {
        return ENAMETOOLONG;
    }
    memcpy(reader->folder, used, strlen(used));
    memcpy(reader->database, database, strlen(database));
    return 0;
}

static inline void zelt_snapshot_end(struct zelt_reader *reader) {
    if (reader->txn != NULL) {
        mdb_txn_abort(reader->txn);
        reader->txn = NULL;
    }
}

static inline void zelt_reader_close(struct zelt_reader *reader) {
    zelt_snapshot_end(reader);
    if (reader->env != NULL) {
        mdb_env_close(reader->env);
        reader->env = NULL;
    }
    if (reader->notices >= 0) {
        close(reader->notices);
        reader->notices = -1;
    }
}

/* The data file as its path has it now: it may be another one than the one that was opened. */
static inline int zelt_stat_data(const struct zelt_reader *reader, struct stat *status) {
    char path[sizeof reader->folder + sizeof "/data.mdb"];
    snprintf(path, sizeof path, "%s/data.mdb", reader->folder);
    return stat(path, status) == 0 ? 0 : errno;
}

static inline int zelt_is_stale(const struct zelt_reader *reader) {
    struct stat status;
    return reader->env == NULL || zelt_stat_data(reader, &status) != 0 || status.st_dev != reader->device ||
           status.st_ino != reader->inode;
}

/* Watched before it is read, so that no change falls in between. */
static inline int zelt_open(struct zelt_reader *reader) {
    struct stat status;
    int result;
    zelt_reader_close(reader);
    reader->commit_read = 0;
    reader->notices = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (reader->notices >= 0) {
        inotify_add_watch(reader->notices, reader->folder,
                          IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_DELETE_SELF);
    }
    result = zelt_stat_data(reader, &status);
    if (result == 0 && status.st_size == 0) {
        result = ENOENT; /* its writer is just making it */
    }
    result = result != 0 ? result : mdb_env_create(&reader->env);
    if (result != 0) {
        return result;
    }
    reader->device = status.st_dev;
    reader->inode = status.st_ino;
    result = mdb_env_set_maxdbs(reader->env, 16);
    result = result != 0 ? result : mdb_env_open(reader->env, reader->folder, MDB_RDONLY | MDB_NOTLS, 0);
    if (result != 0) {
        mdb_env_close(reader->env);
        reader->env = NULL;
    }
    return result;
}

/* Opens the database where that is needed. On a failure there is no snapshot; ENOENT and MDB_NOTFOUND: nothing was
 * published yet. A snapshot that is still open ends. */
static inline int zelt_snapshot_begin(struct zelt_reader *reader) {
    int result;
    zelt_snapshot_end(reader);
    result = zelt_is_stale(reader) ? zelt_open(reader) : 0;
    if (result == 0) {
        result = mdb_txn_begin(reader->env, NULL, MDB_RDONLY, &reader->txn);
    }
    if (result == MDB_MAP_RESIZED) {
        result = zelt_open(reader);
        result = result != 0 ? result : mdb_txn_begin(reader->env, NULL, MDB_RDONLY, &reader->txn);
    }
    if (result != 0) {
        reader->txn = NULL;
        return result;
    }
    reader->commit_read = mdb_txn_id(reader->txn);
    result = mdb_dbi_open(reader->txn, reader->database, 0, &reader->dbi);
    if (result != 0) {
        zelt_snapshot_end(reader);
    }
    return result;
}

/* EBADMSG: a value of a type or length that there is not; another program wrote it. */
static inline int zelt_decode(const MDB_val *stored, struct zelt_value *value) {
    const char *const bytes = (const char *)stored->mv_data;
    struct zelt_value decoded;
    memset(&decoded, 0, sizeof decoded);
    if (stored->mv_size == 1 + sizeof decoded.integer && bytes[0] == ZELT_INT) {
        decoded.type = ZELT_INT;
        memcpy(&decoded.integer, bytes + 1, sizeof decoded.integer);
    } else if (stored->mv_size == 1 + sizeof decoded.real && bytes[0] == ZELT_REAL) {
        decoded.type = ZELT_REAL;
        memcpy(&decoded.real, bytes + 1, sizeof decoded.real);
    } else if (stored->mv_size >= 1 && bytes[0] == ZELT_STRING) {
        decoded.type = ZELT_STRING;
        decoded.text = bytes + 1;
        decoded.length = stored->mv_size - 1;
    } else {
        return EBADMSG;
    }
    *value = decoded;
    return 0;
}

/* EINVAL without a snapshot. */
static inline int zelt_get(struct zelt_reader *reader, const char *key, struct zelt_value *value) {
    MDB_val name;
    MDB_val stored;
    int result;
    if (reader->txn == NULL) {
        return EINVAL;
    }
    name.mv_size = strlen(key);
    name.mv_data = (void *)(uintptr_t)key; /* LMDB only reads it */
    result = mdb_get(reader->txn, reader->dbi, &name, &stored);
    return result != 0 ? result : zelt_decode(&stored, value);
}

/* EBADMSG also for a key of another type. */
static inline int zelt_get_int(struct zelt_reader *reader, const char *key, int *number) {
    struct zelt_value value;
    const int result = zelt_get(reader, key, &value);
    if (result == 0 && value.type == ZELT_INT) {
        *number = value.integer;
    }
    return result == 0 && value.type != ZELT_INT ? EBADMSG : result;
}

static inline int zelt_get_real(struct zelt_reader *reader, const char *key, double *number) {
    struct zelt_value value;
    const int result = zelt_get(reader, key, &value);
    if (result == 0 && value.type == ZELT_REAL) {
        *number = value.real;
    }
    return result == 0 && value.type != ZELT_REAL ? EBADMSG : result;
}

/* Cut to size - 1 bytes and ended by a NUL. */
static inline int zelt_get_string(struct zelt_reader *reader, const char *key, char *text, size_t size) {
    struct zelt_value value;
    const int result = zelt_get(reader, key, &value);
    if (result == 0 && value.type == ZELT_STRING && size > 0) {
        const size_t length = value.length < size - 1 ? value.length : size - 1;
        memcpy(text, value.text, length);
        text[length] = '\0';
    }
    return result == 0 && (value.type != ZELT_STRING || size == 0) ? EBADMSG : result;
}

/* Waits until something was committed since the last snapshot began, or the database came, went or was made anew: 1; 0
 * when timeout_ms (-1: none) passed. A snapshot that is open ends: nobody may wait with one. 1 too early is possible.
 */
static inline int zelt_wait(struct zelt_reader *reader, int timeout_ms) {
    /* What no notice tells of: a folder that comes, a kernel out of watches. */
    enum { LOOK_MS = 1000 };
    int left = timeout_ms;
    zelt_snapshot_end(reader);
    for (;;) {
        char notices[4096];
        struct pollfd watched;
        MDB_envinfo info;
        struct stat status;
        int slice = left < 0 || left > LOOK_MS ? LOOK_MS : left;
        if (reader->env == NULL ? zelt_stat_data(reader, &status) == 0 && status.st_size > 0 : zelt_is_stale(reader)) {
            return 1;
        }
        if (reader->env != NULL && mdb_env_info(reader->env, &info) == 0 && info.me_last_txnid != reader->commit_read) {
            return 1;
        }
        if (left == 0) {
            return 0;
        }
        watched.fd = reader->notices; /* poll() passes over -1 */
        watched.events = POLLIN;
        watched.revents = 0;
        if (poll(&watched, 1, slice) > 0) {
            while (read(reader->notices, notices, sizeof notices) > 0) {
            }
        }
        left = left < 0 ? left : left - slice;
    }
}

#ifdef __cplusplus
}
#endif

#endif
