// What may be wrong with the folder, the file system and what lies in it: always a refusal, never a crash, one message.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/host/sysdb_fixture.h"
#include "tests/support/private_namespace.h"

namespace {

using sysdb_faults = sysdb_test;

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

TEST_F(sysdb_faults, a_data_file_of_another_format) {
    struct row {
        const char *why;
        std::string content;
    };
    for (const row &c : {row{"text", "hello\n"}, row{"pages of text", std::string(20000, 'x')},
                         row{"pages of zeros", std::string(20000, '\0')}, row{"one byte", "x"}}) {
        const temporary_folder folder;
        const environment_variable variable("SYSDB_DIR", folder.path());
        folder.write("data.mdb", c.content);
        expect_refused("this is no system database", c.why);
        EXPECT_EQ(content_of(folder.path("data.mdb")), c.content) << c.why << ": left as it was";
    }
}

TEST_F(sysdb_faults, a_data_file_that_is_no_file) {
    std::filesystem::create_directories(file("data.mdb"));
    expect_refused("this is no system database", "a folder");
    const temporary_folder folder;
    const environment_variable variable("SYSDB_DIR", folder.path());
    ASSERT_EQ(mkfifo(folder.path("data.mdb").c_str(), 0644), 0);
    expect_refused("this is no system database", "a FIFO must not be waited for");
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
    EXPECT_NE(testing::internal::GetCapturedStderr().find("this is no system database"), std::string::npos);
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

// For another process, whose complaints are expected and not looked at.
void be_quiet() {
    [[maybe_unused]] const FILE *nowhere = std::freopen("/dev/null", "w", stderr);
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

// In a process with mounts of its own. 77: the kernel does not let us have them.
int with_mounts_of_its_own(const std::function<int()> &body) {
    other_process child([&] {
        const bool ours =
            unshare_as_root(CLONE_NEWNS) && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        return ours ? body() : 77;
    });
    return child.wait();
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

}  // namespace
