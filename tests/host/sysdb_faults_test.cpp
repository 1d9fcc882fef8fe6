// What may be wrong with the folder, the file system and what lies in it: always a refusal, never a crash, one message.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/host/sysdb_fixture.h"
#include "tests/support/own_mounts.h"

namespace {

using sysdb_faults = sysdb_test;

// For another process, whose complaints are expected and not looked at.
void be_quiet() {
    [[maybe_unused]] const FILE *nowhere = std::freopen("/dev/null", "w", stderr);
}

// Every way to the database is refused, twice, with one message.
void expect_refused(const std::string &message, const char *why) {
    testing::internal::CaptureStderr();
    for (int cycle = 0; cycle < 2; ++cycle) {
        sysdb_handle handle = {};
        EXPECT_NE(sysdb_init(&handle, 0), 0) << why;
        EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0) << why;
        EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0) << why;
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find(message), std::string::npos) << why << ": " << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << why << ": " << told;
}

TEST_F(sysdb_faults, a_folder_that_cannot_be_made) {
    folder_.write("file", "");
    const environment_variable below_file("SYSDB_DIR", folder_.path("file") + "/sysdb");
    expect_refused("Not a directory; start the program", "below a regular file");
    const environment_variable no_parent("SYSDB_DIR", folder_.path("none") + "/sysdb");
    expect_refused("No such file or directory; start the program", "its parent is missing");
    const environment_variable is_file("SYSDB_DIR", folder_.path("file"));
    expect_refused("Not a directory; start the program", "the folder is a file");
}

// Readers are refused, a writer goes on with a new database, says so once, and keeps the old file.
void expect_renewed(const std::string &folder, const char *why) {
    SCOPED_TRACE(why);
    sysdb_handle handle = {};
    testing::internal::CaptureStderr();
    EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("the database is damaged"), std::string::npos);
    testing::internal::CaptureStderr();
    for (int n = 1; n <= 2; ++n) {
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", n, 0), 0);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zelt: system database " + folder +
                  ": was damaged; a new one is in its place, the old file is data.mdb.damaged\n");
    EXPECT_TRUE(std::filesystem::exists(folder + "/data.mdb.damaged"));
    EXPECT_FALSE(std::filesystem::exists(folder + "/renewal"));
    ASSERT_EQ(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    sysdb_exit(&handle);
}

TEST_F(sysdb_faults, a_data_file_of_another_format_is_set_aside) {
    struct row {
        const char *why;
        std::string content;
    };
    for (const row &c : {row{"text", "hello\n"}, row{"pages of text", std::string(20000, 'x')},
                         row{"pages of zeros", std::string(20000, '\0')}, row{"one byte", "x"}}) {
        const temporary_folder folder;
        const environment_variable variable("SYSDB_DIR", folder.path());
        folder.write("data.mdb", c.content);
        expect_renewed(folder.path(), c.why);
        EXPECT_EQ(content_of(folder.path("data.mdb.damaged")), c.content) << c.why << ": left as it was";
    }
}

TEST_F(sysdb_faults, a_data_file_that_is_no_file_is_set_aside) {
    std::filesystem::create_directories(file("data.mdb"));
    expect_renewed(directory_, "a folder");
    const temporary_folder folder;
    const environment_variable variable("SYSDB_DIR", folder.path());
    ASSERT_EQ(mkfifo(folder.path("data.mdb").c_str(), 0644), 0);
    expect_renewed(folder.path(), "a FIFO must not be waited for");
}

TEST_F(sysdb_faults, an_empty_data_file_is_filled_by_the_next_writer) {
    std::filesystem::create_directory(directory_);
    std::ofstream(file("data.mdb")).flush();
    sysdb_handle handle = {};
    EXPECT_NE(sysdb_init(&handle, SYSDB_READ_ONLY), 0);
    EXPECT_FALSE(std::filesystem::exists(file("lock.mdb"))) << "the lock is for the writer who fills it";
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    EXPECT_EQ(read_int("K"), 1);
}

TEST_F(sysdb_faults, a_lock_file_of_another_format_is_made_anew) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    let_go_of_the_database();
    std::ofstream(file("lock.mdb"), std::ios::binary) << std::string(3000, 'x');
    EXPECT_EQ(read_int("K"), 1);
}

TEST_F(sysdb_faults, values_of_another_form_are_refused_and_told_by_key) {
    struct row {
        const char *why;
        std::string bytes;
    };
    for (const row &c : {row{"empty", ""}, row{"unknown type", "x1234"}, row{"integer, one byte short", "i123"},
                         row{"integer, one byte long", "i12345"}, row{"integer without payload", "i"},
                         row{"real, one byte short", "r1234567"}, row{"real, one byte long", "r123456789"}}) {
        const std::string key = std::string("KEY ") + c.why;
        let_go_of_the_database();
        write_raw("CELL", key, c.bytes);
        testing::internal::CaptureStderr();
        for (int cycle = 0; cycle < 2; ++cycle) {
            int integer = 4711;
            double real = 4711;
            char text[8] = "unread";
            EXPECT_EQ(read([&](sysdb_handle *handle) {
                          EXPECT_NE(sysdb_read_int(handle, key.c_str(), &integer), 0) << c.why;
                          EXPECT_NE(sysdb_read_dbl(handle, key.c_str(), &real), 0) << c.why;
                          EXPECT_NE(sysdb_read_str(handle, key.c_str(), text, sizeof text), 0) << c.why;
                          return 0;
                      }),
                      0);
            EXPECT_EQ(integer, 4711) << c.why;
            EXPECT_EQ(real, 4711) << c.why;
            EXPECT_STREQ(text, "unread") << c.why;
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "zelt: system database " + directory_ +
                      ": a value is neither an integer, a real nor a string; delete or write anew the key " + key +
                      "\n");
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", key.c_str(), 3, 0), 0) << "a write mends it";
        EXPECT_EQ(read_int(key.c_str()), 3) << c.why;
    }
}

TEST_F(sysdb_faults, a_named_database_with_other_rules_is_refused) {
    write_raw("CELL", "K", "i\x01", MDB_DUPSORT);
    testing::internal::CaptureStderr();
    EXPECT_EQ(read([](sysdb_handle *) { return 0; }), 2);
    EXPECT_NE(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("the database is damaged"), std::string::npos);
}

TEST_F(sysdb_faults, a_full_database_keeps_what_was_committed) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const std::string big(100000, 'x');
    testing::internal::CaptureStderr();
    bool refused = false;
    const int result = write([&](sysdb_handle *handle) {
        sysdb_write_int(handle, "K", 2, 0);
        for (int n = 0; n < 100; ++n) {  // 10 MB into 4 MiB
            refused |= sysdb_write_str(handle, ("BIG" + std::to_string(n)).c_str(), big.c_str(), 0) != 0;
        }
        return 0;  // like a caller that tests no write
    });
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(refused);
    EXPECT_EQ(result, 4) << "the end of the transaction says that nothing was committed";
    EXPECT_NE(told.find("MDB_MAP_FULL"), std::string::npos) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_EQ(read_int("K"), 1);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 3, 0), 0) << "the next transaction is not troubled";
    EXPECT_EQ(read_int("K"), 3);
}

TEST_F(sysdb_faults, a_commit_that_the_file_system_refuses_leaves_the_last_one) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const auto bytes = static_cast<rlim_t>(std::filesystem::file_size(file("data.mdb")));
    other_process limited([&] {
        be_quiet();
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string big(200000, 'x');
        return write([&](sysdb_handle *handle) {
            return sysdb_write_int(handle, "K", 2, 0) + sysdb_write_str(handle, "BIG", big.c_str(), 0);
        });
    });
    EXPECT_EQ(limited.wait(), 4);
    EXPECT_EQ(read_int("K"), 1);
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 3, 0), 0);
}

TEST_F(sysdb_faults, a_full_memory_file_system_refuses_at_each_step_and_works_once_there_is_room) {
    std::filesystem::create_directory(folder_.path("memory"));
    const environment_variable variable("SYSDB_DIR", folder_.path("memory/sysdb"));
    const int result = with_mounts_of_its_own([&] {
        be_quiet();
        if (mount("none", folder_.path("memory").c_str(), "tmpfs", 0, "size=1m") != 0) {
            return 77;
        }
        // Room for n pages more in each round: for nothing, for the data file's first page, for the lock file, ...
        for (std::streamsize pages = 0; pages < 8; ++pages) {
            std::ofstream filler(folder_.path("memory/filler"), std::ios::binary);
            const std::string block(4096, 'x');
            while (filler.write(block.data(), 4096).flush()) {
            }
            filler.close();
            const auto size = std::filesystem::file_size(folder_.path("memory/filler"));
            std::filesystem::resize_file(folder_.path("memory/filler"), size - static_cast<std::size_t>(pages) * 4096);
            const bool written = sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0) == 0;
            if (written != (read_int("K") == 1) || (pages == 0 && written)) {
                return 1;  // a success that is none, or a failure that is none
            }
            std::filesystem::remove(folder_.path("memory/filler"));
            if (sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0) != 0 || read_int("K") != 2) {
                return 2;  // not usable again
            }
            std::filesystem::remove_all(folder_.path("memory/sysdb"));
        }
        return 0;
    });
    if (result == 77) {
        GTEST_SKIP() << "the kernel does not allow mounts of our own";
    }
    EXPECT_EQ(result, 0) << "1, 2: see the return; 135: SIGBUS";
}

TEST_F(sysdb_faults, a_read_only_file_system_can_be_read_and_refuses_writers) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const int result = with_mounts_of_its_own([&] {
        if (mount(directory_.c_str(), directory_.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            mount("none", directory_.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
            return 77;
        }
        testing::internal::CaptureStderr();
        const bool refused = sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0) != 0;
        const std::string told = testing::internal::GetCapturedStderr();
        return (refused ? 0 : 1) + (read_int("K") == 1 ? 0 : 2) +
               (told.find("Read-only file system; name another folder") != std::string::npos ? 0 : 4);
    });
    if (result == 77) {
        GTEST_SKIP() << "the kernel does not allow mounts of our own";
    }
    EXPECT_EQ(result, 0) << "1: written, 2: not read, 4: not told";
}

// ---- a database made anew

TEST_F(sysdb_faults, all_that_was_written_returns_with_the_next_write_after_the_folder_was_removed) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "A", 1, 0) + sysdb_write_str(handle, "B", "b", 0) +
                         sysdb_write_dbl(handle, "C", 2.5, 0);
              }),
              0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "G", 7, 0), 0);
    ASSERT_EQ(sysdb_namedb_del(nullptr, "CELL", "B"), 0);
    std::filesystem::remove_all(directory_);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "D", 4, 0), 0);
    let_go_of_the_database();
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}, {"C", 2.5}, {"D", 4}}));
    EXPECT_EQ(list("GPIO"), (sysdb_values{{"G", 7}}));
}

TEST_F(sysdb_faults, what_was_dropped_or_not_committed_does_not_return) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    ASSERT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
    ASSERT_EQ(sysdb_write_int(&handle, "A", 2, 0), 0);
    sysdb_exit(&handle);
    std::filesystem::remove_all(directory_);
    ASSERT_EQ(sysdb_namedb_del(nullptr, "CELL", "NONE"), 0);
    let_go_of_the_database();
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}}));
}

TEST_F(sysdb_faults, a_write_of_what_is_there_already_takes_no_commit) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
    const std::string before = content_of(file("data.mdb"));
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
    EXPECT_EQ(content_of(file("data.mdb")), before);
    ASSERT_EQ(write([](sysdb_handle *handle) { return sysdb_write_dbl(handle, "A", 1, 0); }), 0);
    EXPECT_NE(content_of(file("data.mdb")), before) << "another type";
}

// All pages of trees behind the first two that hold this text.
void damage_pages_with(const std::string &data_file, const std::string &text) {
    std::string bytes = content_of(data_file);
    for (std::size_t page = 8192; page + 4096 <= bytes.size(); page += 4096) {
        if (bytes.substr(page, 4096).find(text) != std::string::npos) {
            bytes.replace(page, 4096, 4096, '\xff');
        }
    }
    std::ofstream(data_file, std::ios::binary | std::ios::in | std::ios::out) << bytes;
}

TEST_F(sysdb_faults, keys_of_others_that_can_still_be_read_come_along) {
    const std::string longer(20000, 'x');
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "OURS", 1, 0), 0);
    other_puts({{"ALIEN", std::string("in a page that gets lost")}}, "LOST");
    other_puts({{"G", 7}, {"LONG", longer}}, "GPIO");
    damage_pages_with(file("data.mdb"), "in a page that gets lost");
    damage_pages_with(file("data.mdb"), "OURS");
    testing::internal::CaptureStderr();
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "NEW", 2, 0), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("was damaged"), std::string::npos);
    let_go_of_the_database();
    EXPECT_EQ(list("CELL"), (sysdb_values{{"OURS", 1}, {"NEW", 2}}));
    EXPECT_EQ(list("GPIO"), (sysdb_values{{"G", 7}, {"LONG", longer}}));
}

TEST_F(sysdb_faults, a_file_cut_short_within_a_transaction_has_all_again_with_the_next) {
    for (const std::uintmax_t bytes : {0U, 4096U, 8192U}) {
        SCOPED_TRACE(bytes);
        std::filesystem::remove_all(directory_);
        ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
        testing::internal::CaptureStderr();
        write([&](sysdb_handle *handle) {
            sysdb_write_int(handle, "B", 2, 0);
            std::filesystem::resize_file(file("data.mdb"), bytes);
            return sysdb_write_int(handle, "C", 3, 0);
        });
        EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "D", 4, 0), 0);
        testing::internal::GetCapturedStderr();
        let_go_of_the_database();
        const sysdb_values values = list("CELL");
        EXPECT_TRUE(values == (sysdb_values{{"A", 1}, {"B", 2}, {"C", 3}, {"D", 4}})) << values.size();
    }
}

TEST_F(sysdb_faults, several_writers_that_meet_the_damage_lose_nothing) {
    for (int round = 0; round < 10; ++round) {
        ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", round, 0), 0);
        let_go_of_the_database();
        std::ofstream(file("data.mdb"), std::ios::binary) << std::string(20000, 'x');
        std::vector<std::unique_ptr<other_process>> writers;
        for (const char *key : {"B", "C", "D", "E"}) {
            writers.push_back(std::make_unique<other_process>([=] {
                be_quiet();
                return sysdb_namedb_write_int(nullptr, "CELL", key, round, 0) == 0 ? 0 : 1;
            }));
        }
        for (const auto &writer : writers) {
            EXPECT_EQ(writer->wait(), 0);
        }
        sysdb_values expected;
        for (const char *key : {"B", "C", "D", "E"}) {
            expected.emplace(key, round);
        }
        EXPECT_EQ(list("CELL"), expected);
    }
}

TEST_F(sysdb_faults, a_lock_file_scribbled_over_while_it_is_in_use_costs_nothing) {
    for (const char *byte : {"\xff", "\x01", "cut"}) {
        for (const bool with_a_reader : {false, true}) {
            SCOPED_TRACE(std::string(byte) + (with_a_reader ? ", with a reader" : ""));
            std::filesystem::remove_all(directory_);
            ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "A", 1, 0), 0);
            const notice open;
            other_process reader([&] {
                sysdb_environment environment;
                const int result = environment.open(directory_, sysdb_access::read);
                open.give();
                pause();
                return result;
            });
            open.await();
            if (!with_a_reader) {
                reader.kill();
            }
            if (byte == std::string("cut")) {
                std::filesystem::resize_file(file("lock.mdb"), 0);
            } else {
                std::ofstream(file("lock.mdb"), std::ios::binary | std::ios::in | std::ios::out)
                    << std::string(8192, *byte);
            }
            testing::internal::CaptureStderr();
            EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "B", 2, 0), 0);
            EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "C", 3, 0), 0);
            testing::internal::GetCapturedStderr();
            let_go_of_the_database();
            EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}, {"B", 2}, {"C", 3}}));
        }
    }
}

}  // namespace
