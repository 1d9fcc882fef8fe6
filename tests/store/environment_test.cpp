// The environment itself: the form of what lies in it, and whose commit a transaction reads.
#include "store/environment.h"

#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include "tests/store/store_fixture.h"

namespace {

using environment = store_test;

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

TEST_F(environment, is_for_other_programs_whatever_the_umask) {
    namespace fs = std::filesystem;
    for (const mode_t mask : {0077U, 0000U}) {
        SCOPED_TRACE(mask);
        fs::remove_all(directory_);
        const mode_t earlier = umask(mask);
        EXPECT_EQ(put({{"K", 1}}), 0);
        umask(earlier);
        EXPECT_EQ(fs::status(directory_).permissions(), fs::perms(0755));
        EXPECT_EQ(fs::status(directory_ + "/data.mdb").permissions(), fs::perms(0644));
        EXPECT_EQ(fs::status(directory_ + "/lock.mdb").permissions(), fs::perms(0644));
    }
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
}

}  // namespace
