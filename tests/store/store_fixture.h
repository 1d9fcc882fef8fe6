// A system database of the test's own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lmdb.h>

#include "store/transaction.h"
#include "tests/support/environment_variable.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

class store_test : public testing::Test {
protected:
    std::string file(const std::string &name) const { return directory_ + "/" + name; }

    // One commit through an environment of its own; nothing else may be open in the process. 0 or the fault.
    int put(const sysdb_values &values, const char *database = "CELL") const {
        sysdb_environment environment;
        sysdb_transaction transaction;
        int result = environment.open(directory_, sysdb_access::create);
        result = result != 0 ? result : transaction.begin(environment, database, sysdb_access::create);
        for (const auto &[key, value] : values) {
            result = result != 0 ? result : transaction.put(key.c_str(), value);
        }
        return result != 0 ? result : transaction.commit();
    }

    // The same by another program.
    void other_puts(const sysdb_values &values, const char *database = "CELL") const {
        EXPECT_EQ(other_process([&] { return put(values, database); }).wait(), 0);
    }

    // All of it, through an environment of its own.
    sysdb_values list(const char *database) const {
        sysdb_environment environment;
        sysdb_transaction transaction;
        sysdb_values values;
        std::vector<std::string> foreign_keys;
        if (environment.open(directory_, sysdb_access::read) == 0 &&
            transaction.begin(environment, database, sysdb_access::read) == 0) {
            transaction.list(&values, &foreign_keys);
        }
        return values;
    }

    // Bytes as somebody else could have put them there.
    void write_raw(const char *database, const std::string &key, const std::string &bytes,
                   unsigned int flags = 0) const {
        std::filesystem::create_directory(directory_);
        MDB_env *env = nullptr;
        MDB_txn *txn = nullptr;
        MDB_dbi dbi = 0;
        ASSERT_EQ(mdb_env_create(&env), 0);
        mdb_env_set_maxdbs(env, 4);
        ASSERT_EQ(mdb_env_open(env, directory_.c_str(), 0, 0644), 0);
        ASSERT_EQ(mdb_txn_begin(env, nullptr, 0, &txn), 0);
        ASSERT_EQ(mdb_dbi_open(txn, database, MDB_CREATE | flags, &dbi), 0);
        MDB_val name = {key.size(), const_cast<char *>(key.data())};
        MDB_val data = {bytes.size(), const_cast<char *>(bytes.data())};
        ASSERT_EQ(mdb_put(txn, dbi, &name, &data, 0), 0);
        ASSERT_EQ(mdb_txn_commit(txn), 0);
        mdb_env_close(env);
    }

    // 0, or the fault.
    int delete_database(const char *database) const {
        MDB_env *env = nullptr;
        MDB_txn *txn = nullptr;
        MDB_dbi dbi = 0;
        int result = mdb_env_create(&env);
        mdb_env_set_maxdbs(env, 4);
        result = result != 0 ? result : mdb_env_open(env, directory_.c_str(), 0, 0644);
        result = result != 0 ? result : mdb_txn_begin(env, nullptr, 0, &txn);
        result = result != 0 ? result : mdb_dbi_open(txn, database, 0, &dbi);
        result = result != 0 ? result : mdb_drop(txn, dbi, 1);
        result = result != 0 ? result : mdb_txn_commit(txn);
        mdb_env_close(env);
        return result;
    }

    std::string raw(const char *key) const {
        MDB_env *env = nullptr;
        MDB_txn *txn = nullptr;
        MDB_dbi dbi = 0;
        EXPECT_EQ(mdb_env_create(&env), 0);
        mdb_env_set_maxdbs(env, 4);
        EXPECT_EQ(mdb_env_open(env, directory_.c_str(), MDB_RDONLY, 0644), 0);
        EXPECT_EQ(mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn), 0);
        EXPECT_EQ(mdb_dbi_open(txn, "CELL", 0, &dbi), 0);
        MDB_val name = {std::string(key).size(), const_cast<char *>(key)};
        MDB_val data = {};
        EXPECT_EQ(mdb_get(txn, dbi, &name, &data), 0);
        std::string bytes(static_cast<const char *>(data.mv_data), data.mv_size);
        mdb_txn_abort(txn);
        mdb_env_close(env);
        return bytes;
    }

    temporary_folder folder_;
    std::string directory_ = folder_.path("sysdb");
    environment_variable variable_{"SYSDB_DIR", directory_};
};
