// What platform/sysdb.h promises.
#include "platform/sysdb.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "tests/contract/world.h"

namespace {

constexpr int UNREAD = 4711;

class sysdb : public contract {
protected:
    using body = std::function<int(sysdb_handle *)>;

    // 0 when all of it succeeded, the commit included.
    static int in_transaction(int flags, const body &work, const char *database = "CELL") {
        sysdb_handle handle;
        std::memset(&handle, 0xa5, sizeof handle);  // it needs no initialisation
        if (sysdb_init(&handle, flags) != 0) {
            return -1;
        }
        const bool done = sysdb_txn_start(&handle, database, flags) == 0 && work(&handle) == 0;
        const int result = done ? sysdb_txn_end(&handle) : -1;
        sysdb_exit(&handle);
        return result;
    }
    static int write(const body &work, const char *database = "CELL") { return in_transaction(0, work, database); }
    static int read(const body &work, const char *database = "CELL") {
        return in_transaction(SYSDB_READ_ONLY, work, database);
    }

    static int int_of(const char *key, const char *database = "CELL") {
        int value = UNREAD;
        read([&](sysdb_handle *handle) { return sysdb_read_int(handle, key, &value); }, database);
        return value;
    }
};

TEST_F(sysdb, each_type_comes_back_as_it_was_written) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "I", -115, 0) + sysdb_write_dbl(handle, "D", -3.25, 0) +
                         sysdb_write_str(handle, "S", "310410", 0) + sysdb_write_str(handle, "E", "", 0);
              }),
              0);
    int integer = UNREAD;
    double real = UNREAD;
    char text[16] = "odd";
    char empty[16] = "odd";
    EXPECT_EQ(read([&](sysdb_handle *handle) {
                  return sysdb_read_int(handle, "I", &integer) + sysdb_read_dbl(handle, "D", &real) +
                         sysdb_read_str(handle, "S", text, sizeof text) +
                         sysdb_read_str(handle, "E", empty, sizeof empty);
              }),
              0);
    EXPECT_EQ(integer, -115);
    EXPECT_EQ(real, -3.25);
    EXPECT_STREQ(text, "310410");
    EXPECT_STREQ(empty, "");
}

TEST_F(sysdb, texts_are_copied) {
    char key[] = "K";
    char value[] = "text";
    ASSERT_EQ(write([&](sysdb_handle *handle) {
                  const int result = sysdb_write_str(handle, key, value, 0);
                  key[0] = value[0] = 'x';
                  return result;
              }),
              0);
    char text[16] = "odd";
    read([&](sysdb_handle *handle) { return sysdb_read_str(handle, "K", text, sizeof text); });
    EXPECT_STREQ(text, "text");
}

TEST_F(sysdb, a_key_keeps_the_type_of_its_last_write) {
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", "5", 0), 0);
    EXPECT_EQ(int_of("K"), UNREAD);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 5, 0), 0);
    EXPECT_EQ(int_of("K"), 5);
}

// One value of any type, read in all three ways; what fails leaves its output.
struct readings {
    int integer = UNREAD;
    double real = UNREAD;
    std::string text = "unread";
};

readings read_all(const sysdb_handle *handle_of_reader, const char *key) {
    sysdb_handle *handle = const_cast<sysdb_handle *>(handle_of_reader);
    readings found;
    char text[16] = "unread";
    const bool results[] = {sysdb_read_int(handle, key, &found.integer) == 0,
                            sysdb_read_dbl(handle, key, &found.real) == 0,
                            sysdb_read_str(handle, key, text, sizeof text) == 0};
    found.text = text;
    EXPECT_EQ(results[0], found.integer != UNREAD);
    EXPECT_EQ(results[1], found.real != UNREAD);
    EXPECT_EQ(results[2], found.text != "unread");
    return found;
}

TEST_F(sysdb, an_integer_key_reads_as_a_real_too_and_not_as_a_text) {
    for (const int value : {0, -999, INT_MAX, INT_MIN}) {
        ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", value, 0), 0);
        readings found;
        read([&](sysdb_handle *handle) { return found = read_all(handle, "K"), 0; });
        EXPECT_EQ(found.integer, value);
        EXPECT_EQ(found.real, static_cast<double>(value));
        EXPECT_EQ(found.text, "unread");
    }
}

TEST_F(sysdb, a_real_key_reads_as_its_integer_part_unless_an_int_cannot_hold_it) {
    struct row {
        const char *why;
        double stored;
        int integer;
    };
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    const row rows[] = {
        {"positive is cut towards zero", 12.9, 12},  {"negative is cut towards zero", -12.9, -12},
        {"between zero and minus one", -0.5, 0},     {"the last above INT_MAX", 2147483647.5, INT_MAX},
        {"one past INT_MAX", 2147483648.0, UNREAD},  {"the last below INT_MIN", -2147483648.5, INT_MIN},
        {"one past INT_MIN", -2147483649.0, UNREAD}, {"infinite", INFINITE, UNREAD},
        {"negative infinite", -INFINITE, UNREAD},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        ASSERT_EQ(write([&](sysdb_handle *handle) { return sysdb_write_dbl(handle, "K", each.stored, 0); }), 0);
        readings found;
        read([&](sysdb_handle *handle) { return found = read_all(handle, "K"), 0; });
        EXPECT_EQ(found.integer, each.integer);
        EXPECT_EQ(found.real, each.stored);
        EXPECT_EQ(found.text, "unread");
    }
}

TEST_F(sysdb, what_is_no_number_has_no_integer_part) {
    ASSERT_EQ(write([](sysdb_handle *handle) { return sysdb_write_dbl(handle, "K", std::nan(""), 0); }), 0);
    EXPECT_EQ(int_of("K"), UNREAD);
}

TEST_F(sysdb, a_text_key_reads_as_no_number_even_when_it_looks_like_one) {
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", "12", 0), 0);
    readings found;
    read([&](sysdb_handle *handle) { return found = read_all(handle, "K"), 0; });
    EXPECT_EQ(found.integer, UNREAD);
    EXPECT_EQ(found.real, UNREAD);
    EXPECT_EQ(found.text, "12");
}

TEST_F(sysdb, a_missing_key_reads_as_nothing) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    readings found;
    read([&](sysdb_handle *handle) { return found = read_all(handle, "NONE"), 0; });
    EXPECT_EQ(found.integer, UNREAD);
}

TEST_F(sysdb, a_text_is_cut_to_the_buffer_and_always_ended) {
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "K", "abcdef", 0), 0);
    struct row {
        const char *why;
        unsigned int size;
        bool read;
        const char *text;
    };
    static constexpr row ROWS[] = {
        {"fits with its NUL", 7, true, "abcdef"}, {"no room for the NUL", 6, true, "abcde"},
        {"one character", 2, true, "a"},          {"only the NUL", 1, true, ""},
        {"not even the NUL", 0, false, "odd"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        char text[16] = "odd";
        EXPECT_EQ(read([&](sysdb_handle *handle) { return sysdb_read_str(handle, "K", text, each.size); }) == 0,
                  each.read);
        EXPECT_STREQ(text, each.text);
    }
}

TEST_F(sysdb, keys_have_1_to_511_bytes_and_a_refused_one_spoils_nothing) {
    const std::string longest(511, 'k');
    const std::string too_long(512, 'k');
    for (const char *key : {"k", longest.c_str()}) {
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", key, 1, 0), 0) << key;
        EXPECT_EQ(sysdb_namedb_write_str(nullptr, "CELL", key, "x", 0), 0) << key;
        EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", key), 0) << key;
    }
    for (const char *key : {"", too_long.c_str()}) {
        EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", key, 1, 0), 0) << key;
        EXPECT_NE(sysdb_namedb_write_str(nullptr, "CELL", key, "x", 0), 0) << key;
        EXPECT_NE(sysdb_namedb_del(nullptr, "CELL", key), 0) << key;
        EXPECT_EQ(write([&](sysdb_handle *handle) {
                      int value = UNREAD;
                      EXPECT_NE(sysdb_write_int(handle, key, 1, 0), 0);
                      EXPECT_NE(sysdb_write_dbl(handle, key, 1, 0), 0);
                      EXPECT_NE(sysdb_write_str(handle, key, "x", 0), 0);
                      EXPECT_NE(sysdb_del(handle, key), 0);
                      EXPECT_NE(sysdb_read_int(handle, key, &value), 0);
                      return sysdb_write_int(handle, "K", 2, 0);
                  }),
                  0);
        EXPECT_EQ(int_of("K"), 2);
    }
}

TEST_F(sysdb, deleting_takes_a_key_away_and_a_missing_one_is_harmless) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "B", 2, 0), 0);
    EXPECT_EQ(write([](sysdb_handle *handle) { return sysdb_del(handle, "A") + sysdb_del(handle, "NONE"); }), 0);
    EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", "NONE"), 0);
    EXPECT_EQ(int_of("A"), UNREAD);
    EXPECT_EQ(int_of("B"), 2);
    EXPECT_EQ(sysdb_namedb_del(nullptr, "CELL", "B"), 0);
    EXPECT_EQ(int_of("B"), UNREAD);
}

TEST_F(sysdb, a_transaction_sees_its_own_writes_and_others_see_them_at_its_end) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    EXPECT_EQ(write([](sysdb_handle *handle) {
                  int value = UNREAD;
                  sysdb_write_int(handle, "K", 2, 0);
                  EXPECT_EQ(sysdb_read_int(handle, "K", &value), 0);
                  EXPECT_EQ(value, 2);
                  return 0;
              }),
              0);
    EXPECT_EQ(int_of("K"), 2);
}

TEST_F(sysdb, named_databases_are_apart) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "K", 2, 0), 0);
    EXPECT_EQ(int_of("K"), 1);
    EXPECT_EQ(int_of("K", "GPIO"), 2);
}

TEST_F(sysdb, a_writing_transaction_makes_a_missing_named_database_and_a_reading_one_fails) {
    const auto nothing = [](sysdb_handle *) { return 0; };
    EXPECT_NE(read(nothing), 0) << "nothing was ever written";
    ASSERT_EQ(write(nothing), 0);
    EXPECT_EQ(read(nothing), 0);
    EXPECT_NE(read(nothing, "GPIO"), 0);
}

TEST_F(sysdb, a_transaction_that_was_not_ended_is_dropped_with_its_writes) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
    ASSERT_EQ(sysdb_write_int(&handle, "K", 2, 0), 0);
    sysdb_exit(&handle);
    EXPECT_EQ(int_of("K"), 1);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 3, 0), 0) << "the next one is not refused";
}

TEST_F(sysdb, a_commit_that_fails_leaves_none_of_its_writes_and_ends_the_transaction) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
    world_.fill_the_database();
    sysdb_write_int(&handle, "K", 2, 0);
    sysdb_write_str(&handle, "BIG", std::string(200000, 'x').c_str(), 0);
    EXPECT_NE(sysdb_txn_end(&handle), 0);
    world_.make_room_in_the_database();
    EXPECT_NE(sysdb_txn_end(&handle), 0) << "it is over";
    EXPECT_NE(sysdb_write_int(&handle, "K", 2, 0), 0);
    sysdb_exit(&handle);
    EXPECT_EQ(int_of("K"), 1);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 3, 0), 0);
}

TEST_F(sysdb, outside_of_a_transaction_nothing_is_read_or_written) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    int value = UNREAD;
    EXPECT_NE(sysdb_txn_end(&handle), 0);
    EXPECT_NE(sysdb_read_int(&handle, "K", &value), 0);
    EXPECT_EQ(value, UNREAD);
    EXPECT_NE(sysdb_write_int(&handle, "K", 2, 0), 0);
    EXPECT_NE(sysdb_del(&handle, "K"), 0);
    sysdb_exit(&handle);
    EXPECT_EQ(int_of("K"), 1);
}

TEST_F(sysdb, a_session_may_have_one_transaction_after_the_other) {
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    for (const char *key : {"A", "B"}) {
        ASSERT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
        ASSERT_EQ(sysdb_write_int(&handle, key, 1, 0), 0);
        ASSERT_EQ(sysdb_txn_end(&handle), 0);
    }
    sysdb_exit(&handle);
    EXPECT_EQ(int_of("A") + int_of("B"), 2);
}

TEST_F(sysdb, a_session_or_transaction_that_only_reads_cannot_write) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    for (const int session_flags : {0, SYSDB_READ_ONLY}) {
        sysdb_handle handle = {};
        ASSERT_EQ(sysdb_init(&handle, session_flags), 0);
        ASSERT_EQ(sysdb_txn_start(&handle, "CELL", SYSDB_READ_ONLY), 0);
        EXPECT_NE(sysdb_write_int(&handle, "K", 2, 0), 0);
        EXPECT_NE(sysdb_del(&handle, "K"), 0);
        sysdb_exit(&handle);
    }
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_NE(sysdb_txn_start(&handle, "CELL", 0), 0);
    EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0), 0) << "nor may anybody else meanwhile";
    sysdb_exit(&handle);
    EXPECT_EQ(int_of("K"), 1);
}

TEST_F(sysdb, a_second_transaction_is_refused_and_the_first_goes_on) {
    EXPECT_EQ(write([](sysdb_handle *handle) {
                  EXPECT_NE(sysdb_txn_start(handle, "GPIO", 0), 0);
                  EXPECT_NE(write([](sysdb_handle *) { return 0; }), 0);
                  EXPECT_NE(read([](sysdb_handle *) { return 0; }), 0);
                  EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", "OTHER", 2, 0), 0);
                  EXPECT_NE(sysdb_namedb_del(nullptr, "CELL", "OTHER"), 0);
                  return sysdb_write_int(handle, "K", 1, 0);
              }),
              0);
    EXPECT_EQ(int_of("K"), 1);
    EXPECT_EQ(int_of("OTHER"), UNREAD);
}

TEST_F(sysdb, a_write_of_one_key_is_committed_when_it_returns) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "I", 7, 0), 0);
    EXPECT_EQ(int_of("I"), 7);
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "S", "text", 0), 0);
    char text[16] = "odd";
    read([&](sysdb_handle *handle) { return sysdb_read_str(handle, "S", text, sizeof text); });
    EXPECT_STREQ(text, "text");
}

}  // namespace
