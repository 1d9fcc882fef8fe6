// Several processes on one database: all or nothing, and none that dies harms the others.
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <sys/prctl.h>
#include <unistd.h>

#include "platform/module_access.h"
#include "tests/host/sysdb_fixture.h"

namespace {

using sysdb_processes = sysdb_test;

int write_pair(int value) {
    sysdb_handle handle = {};
    if (sysdb_init(&handle, 0) != 0 || sysdb_txn_start(&handle, "CELL", 0) != 0) {
        return 1;
    }
    sysdb_write_int(&handle, "FIRST", value, 0);
    sysdb_write_int(&handle, "SECOND", value, 0);
    const int result = sysdb_txn_end(&handle);
    sysdb_exit(&handle);
    return result;
}

// Enters a transaction, says so, and stays in it until it is killed.
void stay_in_transaction(int flags, const notice &inside) {
    sysdb_handle handle = {};
    if (sysdb_init(&handle, flags) == 0 && sysdb_txn_start(&handle, "CELL", flags) == 0 &&
        (flags != 0 || sysdb_write_int(&handle, "FIRST", -1, 0) == 0)) {
        inside.give();
    }
    for (;;) {
        pause();
    }
}

TEST_F(sysdb_processes, readers_see_all_of_a_transaction_or_nothing) {
    ASSERT_EQ(write_pair(0), 0);
    other_process writer([] {
        for (int n = 1; n <= 2000; ++n) {
            if (write_pair(n) != 0) {
                return 1;
            }
        }
        return 0;
    });
    int last = 0;
    while (last < 2000) {
        int first = -1;
        int second = -2;
        ASSERT_EQ(read([&](sysdb_handle *handle) {
                      return sysdb_read_int(handle, "FIRST", &first) + sysdb_read_int(handle, "SECOND", &second);
                  }),
                  0);
        ASSERT_EQ(first, second);
        ASSERT_GE(first, last);
        last = first;
    }
    EXPECT_EQ(writer.wait(), 0);
}

TEST_F(sysdb_processes, two_writers_at_the_birth_of_the_database_lose_nothing) {
    for (int round = 0; round < 50; ++round) {
        std::filesystem::remove_all(directory_);
        other_process first([] { return sysdb_namedb_write_int(nullptr, "CELL", "FIRST", 1, 0) == 0 ? 0 : 1; });
        other_process second([] { return sysdb_namedb_write_int(nullptr, "CELL", "SECOND", 2, 0) == 0 ? 0 : 1; });
        EXPECT_EQ(first.wait() + second.wait(), 0);
        EXPECT_EQ(read_int("FIRST"), 1);
        EXPECT_EQ(read_int("SECOND"), 2);
    }
}

TEST_F(sysdb_processes, a_writer_waits_for_the_other_to_end) {
    ASSERT_EQ(write_pair(1), 0);
    const notice inside;
    other_process slow([&] {
        return write([&](sysdb_handle *handle) {
            inside.give();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return sysdb_write_int(handle, "FIRST", 2, 0);
        });
    });
    inside.await();
    EXPECT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "FIRST", 3, 0), 0);
    EXPECT_EQ(slow.wait(), 0);
    EXPECT_EQ(read_int("FIRST"), 3) << "ours came after the one that we waited for";
}

TEST_F(sysdb_processes, a_writer_killed_in_its_transaction_leaves_no_trace) {
    ASSERT_EQ(write_pair(1), 0);
    const notice inside;
    other_process victim([&] {
        stay_in_transaction(0, inside);
        return 0;
    });
    inside.await();
    victim.kill();
    EXPECT_EQ(read_int("FIRST"), 1);
    other_process next([] { return write_pair(2); });
    EXPECT_EQ(next.wait(), 0);
    EXPECT_EQ(read_int("FIRST"), 2);
}

TEST_F(sysdb_processes, a_writer_killed_while_another_waits_for_it_lets_that_one_in) {
    ASSERT_EQ(write_pair(1), 0);
    const notice inside;
    other_process victim([&] {
        stay_in_transaction(0, inside);
        return 0;
    });
    inside.await();
    other_process waiting([] { return write_pair(2); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    victim.kill();
    EXPECT_EQ(waiting.wait(), 0);
    EXPECT_EQ(read_int("SECOND"), 2);
}

// As long as any process has the database open, the slot of a killed reader stays, and with it every page of its time.
TEST_F(sysdb_processes, a_killed_reader_does_not_fill_the_database) {
    ASSERT_EQ(write_pair(1), 0);
    const notice open;
    other_process holder([&] {
        sysdb_handle handle = {};
        if (sysdb_init(&handle, SYSDB_READ_ONLY) == 0) {
            open.give();
        }
        for (;;) {
            pause();
        }
        return 0;
    });
    open.await();
    const notice inside;
    other_process victim([&] {
        stay_in_transaction(SYSDB_READ_ONLY, inside);
        return 0;
    });
    inside.await();
    victim.kill();
    for (int n = 0; n < 1000; ++n) {  // at three pages or more each, 12 MB into 4 MiB
        ASSERT_EQ(write_pair(n), 0) << n;
    }
}

TEST_F(sysdb_processes, readers_killed_by_the_hundred_do_not_use_up_the_slots) {
    ASSERT_EQ(write_pair(1), 0);
    let_go_of_the_database();
    sysdb_environment holder;
    ASSERT_EQ(holder.open(directory_, sysdb_access::read), 0);
    for (int n = 0; n < 150 && !HasFailure(); ++n) {  // there are 126 slots
        const notice inside;
        other_process victim([&] {
            stay_in_transaction(SYSDB_READ_ONLY, inside);
            return 0;
        });
        inside.await();
        victim.kill();
    }
    other_process reader([] { return read_int("FIRST") == 1 ? 0 : 1; });
    EXPECT_EQ(reader.wait(), 0);
}

TEST_F(sysdb_processes, a_folder_removed_and_made_anew_is_found_by_the_next_session) {
    ASSERT_EQ(write_pair(1), 0);
    std::filesystem::remove_all(directory_);
    EXPECT_NE(read([](sysdb_handle *) { return 0; }), 0) << "nothing is read of what has no name any more";
    EXPECT_FALSE(std::filesystem::exists(directory_)) << "a reader makes nothing";
    ASSERT_EQ(write_pair(2), 0) << "our own writer makes it anew";
    EXPECT_EQ(read_int("FIRST"), 2);
    std::filesystem::remove_all(directory_);
    other_process other([] { return write_pair(3); });
    ASSERT_EQ(other.wait(), 0);
    EXPECT_EQ(read_int("FIRST"), 3) << "another process made it anew";
}

TEST_F(sysdb_processes, a_lock_file_made_anew_by_another_is_shared_with_it) {
    ASSERT_EQ(write_pair(1), 0);
    std::filesystem::remove(file("lock.mdb"));
    const notice inside;
    other_process other([&] {
        return write([&](sysdb_handle *handle) {
            inside.give();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return sysdb_write_int(handle, "FIRST", 2, 0) + sysdb_write_int(handle, "SECOND", 2, 0);
        });
    });
    inside.await();
    EXPECT_EQ(write_pair(3), 0);
    EXPECT_EQ(other.wait(), 0);
    EXPECT_EQ(read_int("FIRST"), 3) << "ours came after the one that we waited for";
}

TEST_F(sysdb_processes, a_folder_removed_during_a_session_is_made_anew_by_its_transaction) {
    sysdb_handle handle = {};
    ASSERT_EQ(sysdb_init(&handle, 0), 0);
    std::filesystem::remove_all(directory_);
    EXPECT_EQ(sysdb_txn_start(&handle, "CELL", 0), 0);
    EXPECT_EQ(sysdb_write_int(&handle, "FIRST", 1, 0), 0);
    EXPECT_EQ(sysdb_txn_end(&handle), 0);
    sysdb_exit(&handle);
    EXPECT_EQ(read_int("FIRST"), 1);
}

TEST_F(sysdb_processes, a_folder_removed_during_a_transaction_costs_only_that_transaction) {
    EXPECT_EQ(write([&](sysdb_handle *handle) {
                  std::filesystem::remove_all(directory_);
                  return sysdb_write_int(handle, "FIRST", 1, 0);
              }),
              0);
    EXPECT_FALSE(std::filesystem::exists(directory_));
    EXPECT_EQ(write_pair(2), 0);
    EXPECT_EQ(read_int("FIRST"), 2);
}

TEST_F(sysdb_processes, a_child_of_a_fork_has_an_environment_of_its_own) {
    ASSERT_EQ(write_pair(1), 0);
    const notice inside;
    const notice enough;
    other_process child([&] {
        return read([&](sysdb_handle *handle) {
            inside.give();
            enough.await();
            int value = 0;
            return sysdb_read_int(handle, "FIRST", &value) + (value == 1 ? 0 : 1);
        });
    });
    inside.await();
    for (int n = 2; n < 10; ++n) {
        EXPECT_EQ(write_pair(n), 0) << "its pages stay as they are";
    }
    enough.give();
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(sysdb_processes, the_change_counter_tells_commits_and_staleness_tells_a_new_folder) {
    ASSERT_EQ(write_pair(1), 0);
    let_go_of_the_database();
    sysdb_environment environment;
    ASSERT_EQ(environment.open(directory_, sysdb_access::read), 0);
    const std::size_t before = environment.change_counter();
    other_process reader([] { return read_int("FIRST") == 1 ? 0 : 1; });
    ASSERT_EQ(reader.wait(), 0);
    EXPECT_EQ(environment.change_counter(), before) << "reading is no change";
    other_process writer([] { return write_pair(2); });
    ASSERT_EQ(writer.wait(), 0);
    EXPECT_EQ(environment.change_counter(), before + 1);
    EXPECT_FALSE(environment.is_stale());
    std::filesystem::remove_all(directory_);
    EXPECT_TRUE(environment.is_stale()) << "removed";
    other_process anew([] { return write_pair(3); });
    ASSERT_EQ(anew.wait(), 0);
    EXPECT_TRUE(environment.is_stale()) << "made anew";
}

TEST_F(sysdb_processes, a_reader_that_does_not_end_holds_nobody_up_and_is_named_once) {
    ASSERT_EQ(write_pair(0), 0);
    other_puts({{"G", 7}}, "GPIO");
    const notice inside;
    const notice enough;
    other_process slow([&] {
        prctl(PR_SET_NAME, "slow\033reader");
        return read([&](sysdb_handle *handle) {
            inside.give();
            enough.await();
            int value = -1;
            return sysdb_read_int(handle, "FIRST", &value) + value;
        });
    });
    inside.await();
    testing::internal::CaptureStderr();
    for (int n = 1; n <= 2000; ++n) {  // at three pages or more each, six times what there is
        ASSERT_EQ(write_pair(n), 0) << n;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zelt: system database " + directory_ + ": process " + std::to_string(slow.pid()) +
                  " (slow\\x1Breader) reads without an end and kept it full; a new one is in its place, end that "
                  "program\n");
    EXPECT_EQ(read_int("FIRST"), 2000);
    int others = 0;
    EXPECT_EQ(read([&](sysdb_handle *handle) { return sysdb_read_int(handle, "G", &others); }, "GPIO"), 0);
    EXPECT_EQ(others, 7);
    EXPECT_FALSE(std::filesystem::exists(file("data.mdb.damaged")));
    enough.give();
    EXPECT_EQ(slow.wait(), 0) << "it read what was there when it began";
}

TEST_F(sysdb_processes, a_writer_that_does_not_end_cannot_keep_a_program_from_stopping) {
    ASSERT_EQ(write_pair(0), 0);
    const notice inside;
    other_process holder([&] {
        stay_in_transaction(0, inside);
        return 0;
    });
    inside.await();
    const notice begun;
    other_process stopped([&] {
        signal(SIGTERM, [](int) { stop_libzelt_funcs(); });
        begun.give();
        testing::internal::CaptureStderr();
        const bool is_refused = write_pair(1) != 0;
        const std::string told = testing::internal::GetCapturedStderr();
        const bool is_refused_again = write_pair(2) != 0 && read_int("FIRST", -5) == -5;
        return (is_refused ? 0 : 1) + (is_refused_again ? 0 : 2) +
               (told.find("another program has it locked to write") != std::string::npos ? 0 : 4);
    });
    begun.await();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(stopped.has_ended()) << "it waits as long as nobody wants to stop it";
    stopped.signal(SIGTERM);
    EXPECT_EQ(stopped.wait(), 0) << "1: written, 2: not given up, 4: not told";
}

TEST_F(sysdb_processes, a_program_that_stops_still_writes_what_it_has_to_when_the_writer_ends_soon) {
    ASSERT_EQ(write_pair(0), 0);
    other_process stopped([&] {
        const notice inside;
        other_process slow([&] {
            return write([&](sysdb_handle *handle) {
                inside.give();
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                return sysdb_write_int(handle, "SECOND", 2, 0);
            });
        });
        stop_libzelt_funcs();
        inside.await();
        return write_pair(1) + slow.wait();
    });
    EXPECT_EQ(stopped.wait(), 0);
    EXPECT_EQ(read_int("FIRST"), 1);
}

}  // namespace
