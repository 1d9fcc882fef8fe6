#include "platform/sysdb.h"

#include "tests/device/libraries/journal.h"

int sysdb_init(sysdb_handle *, int flags) {
    tell("sysdb init %#x", static_cast<unsigned int>(flags));
    return 0;
}

void sysdb_exit(sysdb_handle *) {
    tell("sysdb exit");
}

int sysdb_txn_start(sysdb_handle *, const char *named_database, int) {
    tell("sysdb start %s", named_database);
    return 0;
}

int sysdb_txn_end(sysdb_handle *) {
    tell("sysdb end");
    return 0;
}

int sysdb_write_int(sysdb_handle *, const char *key, int value, int) {
    tell("sysdb %s int %d", key, value);
    return 0;
}

int sysdb_write_dbl(sysdb_handle *, const char *key, double value, int) {
    tell("sysdb %s real %.1f", key, value);
    return 0;
}

int sysdb_write_str(sysdb_handle *, const char *key, const char *value, int) {
    tell("sysdb %s string %s", key, value);
    return 0;
}

int sysdb_del(sysdb_handle *, const char *key) {
    tell("sysdb delete %s", key);
    return 0;
}

// Nothing is there to read.
int sysdb_read_int(sysdb_handle *, const char *, int *) {
    return -1;
}

int sysdb_read_dbl(sysdb_handle *, const char *, double *) {
    return -1;
}

int sysdb_read_str(sysdb_handle *, const char *, char *, unsigned int) {
    return -1;
}

int sysdb_namedb_write_int(sysdb_handle *, const char *named_database, const char *key, int value, int) {
    tell("sysdb one of %s: %s int %d", named_database, key, value);
    return 0;
}

int sysdb_namedb_write_str(sysdb_handle *, const char *named_database, const char *key, const char *value, int) {
    tell("sysdb one of %s: %s string %s", named_database, key, value);
    return 0;
}

int sysdb_namedb_del(sysdb_handle *, const char *named_database, const char *key) {
    tell("sysdb one of %s: delete %s", named_database, key);
    return 0;
}
