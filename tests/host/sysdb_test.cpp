// The platform functions of the system database in one process, beyond what tests/contract holds them to.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/host/sysdb_fixture.h"

namespace {

using sysdb = sysdb_test;

constexpr int unread = 4711;

TEST_F(sysdb, missing_keys_and_null_arguments_are_refused_and_leave_the_output) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    int integer = unread;
    char text[16] = "unread";
    testing::internal::CaptureStderr();
    EXPECT_EQ(read([&](sysdb_handle *handle) {
                  EXPECT_NE(sysdb_read_int(handle, "NONE", &integer), 0);
                  EXPECT_NE(sysdb_read_int(handle, nullptr, &integer), 0);
                  EXPECT_NE(sysdb_read_int(handle, "K", nullptr), 0);
                  EXPECT_NE(sysdb_read_dbl(handle, "K", nullptr), 0);
                  EXPECT_NE(sysdb_read_str(handle, "K", nullptr, 5), 0);
                  EXPECT_NE(sysdb_read_str(handle, "NONE", text, sizeof text), 0);
                  return 0;
              }),
              0);
    EXPECT_EQ(integer, unread);
    EXPECT_STREQ(text, "unread");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("has 1 to 511 bytes"), std::string::npos) << "the null key";
    EXPECT_NE(sysdb_init(nullptr, 0), 0);
    EXPECT_NE(sysdb_txn_start(nullptr, "CELL", 0), 0);
    EXPECT_NE(sysdb_txn_end(nullptr), 0);
    EXPECT_NE(sysdb_del(nullptr, "K"), 0);
    EXPECT_NE(sysdb_write_int(nullptr, "K", 1, 0), 0);
    sysdb_exit(nullptr);
}

TEST_F(sysdb, keys_have_1_to_511_bytes) {
    struct row {
        const char *why;
        const char *key;
        bool accepted;
    };
    const std::string longest(511, 'k');
    const std::string too_long(512, 'k');
    testing::internal::CaptureStderr();
    for (const row &c :
         {row{"one byte", "k", true}, row{"as long as possible", longest.c_str(), true},
          row{"one byte too long", too_long.c_str(), false}, row{"empty", "", false}, row{"null", nullptr, false}}) {
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", c.key, 1, 0) == 0, c.accepted) << c.why;
        EXPECT_EQ(sysdb_namedb_write_str(nullptr, "CELL", c.key, "x", 0) == 0, c.accepted) << c.why;
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, c.key, "K", 1, 0) == 0, c.accepted) << c.why << ", as a database";
        EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", c.key) == 0, c.accepted) << c.why;
    }
    EXPECT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", nullptr, 0), -1);
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 1) << complaint;
}

TEST_F(sysdb, the_handle_needs_no_initialisation) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle handle = {};
    std::memset(&handle, 0xa5, sizeof handle);
    ASSERT_EQ(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_NE(sysdb_txn_end(&handle), 0) << "no transaction was started";
    EXPECT_EQ(sysdb_txn_start(&handle, "CELL", SYSDB_READ_ONLY), 0);
    EXPECT_EQ(sysdb_txn_end(&handle), 0);
    EXPECT_EQ(sysdb_txn_start(&handle, "CELL", SYSDB_READ_ONLY), 0) << "a second transaction of the session";
    sysdb_exit(&handle);
    sysdb_exit(&handle);
    EXPECT_NE(sysdb_txn_start(&handle, "CELL", 0), 0) << "the session is closed";
}

TEST_F(sysdb, a_reader_makes_nothing_and_says_nothing) {
    testing::internal::CaptureStderr();
    sysdb_handle handle = {};
    EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_FALSE(std::filesystem::exists(directory_));

    std::filesystem::create_directory(directory_);
    EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_TRUE(std::filesystem::is_empty(directory_));

    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const std::string before = content_of(file("data.mdb"));
    EXPECT_EQ(read([](sysdb_handle *) { return 0; }, "GPIO"), 2) << "no such named database";
    EXPECT_EQ(content_of(file("data.mdb")), before);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(sysdb, sessions_nest_and_share_one_environment) {
    sysdb_handle outer = {};
    sysdb_handle inner = {};
    ASSERT_EQ(sysdb_init(&outer, 0), 0);
    ASSERT_EQ(sysdb_init(&inner, SYSDB_READ_ONLY), 0);
    EXPECT_EQ(sysdb_namedb_write_int(&outer, "CELL", "K", 1, 0), 0);
    sysdb_exit(&outer);
    int value = 0;
    EXPECT_EQ(sysdb_txn_start(&inner, "CELL", SYSDB_READ_ONLY), 0) << "the environment stays for the session left";
    EXPECT_EQ(sysdb_read_int(&inner, "K", &value), 0);
    EXPECT_EQ(value, 1);
    sysdb_exit(&inner);
}

TEST_F(sysdb, a_writer_inside_a_reading_session_is_refused_and_told) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle reader = {};
    ASSERT_EQ(sysdb_init(&reader, SYSDB_READ_ONLY), 0);
    testing::internal::CaptureStderr();
    EXPECT_NE(sysdb_namedb_write_int(&reader, "CELL", "K", 2, 0), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("end the transaction or the reading session"),
              std::string::npos);
    sysdb_exit(&reader);
    EXPECT_EQ(read_int("K"), 1);
}

// LMDB would wait for itself for ever when the second one writes, and mix up named databases when it reads.
TEST_F(sysdb, a_second_transaction_is_refused_and_the_first_goes_on) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(write([](sysdb_handle *handle) {
                  EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", "OTHER", 2, 0), 0);
                  EXPECT_EQ(read([](sysdb_handle *) { return 0; }), 2);
                  EXPECT_NE(sysdb_txn_start(handle, "GPIO", 0), 0);
                  return sysdb_write_int(handle, "K", 1, 0);
              }),
              0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(read_int("K"), 1);
    EXPECT_EQ(read_int("OTHER", unread), unread);
}

TEST_F(sysdb, a_session_uses_any_number_of_named_databases) {
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    for (int n = 1; n <= 40; ++n) {
        EXPECT_EQ(sysdb_txn_start(&handle, ("DB" + std::to_string(n)).c_str(), 0), 0) << n;
        EXPECT_EQ(sysdb_txn_end(&handle), 0) << n;
    }
    sysdb_exit(&handle);
}

// An open environment trusts what it knows of a named database; the pages of a deleted one are free.
TEST_F(sysdb, a_named_database_that_another_program_deletes_is_made_anew) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "G", 7, 0), 0);
    EXPECT_EQ(other_process([&] { return delete_database("CELL"); }).wait(), 0);
    EXPECT_EQ(read([](sysdb_handle *) { return 0; }), 2);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "L", 2, 0), 0);
    EXPECT_EQ(read_int("K", unread), unread);
    EXPECT_EQ(read_int("L"), 2);
}

}  // namespace
