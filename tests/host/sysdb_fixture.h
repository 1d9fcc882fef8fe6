// The platform functions of the system database on one of the test's own.
#pragma once

#include <functional>

#include "platform/sysdb.h"
#include "tests/store/store_fixture.h"

class sysdb_test : public store_test {
protected:
    // One write through the platform: the shortest way to a value.
    static int write(const std::function<int(sysdb_handle *)> &body, const char *database = "CELL") {
        return in_transaction(0, body, database);
    }
    static int read(const std::function<int(sysdb_handle *)> &body, const char *database = "CELL") {
        return in_transaction(SYSDB_READ_ONLY, body, database);
    }
    static int in_transaction(int flags, const std::function<int(sysdb_handle *)> &body, const char *database) {
        sysdb_handle handle = {};
        if (sysdb_init(&handle, flags) != 0) {
            return 1;
        }
        int result = sysdb_txn_start(&handle, database, flags) != 0 ? 2 : body(&handle) != 0 ? 3 : 0;
        if (result == 0) {
            result = sysdb_txn_end(&handle) != 0 ? 4 : 0;
        }
        sysdb_exit(&handle);
        return result;
    }

    // The platform keeps its environment open, and LMDB bears no second one in a process: before the test opens its
    // own.
    void let_go_of_the_database() const {
        const environment_variable elsewhere("SYSDB_DIR", folder_.path("nowhere"));
        sysdb_handle handle = {};
        EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    }

    static int read_int(const char *key, int if_missing = -7777) {
        int value = if_missing;
        read([&](sysdb_handle *handle) { return sysdb_read_int(handle, key, &value); });
        return value;
    }
};
