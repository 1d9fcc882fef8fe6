// Who may open the files of a database: root, and the members of a group where there is one.
#include <filesystem>
#include <string>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/store/store_fixture.h"
#include "tests/support/own_mounts.h"

namespace {

constexpr gid_t READERS = 47110;
constexpr gid_t NOBODY = 65534;

class access_to_a_database : public store_test {
protected:
    // On a machine whose groups are these. 77 where that cannot be had.
    int on_a_machine_with(const std::string &groups, const std::function<int()> &body) const {
        const std::string file = folder_.write("group", groups);
        chmod(folder_.path().c_str(), 0755);
        return with_mounts_of_its_own(
            [&] { return mount(file.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) == 0 ? body() : 77; });
    }

    static std::string mode_and_group(const std::string &path) {
        struct stat status = {};
        char text[32] = "";
        if (stat(path.c_str(), &status) == 0) {
            std::snprintf(text, sizeof text, "%o %u", status.st_mode & 07777U, status.st_gid);
        }
        return text;
    }

    std::string modes_and_groups() const {
        return mode_and_group(directory_) + ", " + mode_and_group(file("data.mdb")) + ", " +
               mode_and_group(file("lock.mdb"));
    }

    // What becomes of body() for an ordinary user with this one group beside her own.
    static int as_user(gid_t other_group, const std::function<int()> &body) {
        return other_process([&] {
                   const bool is_user = setgroups(1, &other_group) == 0 && setgid(NOBODY) == 0 && setuid(4711) == 0;
                   return is_user ? body() : 78;
               })
            .wait();
    }

    int read_k() const {
        sysdb_environment environment;
        sysdb_transaction transaction;
        sysdb_value value;
        const int result = environment.open(directory_, sysdb_access::read);
        return result != 0                                                       ? result
               : transaction.begin(environment, "CELL", sysdb_access::read) != 0 ? 200
               : transaction.get("K", &value) != 0                               ? 201
                                                                                 : 0;
    }
};

// gtest's expectations of a child are not counted: what it found is its result.
#define RETURN_UNLESS(condition, code)                                                                                 \
    if (!(condition)) {                                                                                                \
        std::fprintf(stderr, "%s: %s\n", #condition, found.c_str());                                                   \
        return code;                                                                                                   \
    }

TEST_F(access_to_a_database, is_for_its_owner_alone_where_there_is_no_group) {
    const int result = on_a_machine_with("root:x:0:\n", [&] {
        for (const mode_t mask : {0077U, 0000U}) {
            std::filesystem::remove_all(directory_);
            umask(mask);
            const int written = put({{"K", 1}});
            const std::string own = std::to_string(getegid());
            const std::string found = modes_and_groups();
            const std::string wanted = std::string("700 ").append(own).append(", 600 ").append(own).append(", 600 ");
            RETURN_UNLESS(written == 0 && found == wanted + own, 1);
        }
        return 0;
    });
    if (result == 77) {
        GTEST_SKIP() << "the kernel does not allow mounts of our own";
    }
    EXPECT_EQ(result, 0);
}

TEST_F(access_to_a_database, is_for_the_members_of_the_group_where_there_is_one) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to be other users";
    }
    const int result = on_a_machine_with("root:x:0:\nzelt:x:47110:\n", [&] {
        for (const mode_t mask : {0077U, 0000U}) {
            std::filesystem::remove_all(directory_);
            umask(mask);
            const int written = put({{"K", 1}});
            const std::string found = modes_and_groups();
            RETURN_UNLESS(written == 0 && found == "2750 47110, 640 47110, 660 47110", 1);
        }
        std::string found = "as a user";
        RETURN_UNLESS(as_user(READERS, [&] { return read_k(); }) == 0, 2);
        RETURN_UNLESS(as_user(NOBODY, [&] { return read_k(); }) == EACCES, 3);
        RETURN_UNLESS(as_user(READERS, [&] { return put({{"K", 2}}) == EACCES ? 0 : 1; }) == 0, 4);
        found = sysdb_problem(directory_, EACCES);
        RETURN_UNLESS(found.find("members of the group zelt may read it") != std::string::npos, 5);
        return 0;
    });
    if (result == 77) {
        GTEST_SKIP() << "the kernel does not allow mounts of our own";
    }
    EXPECT_EQ(result, 0) << "1: modes, 2: a member cannot read, 3: others can, 4: a member can write, 5: the sentence";
}

TEST_F(access_to_a_database, stays_as_somebody_else_has_set_it) {
    std::filesystem::create_directory(directory_);
    std::filesystem::permissions(directory_, std::filesystem::perms(0711));
    ASSERT_EQ(put({{"K", 1}}), 0);
    chmod(file("data.mdb").c_str(), 0604);
    ASSERT_EQ(put({{"K", 2}}), 0);
    EXPECT_EQ(std::filesystem::status(directory_).permissions(), std::filesystem::perms(0711));
    EXPECT_EQ(std::filesystem::status(file("data.mdb")).permissions(), std::filesystem::perms(0604));
}

}  // namespace
