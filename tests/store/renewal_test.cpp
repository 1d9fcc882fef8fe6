// A new database in the place of an old one: what is in it, what becomes of the old one, and who else is about.
#include "store/renewal.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <sys/resource.h>

#include "tests/store/damage.h"
#include "tests/store/store_fixture.h"

namespace {

class renewal : public store_test {
protected:
    int renew(renewal_reason reason, const sysdb_databases &own = {}) const {
        sysdb_environment environment;
        return renew_database(directory_, environment, reason, own);
    }

    // CELL with A, B and GPIO with G can be read; what is in LOST cannot.
    void write_damaged() const {
        std::filesystem::remove_all(directory_);
        ASSERT_EQ(put({{"A", 1}, {"B", "b"}}), 0);
        ASSERT_EQ(put({{"ALIEN", "in a page that gets lost"}}, "LOST"), 0);
        ASSERT_EQ(put({{"G", 7}}, "GPIO"), 0);
        std::string bytes = content_of(file("data.mdb"));
        const std::size_t lost = bytes.find("in a page that gets lost");
        ASSERT_NE(lost, std::string::npos);
        bytes.replace(lost / damage::PAGE * damage::PAGE, damage::PAGE, damage::PAGE, '\xff');
        std::ofstream(file("data.mdb"), std::ios::binary) << bytes;
    }

    bool is_there(const std::string &name) const { return std::filesystem::exists(file(name)); }
};

TEST_F(renewal, of_a_damaged_database_keeps_what_can_be_read_and_puts_what_is_own_over_it) {
    write_damaged();
    const std::string damaged = content_of(file("data.mdb"));
    EXPECT_EQ(renew(renewal_reason::damaged, {{"CELL", {{"A", 2}, {"N", 1.5}}}, {"OWN", {{"O", "o"}}}}), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 2}, {"B", "b"}, {"N", 1.5}}));
    EXPECT_EQ(list("GPIO"), (sysdb_values{{"G", 7}}));
    EXPECT_EQ(list("OWN"), (sysdb_values{{"O", "o"}}));
    EXPECT_EQ(list("LOST"), sysdb_values());
    EXPECT_EQ(content_of(file("data.mdb.damaged")), damaged) << "left as it was";
    EXPECT_FALSE(is_there("renewal"));
    other_puts({{"A", 3}});
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 3}, {"B", "b"}, {"N", 1.5}}));
}

TEST_F(renewal, of_another_damaged_one_keeps_the_later_file) {
    write_damaged();
    ASSERT_EQ(renew(renewal_reason::damaged), 0);
    std::ofstream(file("data.mdb"), std::ios::binary) << std::string(20000, 'x');
    ASSERT_EQ(renew(renewal_reason::damaged, {{"CELL", {{"A", 5}}}}), 0);
    EXPECT_EQ(content_of(file("data.mdb.damaged")), std::string(20000, 'x'));
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 5}})) << "of text nothing can be read";
}

TEST_F(renewal, of_a_sound_database_is_none_unless_a_reader_holds_it) {
    ASSERT_EQ(put({{"A", 1}}), 0);
    const std::string sound = content_of(file("data.mdb"));
    for (const renewal_reason reason : {renewal_reason::damaged, renewal_reason::held}) {
        EXPECT_EQ(renew(reason, {{"CELL", {{"A", 9}}}}), EALREADY);
        EXPECT_EQ(content_of(file("data.mdb")), sound);
        EXPECT_FALSE(is_there("data.mdb.damaged"));
        EXPECT_FALSE(is_there("renewal"));
    }
    other_puts({{"A", 2}});
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 2}})) << "its lock was given back";
}

// The reader began with the first commit, and its pages are not free while it reads.
TEST_F(renewal, of_one_that_a_reader_holds_leaves_the_old_one_to_that_reader) {
    ASSERT_EQ(put({{"A", 1}}), 0);
    const notice inside;
    const notice enough;
    other_process reader([&] {
        sysdb_environment environment;
        sysdb_transaction transaction;
        sysdb_value value;
        int result = environment.open(directory_, sysdb_access::read);
        result = result != 0 ? result : transaction.begin(environment, "CELL", sysdb_access::read);
        inside.give();
        enough.await();
        result = result != 0 ? result : transaction.get("A", &value);
        return result == 0 && value == sysdb_value(1) ? 0 : 1;
    });
    inside.await();
    EXPECT_EQ(renew(renewal_reason::held), EALREADY) << "it reads the last commit, and holds nothing";
    other_puts({{"A", 2}, {"B", 3}});
    EXPECT_EQ(renew(renewal_reason::held, {{"CELL", {{"C", 4}}}}), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 2}, {"B", 3}, {"C", 4}}));
    EXPECT_FALSE(is_there("data.mdb.damaged"));
    EXPECT_EQ(renew(renewal_reason::held), EALREADY) << "nobody reads the new one";
    enough.give();
    EXPECT_EQ(reader.wait(), 0) << "it read what was there when it began";
}

TEST_F(renewal, where_there_is_no_database_makes_none) {
    EXPECT_EQ(renew(renewal_reason::damaged, {{"CELL", {{"A", 1}}}}), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(directory_));
    std::filesystem::create_directory(directory_);
    EXPECT_EQ(renew(renewal_reason::damaged, {{"CELL", {{"A", 1}}}}), EALREADY) << "the next writer makes one";
    EXPECT_FALSE(is_there("data.mdb"));
    EXPECT_FALSE(is_there("renewal"));
}

TEST_F(renewal, by_several_processes_at_once_is_one) {
    for (int round = 0; round < 10 && !HasFailure(); ++round) {
        write_damaged();
        const auto renewing = [&](const char *key) {
            const int result = renew(renewal_reason::damaged, {{"CELL", {{key, round}}}});
            return result == 0 ? 10 : result == EALREADY ? 1 : 100;
        };
        other_process first([&] { return renewing("FIRST"); });
        other_process second([&] { return renewing("SECOND"); });
        const int of_first = first.wait();
        EXPECT_EQ(of_first + second.wait(), 11) << "10: renewed, 1: another one did";
        EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}, {"B", "b"}, {of_first == 10 ? "FIRST" : "SECOND", round}}));
        EXPECT_FALSE(is_there("renewal"));
    }
}

TEST_F(renewal, goes_on_behind_one_that_was_killed_in_the_middle) {
    write_damaged();
    std::filesystem::create_directory(file("renewal"));
    std::ofstream(file("renewal/data.mdb"), std::ios::binary) << std::string(9000, 'h');
    std::ofstream(file("renewal/lock.mdb"), std::ios::binary) << "half";
    EXPECT_EQ(renew(renewal_reason::damaged), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}, {"B", "b"}}));
    EXPECT_FALSE(is_there("renewal"));
}

TEST_F(renewal, is_not_led_elsewhere_by_a_link) {
    write_damaged();
    const std::string damaged = content_of(file("data.mdb"));
    std::filesystem::create_directory(folder_.path("elsewhere"));
    folder_.write("elsewhere/data.mdb", "somebody's");
    std::filesystem::create_directory_symlink(folder_.path("elsewhere"), file("renewal"));
    EXPECT_EQ(renew(renewal_reason::damaged), ENOTDIR);
    EXPECT_EQ(content_of(folder_.path("elsewhere/data.mdb")), "somebody's");
    EXPECT_EQ(content_of(file("data.mdb")), damaged);
}

TEST_F(renewal, that_finds_no_room_leaves_everything_as_it_was) {
    write_damaged();
    const std::string damaged = content_of(file("data.mdb"));
    other_process without_room([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit two_pages = {2 * damage::PAGE, 2 * damage::PAGE};
        setrlimit(RLIMIT_FSIZE, &two_pages);
        return renew(renewal_reason::damaged);
    });
    EXPECT_EQ(without_room.wait(), EFBIG);
    EXPECT_EQ(content_of(file("data.mdb")), damaged);
    EXPECT_FALSE(is_there("data.mdb.damaged"));
    EXPECT_FALSE(is_there("renewal"));
    EXPECT_EQ(renew(renewal_reason::damaged), 0);
    EXPECT_EQ(list("CELL"), (sysdb_values{{"A", 1}, {"B", "b"}}));
}

}  // namespace
