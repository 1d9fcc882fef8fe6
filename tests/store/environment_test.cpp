// The environment itself: the form of what lies in it, and whose commit a transaction reads.
#include "store/environment.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "store/renewal.h"
#include "tests/store/store_fixture.h"

namespace {

using environment = store_test;

// How often this process has read from a file.
long read_calls() {
    const std::string io = content_of("/proc/self/io");
    return std::stol(io.substr(io.find("syscr: ") + 7));
}

TEST_F(environment, values_lie_in_the_database_in_the_documented_form) {
    ASSERT_EQ(put({{"I", -2}, {"D", 1.0}, {"S", "ab"}}), 0);
    EXPECT_EQ(raw("I"), "i\xfe\xff\xff\xff");
    EXPECT_EQ(raw("D"), std::string("r\0\0\0\0\0\0\xf0\x3f", 9));
    EXPECT_EQ(raw("S"), "sab");
}

TEST_F(environment, a_list_is_in_the_order_of_the_bytes) {
    ASSERT_EQ(put({{"b", 1}, {"B", 2}, {"\xc3\xa4", 3}, {"A_1", 4}, {"A", 5}}), 0);
    sysdb_environment opened;
    sysdb_transaction transaction;
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), 0);
    sysdb_values values;
    std::vector<std::string> foreign_keys;
    ASSERT_EQ(transaction.list(&values, &foreign_keys), 0);
    std::vector<std::string> keys;
    for (const auto &[key, value] : values) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"A", "A_1", "B", "b", "\xc3\xa4"}));
    EXPECT_TRUE(foreign_keys.empty());
}

TEST_F(environment, a_transaction_reads_one_commit_whatever_comes_after_it) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    sysdb_environment opened;
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    const std::size_t first = opened.change_counter();
    {
        sysdb_transaction transaction;
        ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), 0);
        other_puts({{"K", 2}});
        EXPECT_EQ(transaction.commit_read(), first);
        EXPECT_EQ(opened.change_counter(), first + 1);
    }
    sysdb_transaction missing;
    EXPECT_EQ(missing.begin(opened, "GPIO", sysdb_access::read), SYSDB_MISSING);
    EXPECT_EQ(missing.commit_read(), first + 1) << "known although there is nothing to read";
}

TEST_F(environment, a_transaction_uses_several_databases_at_once) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    {
        sysdb_environment opened;
        sysdb_transaction transaction;
        ASSERT_EQ(opened.open(directory_, sysdb_access::create), 0);
        const std::size_t before = opened.change_counter();
        ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0);
        EXPECT_EQ(transaction.use("BESIDE", sysdb_access::modify), SYSDB_MISSING) << "it is not there yet";
        EXPECT_EQ(transaction.put("K", 2), 0) << "still in the first one";
        EXPECT_EQ(transaction.use("BESIDE", sysdb_access::create), 0);
        EXPECT_EQ(transaction.put("K", 3), 0);
        ASSERT_EQ(transaction.commit(), 0);
        EXPECT_EQ(opened.change_counter(), before + 1);
        sysdb_value value;
        ASSERT_EQ(transaction.begin(opened, "BESIDE", sysdb_access::read), 0);
        EXPECT_EQ(transaction.get("K", &value), 0);
        EXPECT_EQ(value, sysdb_value(3));
    }
    EXPECT_EQ(raw("K"), std::string("i\x02\0\0\0", 5));
}

TEST_F(environment, one_transaction_uses_sixteen_databases_and_the_next_begins_anew) {
    sysdb_environment opened;
    ASSERT_EQ(opened.open(directory_, sysdb_access::create), 0);
    for (const char *round : {"A", "B"}) {
        sysdb_transaction transaction;
        ASSERT_EQ(transaction.begin(opened, round, sysdb_access::create), 0);
        for (int n = 2; n <= 16; ++n) {
            EXPECT_EQ(transaction.use((round + std::to_string(n)).c_str(), sysdb_access::create), 0) << n;
        }
        const int result = transaction.use("ONE MORE", sysdb_access::create);
        EXPECT_NE(sysdb_problem("", result).find("at most 16 named databases"), std::string::npos);
        EXPECT_EQ(transaction.commit(), 0);
    }
}

TEST_F(environment, stays_open_and_opens_anew_what_was_made_anew) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    sysdb_environment opened;
    sysdb_transaction transaction;
    sysdb_value value;
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    std::filesystem::remove_all(directory_);
    EXPECT_EQ(opened.open(directory_, sysdb_access::read), 0) << "no look at the files";
    EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), ENOENT);
    other_puts({{"K", 2}});
    ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), 0);
    EXPECT_EQ(transaction.get("K", &value), 0);
    EXPECT_EQ(value, sysdb_value(2));
    transaction.drop();
    ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::modify), 0) << "opened to read, now to write";
    EXPECT_EQ(transaction.put("K", 3), 0);
}

TEST_F(environment, leaves_no_descriptor_to_a_program_that_is_started) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    sysdb_environment opened;
    ASSERT_EQ(opened.open(directory_, sysdb_access::modify), 0);
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the one with which the folder is read
        const std::string file = std::filesystem::read_symlink(entry, gone).string();
        if (file.starts_with(directory_)) {
            const int fd = std::stoi(entry.path().filename().string());
            EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << file;
        }
    }
}

TEST_F(environment, is_stale_once_its_file_lost_its_name) {
    sysdb_environment opened;
    EXPECT_TRUE(opened.is_stale()) << "nothing was opened yet";
    ASSERT_EQ(put({{"K", 1}}), 0);
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    EXPECT_FALSE(opened.is_stale());
    std::filesystem::rename(directory_, folder_.path("old"));
    EXPECT_TRUE(opened.is_stale()) << "renamed";
    other_puts({{"K", 2}});
    EXPECT_TRUE(opened.is_stale()) << "another one in its place";
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    opened.close();
    ASSERT_EQ(opened.open(directory_, sysdb_access::read), 0);
    EXPECT_FALSE(opened.is_stale());
    std::filesystem::remove(file("lock.mdb"));
    EXPECT_TRUE(opened.is_stale()) << "who comes next has other locks";
}

// Over the pages behind the first two, as somebody who may write to the file can.
void scribble(const std::string &data_file) {
    std::fstream data(data_file, std::ios::in | std::ios::out | std::ios::binary);
    data.seekp(8192);
    data << std::string(std::filesystem::file_size(data_file) - 8192, '\xff');
}

TEST_F(environment, damage_is_a_fault_before_it_is_opened_and_while_it_is_open) {
    for (const sysdb_access access : {sysdb_access::read, sysdb_access::modify, sysdb_access::create}) {
        SCOPED_TRACE(static_cast<int>(access));
        std::filesystem::remove_all(directory_);
        ASSERT_EQ(put({{"K", 1}}), 0);
        sysdb_environment opened;
        sysdb_transaction transaction;
        ASSERT_EQ(opened.open(directory_, access), 0);
        ASSERT_EQ(transaction.begin(opened, "CELL", access), 0);
        transaction.drop();
        scribble(file("data.mdb"));
        EXPECT_TRUE(sysdb_is_damaged(transaction.begin(opened, "CELL", access)));
        EXPECT_FALSE(transaction.is_open());
        EXPECT_TRUE(sysdb_is_damaged(transaction.begin(opened, "CELL", access))) << "opened anew";
        std::filesystem::remove_all(directory_);
        other_puts({{"K", 2}});
        EXPECT_EQ(transaction.begin(opened, "CELL", access), 0) << "it is not held against another file";
    }
}

TEST_F(environment, a_file_cut_short_is_a_fault_of_the_transaction_that_meets_it) {
    for (const sysdb_access access : {sysdb_access::read, sysdb_access::modify}) {
        SCOPED_TRACE(static_cast<int>(access));
        std::filesystem::remove_all(directory_);
        ASSERT_EQ(put({{"K", 1}}), 0);
        sysdb_environment opened;
        sysdb_transaction transaction;
        sysdb_value value = 4711;
        ASSERT_EQ(opened.open(directory_, access), 0);
        ASSERT_EQ(transaction.begin(opened, "CELL", access), 0);
        std::filesystem::resize_file(file("data.mdb"), 0);
        EXPECT_EQ(transaction.get("K", &value), SYSDB_FAULT);
        EXPECT_EQ(value, sysdb_value(4711));
        EXPECT_EQ(transaction.get("K", &value), SYSDB_BROKEN_TRANSACTION) << "it is over";
        EXPECT_EQ(transaction.put("K", 2), SYSDB_BROKEN_TRANSACTION);
        EXPECT_NE(transaction.commit(), 0);
        std::filesystem::remove_all(directory_);
        other_puts({{"K", 3}});
        ASSERT_EQ(transaction.begin(opened, "CELL", access), 0);
        EXPECT_EQ(transaction.get("K", &value), 0);
        EXPECT_EQ(value, sysdb_value(3));
    }
}

// The two heads and the pages of the first commit are all that has room; the second one needs pages of its own.
TEST_F(environment, what_a_commit_without_room_held_comes_only_when_it_is_written_again) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    const std::string before = content_of(file("data.mdb"));
    other_process full([&] {
        signal(SIGXFSZ, SIG_IGN);
        sysdb_environment opened;
        sysdb_transaction transaction;
        const rlimit limit = {before.size(), RLIM_INFINITY};
        const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
        EXPECT_EQ(opened.open(directory_, sysdb_access::create), 0);
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0);
        EXPECT_EQ(transaction.put("K", 2), 0);
        EXPECT_EQ(transaction.put("ONCE", 3), 0);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(transaction.commit(), EFBIG);
        setrlimit(RLIMIT_FSIZE, &none);
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0) << "the next one is not troubled";
        EXPECT_EQ(transaction.put("K", 2), 0);
        EXPECT_EQ(transaction.commit(), 0);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(full.wait(), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 2}}));
}

// As another program's does, or a damaged number in the file.
TEST_F(environment, maps_more_when_the_file_says_that_it_is_larger) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    sysdb_environment opened;
    sysdb_transaction transaction;
    ASSERT_EQ(opened.open(directory_, sysdb_access::create), 0);
    other_process other([&] {
        MDB_env *env = nullptr;
        MDB_txn *txn = nullptr;
        MDB_dbi database = 0;
        std::string bytes(std::size_t{6} * 1024 * 1024, 's');
        MDB_val key = {1, const_cast<char *>("B")};
        MDB_val value = {bytes.size(), bytes.data()};
        mdb_env_create(&env);
        mdb_env_set_maxdbs(env, 4);
        mdb_env_set_mapsize(env, std::size_t{16} * 1024 * 1024);
        mdb_env_open(env, directory_.c_str(), MDB_NOSYNC, 0600);
        mdb_txn_begin(env, nullptr, 0, &txn);
        mdb_dbi_open(txn, "BIG", MDB_CREATE, &database);
        return mdb_put(txn, database, &key, &value, 0) == 0 ? mdb_txn_commit(txn) : 1;
    });
    ASSERT_EQ(other.wait(), 0);
    for (const sysdb_access access : {sysdb_access::create, sysdb_access::read}) {
        EXPECT_EQ(transaction.begin(opened, "CELL", access), 0);
        transaction.drop();
    }
}

// The lock of the transaction that was left is this process's for good: waiting for it would never end.
TEST_F(environment, a_fault_while_writing_ends_later_writes_to_the_same_files_until_they_are_made_anew) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    const std::string bytes = content_of(file("data.mdb"));
    other_process writer([&] {
        alarm(60);
        sysdb_environment opened;
        sysdb_transaction transaction;
        EXPECT_EQ(opened.open(directory_, sysdb_access::create), 0);
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0);
        std::filesystem::resize_file(file("data.mdb"), 8192);
        EXPECT_EQ(transaction.put("K", 2), SYSDB_FAULT);
        EXPECT_FALSE(transaction.is_open());
        std::ofstream(file("data.mdb"), std::ios::binary | std::ios::in) << bytes;
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), SYSDB_FAULT) << "sound again, but locked";
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), 0) << "readers need no lock";
        transaction.drop();
        EXPECT_EQ(renew_database(directory_, opened, renewal_reason::damaged, {}), 0);
        EXPECT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0);
        EXPECT_EQ(transaction.put("K", 3), 0);
        EXPECT_EQ(transaction.commit(), 0);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(writer.wait(), 0);
    EXPECT_EQ(raw("K"), std::string("i\x03\0\0\0", 5));
}

TEST_F(environment, a_database_that_nobody_else_wrote_to_is_not_looked_at_again) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    sysdb_environment opened;
    sysdb_transaction transaction;
    ASSERT_EQ(opened.open(directory_, sysdb_access::create), 0);
    for (int n = 0; n < 3; ++n) {
        ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::create), 0);
        ASSERT_EQ(transaction.put("K", n), 0);
        ASSERT_EQ(transaction.commit(), 0);
        const long first = read_calls();
        const long second = read_calls();
        ASSERT_EQ(transaction.begin(opened, "CELL", sysdb_access::read), 0);
        transaction.drop();
        EXPECT_EQ(read_calls() - second, second - first) << "those of the figure itself";
    }
}

}  // namespace
