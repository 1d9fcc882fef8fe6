// A reader that follows a database of other programs: what it lists, when it says so, and that nobody wakes it in vain.
#include "store/reader.h"

#include <fstream>
#include <string>
#include <vector>

#include <poll.h>
#include <sched.h>

#include "tests/store/store_fixture.h"

namespace {

constexpr int UNTIL_KERNEL_TELLS = -1;

class reader : public store_test {
protected:
    int list() { return reader_.list(&values_, &foreign_keys_); }

    // Whatever another program did is told when that program has ended: no need to wait for it.
    bool is_woken() const {
        pollfd told = {reader_.wait().fd, POLLIN, 0};
        return poll(&told, 1, 0) == 1;
    }

    // Waits as a program does, until there is something new. How often it was woken for that; -1 when nothing comes.
    int await_change() {
        for (int wakes = 1; wakes <= 20; ++wakes) {
            const sysdb_wait until = reader_.wait();
            pollfd told = {until.fd, POLLIN, 0};
            const int patience = until.at_most_ms == UNTIL_KERNEL_TELLS ? 10000 : until.at_most_ms;
            if (poll(&told, 1, patience) == 0 && until.at_most_ms == UNTIL_KERNEL_TELLS) {
                return -1;
            }
            if (reader_.has_changed()) {
                return wakes;
            }
        }
        return -1;
    }

    sysdb_reader reader_{directory_, "CELL"};
    sysdb_values values_;
    std::vector<std::string> foreign_keys_;
};

TEST_F(reader, lists_all_keys_and_names_those_with_a_foreign_value) {
    other_puts({{"A", 1}, {"B", 2.5}, {"C", "text"}});
    other_process([&] {
        write_raw("CELL", "ODD", "x");
        return 0;
    }).wait();
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"A", 1}, {"B", 2.5}, {"C", "text"}}));
    EXPECT_EQ(foreign_keys_, std::vector<std::string>{"ODD"});
}

TEST_F(reader, reads_a_second_database_along_and_misses_none) {
    sysdb_reader both(directory_, "CELL", "BESIDE");
    other_puts({{"K", 1}});
    ASSERT_EQ(both.list(&values_, &foreign_keys_), 0);
    EXPECT_EQ(both.values_beside(), sysdb_values());
    other_puts({{"B", 2}}, "BESIDE");
    EXPECT_TRUE(both.has_changed());
    ASSERT_EQ(both.list(&values_, &foreign_keys_), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 1}}));
    EXPECT_EQ(both.values_beside(), (sysdb_values{{"B", 2}}));
    std::filesystem::remove_all(directory_);
    EXPECT_TRUE(sysdb_is_absent(both.list(&values_, &foreign_keys_)));
    EXPECT_EQ(both.values_beside(), sysdb_values());
}

TEST_F(reader, has_changed_after_each_commit_until_it_lists) {
    other_puts({{"K", 1}});
    EXPECT_TRUE(reader_.has_changed()) << "nothing was read yet";
    ASSERT_EQ(list(), 0);
    EXPECT_FALSE(reader_.has_changed());
    other_puts({{"K", 2}});
    EXPECT_TRUE(reader_.has_changed());
    EXPECT_TRUE(reader_.has_changed()) << "still";
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 2}}));
    EXPECT_FALSE(reader_.has_changed());
}

TEST_F(reader, nobody_is_woken_while_nothing_changes) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    ASSERT_FALSE(reader_.has_changed()) << "takes away what the first look may have left";
    EXPECT_FALSE(is_woken());
    EXPECT_EQ(reader_.wait().at_most_ms, UNTIL_KERNEL_TELLS);
    other_process([&] {
        sysdb_reader other(directory_, "CELL");
        return other.list(&values_, &foreign_keys_);
    }).wait();
    EXPECT_FALSE(is_woken()) << "another reader";
    ASSERT_EQ(list(), 0);
    EXPECT_FALSE(is_woken()) << "our own look";
    folder_.write("neighbour", "x");
    EXPECT_FALSE(is_woken()) << "a file beside the folder";
}

TEST_F(reader, each_commit_of_another_process_wakes_it_and_few_wakes_are_for_nothing) {
    other_puts({{"K", 0}});
    ASSERT_EQ(list(), 0);
    const notice next;
    other_process writer([&] {
        for (int n = 1; n <= 20; ++n) {
            next.await();
            if (put({{"K", n}}) != 0) {
                return 1;
            }
        }
        return 0;
    });
    for (int n = 1; n <= 20; ++n) {
        next.give();
        while (values_ != sysdb_values{{"K", n}}) {  // a commit is told a moment before it can be read
            const int wakes = await_change();
            ASSERT_GT(wakes, 0) << n;
            // Two writes to the file make a commit, and the writer's opening may touch the folder.
            EXPECT_LE(wakes, 5) << n;
            ASSERT_EQ(list(), 0);
        }
    }
    EXPECT_EQ(writer.wait(), 0);
}

TEST_F(reader, what_was_committed_behind_its_look_is_not_waited_for) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    other_puts({{"K", 2}});
    EXPECT_GE(reader_.wait().at_most_ms, 0);
    EXPECT_LT(reader_.wait().at_most_ms, 100);
}

TEST_F(reader, finds_a_database_that_is_made_late_at_each_step) {
    EXPECT_TRUE(sysdb_is_absent(list())) << "no folder";
    EXPECT_EQ(reader_.wait().at_most_ms, UNTIL_KERNEL_TELLS);
    EXPECT_FALSE(is_woken());

    std::filesystem::create_directory(directory_);
    EXPECT_TRUE(is_woken());
    EXPECT_TRUE(sysdb_is_absent(list())) << "no file";
    EXPECT_EQ(reader_.wait().at_most_ms, UNTIL_KERNEL_TELLS);
    EXPECT_FALSE(is_woken());

    std::ofstream(file("data.mdb")).flush();
    EXPECT_TRUE(is_woken());
    EXPECT_TRUE(sysdb_is_absent(list())) << "nothing in the file";
    EXPECT_FALSE(is_woken());

    other_puts({{"K", 1}}, "GPIO");
    EXPECT_TRUE(is_woken());
    EXPECT_TRUE(sysdb_is_absent(list())) << "another named database";
    reader_.has_changed();  // the reader's own lock file was one more name in the folder
    EXPECT_TRUE(sysdb_is_absent(list()));
    EXPECT_FALSE(is_woken());

    other_puts({{"K", 2}});
    EXPECT_TRUE(is_woken());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 2}}));
}

TEST_F(reader, follows_a_folder_that_is_removed_and_made_anew) {
    other_puts({{"OLD", 1}});
    ASSERT_EQ(list(), 0);
    std::filesystem::remove_all(directory_);
    EXPECT_TRUE(is_woken());
    EXPECT_GT(await_change(), 0);
    EXPECT_TRUE(sysdb_is_absent(list()));
    EXPECT_FALSE(is_woken());

    other_puts({{"NEW", 2}});
    EXPECT_GT(await_change(), 0);
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"NEW", 2}}));

    other_puts({{"NEW", 3}});
    EXPECT_GT(await_change(), 0);
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"NEW", 3}})) << "the new one is followed too";
}

TEST_F(reader, follows_a_folder_that_gives_its_name_to_another) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    std::filesystem::rename(directory_, folder_.path("old"));
    EXPECT_TRUE(is_woken());
    other_puts({{"K", 2}});
    EXPECT_GT(await_change(), 0);
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 2}}));
}

TEST_F(reader, watches_the_folder_in_which_its_file_is_now) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    std::filesystem::rename(directory_, folder_.path("old"));
    std::filesystem::create_directory(directory_);
    std::filesystem::rename(folder_.path("old/data.mdb"), file("data.mdb"));
    EXPECT_TRUE(reader_.has_changed());
    ASSERT_EQ(list(), 0);
    reader_.has_changed();  // the reader's own lock file is a new name in this folder
    ASSERT_EQ(list(), 0);
    EXPECT_FALSE(is_woken());
    std::filesystem::rename(directory_, folder_.path("older"));
    EXPECT_TRUE(is_woken());
}

TEST_F(reader, counts_the_states_that_it_met) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    const std::size_t first = reader_.changes();
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(reader_.changes(), first);
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(reader_.changes(), first + 1) << "the same value once more";
    reader_.close();
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(reader_.changes(), first + 1) << "nothing was written while it was closed";
    std::filesystem::remove_all(directory_);
    EXPECT_TRUE(sysdb_is_absent(list()));
    other_puts({{"K", 1}});
    other_puts({{"K", 1}});  // as many commits as the first one had
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(reader_.changes(), first + 2) << "another database";
}

TEST_F(reader, lets_its_own_process_write_while_it_is_closed) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    reader_.close();
    ASSERT_EQ(put({{"K", 2}}), 0);
    EXPECT_TRUE(reader_.has_changed());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 2}}));
}

TEST_F(reader, a_fault_is_told_leaves_the_outputs_and_is_looked_at_again) {
    other_puts({{"K", 1}});
    ASSERT_EQ(list(), 0);
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directory(directory_);
    std::ofstream(file("data.mdb")) << std::string(20000, 'x');
    const int result = list();
    EXPECT_NE(result, 0);
    EXPECT_FALSE(sysdb_is_absent(result));
    EXPECT_EQ(values_, (sysdb_values{{"K", 1}}));
    EXPECT_EQ(reader_.wait().at_most_ms, 2000) << "not every mending writes to the file";
    std::filesystem::remove_all(directory_);
    other_puts({{"K", 2}});
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(values_, (sysdb_values{{"K", 2}}));
}

TEST_F(reader, looks_every_2_s_where_the_folder_above_is_missing) {
    sysdb_reader lost(folder_.path("none/sysdb"), "CELL");
    EXPECT_TRUE(sysdb_is_absent(lost.list(&values_, &foreign_keys_)));
    EXPECT_EQ(lost.wait().fd, -1);
    EXPECT_EQ(lost.wait().at_most_ms, 2000);
}

TEST_F(reader, looks_every_2_s_where_the_kernel_gives_no_notices) {
    other_puts({{"K", 1}});
    const int result =
        other_process([&] {
            // Nobody may have any, in a namespace that ends with this process.
            if (unshare(CLONE_NEWUSER) != 0 || !(std::ofstream("/proc/sys/user/max_inotify_instances") << 0).flush()) {
                return 77;
            }
            const bool is_unwatched = list() == 0 && reader_.wait().fd == -1 && reader_.wait().at_most_ms == 2000;
            other_puts({{"K", 2}});
            const bool is_found =
                reader_.has_changed() && list() == 0 && values_ == sysdb_values{{"K", 2}} && !reader_.has_changed();
            return (is_unwatched ? 0 : 1) + (is_found ? 0 : 2);
        }).wait();
    if (result == 77) {
        GTEST_SKIP() << "the kernel does not let us have a namespace of our own";
    }
    EXPECT_EQ(result, 0) << "1: waits for notices that never come, 2: the change is not found";
}

}  // namespace
