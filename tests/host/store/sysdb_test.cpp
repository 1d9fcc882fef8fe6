// The platform functions of the system database: types, keys, sessions and transactions of one process.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "tests/host/store/store_fixture.h"

namespace {

using sysdb = store_test;

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

TEST_F(sysdb, each_type_comes_back_as_it_was_written) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "I", -115, 0) + sysdb_write_dbl(handle, "D", -3.25, 0) +
                         sysdb_write_str(handle, "S", "310410", 0) + sysdb_write_str(handle, "EMPTY", "", 0);
              }),
              0);
    int integer = 0;
    double real = 0;
    char text[16] = "?";
    char empty[16] = "?";
    ASSERT_EQ(read([&](sysdb_handle *handle) {
                  return sysdb_read_int(handle, "I", &integer) + sysdb_read_dbl(handle, "D", &real) +
                         sysdb_read_str(handle, "S", text, sizeof text) +
                         sysdb_read_str(handle, "EMPTY", empty, sizeof empty);
              }),
              0);
    EXPECT_EQ(integer, -115);
    EXPECT_EQ(real, -3.25);
    EXPECT_STREQ(text, "310410");
    EXPECT_STREQ(empty, "");
}

TEST_F(sysdb, values_lie_in_the_database_in_the_documented_form) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "I", -2, 0) + sysdb_write_dbl(handle, "D", 1.0, 0) +
                         sysdb_write_str(handle, "S", "ab", 0);
              }),
              0);
    EXPECT_EQ(raw("I"), "i\xfe\xff\xff\xff");
    EXPECT_EQ(raw("D"), std::string("r\0\0\0\0\0\0\xf0\x3f", 9));
    EXPECT_EQ(raw("S"), "sab");
}

TEST_F(sysdb, a_key_takes_the_type_of_its_last_write) {
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", "text", 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 5, 0), 0);
    EXPECT_EQ(read_int("K"), 5);
}

struct mismatch {
    const char *why;
    sysdb_value stored;
    int expected_int;  // unread when the read fails
    double expected_real;
    const char *expected_text;
};
constexpr int unread = 4711;

TEST_F(sysdb, reads_convert_between_numbers_and_refuse_every_other_type) {
    const std::vector<mismatch> cases = {
        {"an integer is a real too", -999, -999, -999.0, "unread"},
        {"the greatest integer", INT_MAX, INT_MAX, 2147483647.0, "unread"},
        {"the least integer", INT_MIN, INT_MIN, -2147483648.0, "unread"},
        {"a positive real is cut towards zero", 12.9, 12, 12.9, "unread"},
        {"a negative real is cut towards zero", -12.9, -12, -12.9, "unread"},
        {"between zero and minus one", -0.5, 0, -0.5, "unread"},
        {"last real above INT_MAX whose integer part fits", 2147483647.5, INT_MAX, 2147483647.5, "unread"},
        {"one past INT_MAX", 2147483648.0, unread, 2147483648.0, "unread"},
        {"last real below INT_MIN whose integer part fits", -2147483648.5, INT_MIN, -2147483648.5, "unread"},
        {"one past INT_MIN", -2147483649.0, unread, -2147483649.0, "unread"},
        {"infinite", std::numeric_limits<double>::infinity(), unread, std::numeric_limits<double>::infinity(),
         "unread"},
        {"not a number", not_a_number, unread, not_a_number, "unread"},
        {"a string is no number, even when it looks like one", "12", unread, unread, "12"},
    };
    for (const mismatch &c : cases) {
        sysdb_environment environment;
        sysdb_transaction transaction;
        ASSERT_EQ(environment.open(directory_, sysdb_access::create), 0);
        ASSERT_EQ(transaction.begin(environment, "CELL", sysdb_access::create), 0);
        ASSERT_EQ(transaction.put("K", c.stored), 0);
        ASSERT_EQ(transaction.commit(), 0);
        environment.close();
        int integer = unread;
        double real = unread;
        char text[16] = "unread";
        int results[3] = {};
        read([&](sysdb_handle *handle) {
            results[0] = sysdb_read_int(handle, "K", &integer);
            results[1] = sysdb_read_dbl(handle, "K", &real);
            results[2] = sysdb_read_str(handle, "K", text, sizeof text);
            return 0;
        });
        EXPECT_EQ(integer, c.expected_int) << c.why;
        EXPECT_EQ(results[0] == 0, c.expected_int != unread) << c.why;
        EXPECT_TRUE(real == c.expected_real || (std::isnan(real) && std::isnan(c.expected_real))) << c.why;
        EXPECT_EQ(results[1] == 0, c.expected_real != unread) << c.why;
        EXPECT_STREQ(text, c.expected_text) << c.why;
        EXPECT_EQ(results[2] == 0, std::string(c.expected_text) != "unread") << c.why;
    }
}

TEST_F(sysdb, a_string_is_cut_to_the_buffer_and_always_ended) {
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", "abcdef", 0), 0);
    struct row {
        const char *why;
        unsigned int size;
        int result;
        const char *text;
    };
    for (const row &c :
         {row{"fits with its NUL", 7, 0, "abcdef"}, row{"no room for the NUL", 6, 0, "abcde"},
          row{"one character", 2, 0, "a"}, row{"only the NUL", 1, 0, ""}, row{"not even the NUL", 0, -1, "unread"}}) {
        char text[16] = "unread";
        int result = 99;
        read([&](sysdb_handle *handle) { return result = sysdb_read_str(handle, "K", text, c.size); });
        EXPECT_EQ(result, c.result) << c.why;
        EXPECT_STREQ(text, c.text) << c.why;
    }
}

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

TEST_F(sysdb, a_refused_key_does_not_spoil_the_rest_of_the_transaction) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(write([](sysdb_handle *handle) {
                  EXPECT_NE(sysdb_write_int(handle, "", 1, 0), 0);
                  return sysdb_write_int(handle, "K", 2, 0);
              }),
              0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(read_int("K"), 2);
}

TEST_F(sysdb, deleting_takes_the_key_away_and_a_missing_one_is_harmless) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "B", 2, 0), 0);
    EXPECT_EQ(write([](sysdb_handle *handle) { return sysdb_del(handle, "A") + sysdb_del(handle, "NONE"); }), 0);
    EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", "NONE"), 0);
    EXPECT_EQ(read_int("A", unread), unread);
    EXPECT_EQ(read_int("B"), 2);
    EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", "B"), 0);
    EXPECT_EQ(read_int("B", unread), unread);
}

TEST_F(sysdb, named_databases_are_apart) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "K", 2, 0), 0);
    EXPECT_EQ(read_int("K"), 1);
}

TEST_F(sysdb, a_transaction_that_was_not_ended_is_dropped_with_its_writes) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
    ASSERT_EQ(sysdb_write_int(&handle, "K", 2, 0), 0);
    sysdb_exit(&handle);
    EXPECT_EQ(read_int("K"), 1);
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

TEST_F(sysdb, the_first_writer_makes_the_folder_for_all_to_read) {
    const mode_t old = umask(022);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    umask(old);
    struct stat status = {};
    ASSERT_EQ(stat(directory_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0755U);
    ASSERT_EQ(stat(file("data.mdb").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
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

TEST_F(sysdb, a_reader_cannot_write) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    testing::internal::CaptureStderr();
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_NE(sysdb_txn_start(&handle, "CELL", 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", SYSDB_READ_ONLY), 0);
    EXPECT_NE(sysdb_write_int(&handle, "K", 2, 0), 0);
    EXPECT_NE(sysdb_del(&handle, "K"), 0);
    sysdb_exit(&handle);
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", SYSDB_READ_ONLY), 0);
    EXPECT_NE(sysdb_write_int(&handle, "K", 2, 0), 0) << "the session may write, the transaction may not";
    sysdb_exit(&handle);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(read_int("K"), 1);
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

TEST_F(sysdb, a_list_is_in_the_order_of_the_bytes) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "b", 1, 0) + sysdb_write_int(handle, "B", 2, 0) +
                         sysdb_write_int(handle, "\xc3\xa4", 3, 0) + sysdb_write_int(handle, "A_1", 4, 0) +
                         sysdb_write_int(handle, "A", 5, 0);
              }),
              0);
    sysdb_environment environment;
    sysdb_transaction transaction;
    ASSERT_EQ(environment.open(directory_, sysdb_access::read), 0);
    ASSERT_EQ(transaction.begin(environment, "CELL", sysdb_access::read), 0);
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

TEST_F(sysdb, a_session_uses_sixteen_named_databases_and_no_more) {
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    for (int n = 1; n <= 16; ++n) {
        EXPECT_EQ(sysdb_txn_start(&handle, ("DB" + std::to_string(n)).c_str(), 0), 0) << n;
        EXPECT_EQ(sysdb_txn_end(&handle), 0) << n;
    }
    testing::internal::CaptureStderr();
    EXPECT_NE(sysdb_txn_start(&handle, "DB17", 0), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("at most 16 named databases"), std::string::npos);
    EXPECT_EQ(sysdb_txn_start(&handle, "DB1", 0), 0) << "the others stay in use";
    sysdb_exit(&handle);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "DB17", "K", 1, 0), 0) << "the next session begins anew";
}

}  // namespace
