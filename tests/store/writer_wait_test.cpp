// Another program that holds the database to write, for a while or for good. What ends the waits is never taken back,
// so each program that stops is a process of its own.
#include "store/writer_wait.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <unistd.h>

#include "tests/store/store_fixture.h"
#include "tests/support/becomes_true.h"

namespace {

class wait_for_a_writer : public store_test {
protected:
    // A process in a transaction that writes K. Commits it when told, and its status is the result.
    class holder {
    public:
        explicit holder(const std::string &folder, int value)
            : process_([this, folder, value] {
                  sysdb_environment environment;
                  sysdb_transaction transaction;
                  int result = environment.open(folder, sysdb_access::create);
                  result = result != 0 ? result : transaction.begin(environment, "CELL", sysdb_access::create);
                  result = result != 0 ? result : transaction.put("K", value);
                  if (result == 0) {
                      inside_.give();
                      char byte = 0;
                      [[maybe_unused]] const ssize_t size = read(enough_.read_end.get(), &byte, 1);  // for good
                      result = transaction.commit();
                  }
                  return result;
              }) {
            inside_.await();
        }
        int commit() {
            EXPECT_EQ(write(enough_.write_end.get(), "x", 1), 1);
            return process_.wait();
        }
        void kill() { process_.kill(); }

    private:
        notice inside_;
        pipe_ends enough_;
        other_process process_;
    };

    // As a program that stops would: the result of its transaction.
    int begin(sysdb_access access) const {
        sysdb_environment environment;
        sysdb_transaction transaction;
        const int result = environment.open(directory_, access);
        return result != 0 ? result : transaction.begin(environment, "CELL", access);
    }

    static int status_of(other_process &process) {
        return becomes_true([&] { return process.has_ended(); }) ? process.wait() : -1;
    }
};

TEST_F(wait_for_a_writer, has_no_end_as_long_as_nobody_stops_the_program_and_reading_takes_none) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    holder other(directory_, 2);
    const notice begun;
    other_process waiting([&] {
        begun.give();
        return put({{"K", 3}});
    });
    begun.await();
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));  // past the 3 s of one that stops
    EXPECT_FALSE(waiting.has_ended());
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 1}}));
    EXPECT_EQ(other.commit(), 0);
    EXPECT_EQ(status_of(waiting), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 3}})) << "ours came after the one that we waited for";
}

TEST_F(wait_for_a_writer, ends_by_itself_when_the_writer_is_killed_and_nothing_of_it_stays) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    holder other(directory_, 2);
    const notice begun;
    other_process waiting([&] {
        begun.give();
        return put({{"OURS", 3}});
    });
    begun.await();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(waiting.has_ended());
    other.kill();
    EXPECT_EQ(status_of(waiting), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 1}, {"OURS", 3}}));
}

TEST_F(wait_for_a_writer, is_left_by_a_program_that_stops_and_those_behind_it_fail_at_once) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    holder other(directory_, 2);
    other_process stopped([&] {
        end_writer_waits();
        testing::internal::CaptureStderr();
        const bool was_over = are_writer_waits_over();
        const bool is_left = begin(sysdb_access::create) == ETIMEDOUT && are_writer_waits_over();
        bool are_all_left = true;
        for (int n = 0; n < 100; ++n) {  // at a second each, longer than what this test waits for
            are_all_left = are_all_left && begin(sysdb_access::create) == ETIMEDOUT;
        }
        are_all_left = are_all_left && begin(sysdb_access::read) == ETIMEDOUT;
        const bool is_silent = testing::internal::GetCapturedStderr().empty();
        return (was_over ? 1 : 0) + (is_left ? 0 : 2) + (are_all_left ? 0 : 4) + (is_silent ? 0 : 8) +
               (alarm(0) == 0 ? 0 : 16);
    });
    EXPECT_EQ(status_of(stopped), 0)
        << "1: over before, 2: not left, 4: not those behind it, 8: something told, 16: an alarm left behind";
    EXPECT_EQ(other.commit(), 0) << "the lock is still whose it was";
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 2}}));
    other_puts({{"K", 4}});
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 4}}));
    EXPECT_NE(sysdb_problem(directory_, ETIMEDOUT).find("another program has it locked to write"), std::string::npos);
}

TEST_F(wait_for_a_writer, is_left_when_the_stop_comes_within_it) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    holder other(directory_, 2);
    const notice begun;
    other_process stopped([&] {
        signal(SIGTERM, [](int) { end_writer_waits(); });
        begun.give();
        return put({{"K", 3}}) == ETIMEDOUT && are_writer_waits_over() ? 0 : 1;
    });
    begun.await();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(stopped.has_ended());
    stopped.signal(SIGTERM);
    EXPECT_EQ(status_of(stopped), 0);
    other.kill();
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 1}}));
    other_puts({{"K", 4}});
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 4}})) << "neither of the two left a lock";
}

TEST_F(wait_for_a_writer, is_none_for_a_program_that_stops_while_nobody_writes) {
    other_process stopped([&] {
        end_writer_waits();
        for (int n = 1; n <= 50; ++n) {
            if (put({{"K", n}}) != 0) {
                return 1;
            }
        }
        return (are_writer_waits_over() ? 2 : 0) + (alarm(0) == 0 ? 0 : 4);
    });
    EXPECT_EQ(status_of(stopped), 0) << "1: refused, 2: over without a wait, 4: an alarm left behind";
    EXPECT_EQ(list("CELL"), (sysdb_values{{"K", 50}}));
}

// Behind five waits of 0.7 s the 3 s are used up, however short each one was.
TEST_F(wait_for_a_writer, of_many_short_ones_a_program_that_stops_has_no_more_than_of_a_long_one) {
    other_process stopped([] {
        end_writer_waits();
        int waits = 0;
        int result = 0;
        while (result == 0 && waits < 10) {
            result = writer_wait([] {
                std::this_thread::sleep_for(std::chrono::milliseconds(700));
                return 0;
            });
            waits += result == 0 ? 1 : 0;
        }
        return waits > 5 ? waits : result == ETIMEDOUT && are_writer_waits_over() ? 0 : 100;
    });
    EXPECT_EQ(status_of(stopped), 0) << "above 5: that many waits, 100: another result";
}

}  // namespace
