// The check of the files: that it finds nothing in what LMDB itself makes, and what it finds in what LMDB does not.
#include "store/page_check.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "store/page_layout.h"
#include "tests/store/store_fixture.h"
#include "tests/store/whole_use.h"

using namespace page_layout;
using whole_use::writes;

namespace {

constexpr std::size_t PAGE = 4096;

using page_check = store_test;

std::size_t number(std::mt19937 &random, std::size_t from, std::size_t to) {
    return std::uniform_int_distribution(from, to)(random);
}

// Mostly short as the daemon's, at times just around what fits into a page or needs several.
std::string any_value(std::mt19937 &random) {
    const std::size_t kind = number(random, 0, 19);
    return std::string(kind < 14   ? number(random, 1, 40)
                       : kind < 18 ? number(random, 1900, 2100)
                                   : number(random, 1, 20000),
                       'v');
}

std::string any_key(std::mt19937 &random) {
    const std::string name = "K" + std::to_string(number(random, 0, 120));
    return number(random, 0, 9) == 0 ? name + std::string(SYSDB_LONGEST_NAME - name.size(), 'k') : name;
}

// A put or, where the value is empty, a removal.
void change(MDB_txn *txn, MDB_dbi database, const std::string &name, const std::string &bytes) {
    MDB_val key = {name.size(), const_cast<char *>(name.data())};
    MDB_val value = {bytes.size(), const_cast<char *>(bytes.data())};
    const int result = bytes.empty() ? mdb_del(txn, database, &key, nullptr) : mdb_put(txn, database, &key, &value, 0);
    ASSERT_TRUE(result == 0 || result == MDB_NOTFOUND) << mdb_strerror(result);
}

struct any_database {
    const char *name;
    unsigned int flags;
};
const std::vector<any_database> DATABASES = {
    {"CELL", 0}, {"GPIO", 0}, {"D", MDB_DUPSORT}, {"F", MDB_DUPSORT | MDB_DUPFIXED}, {"R", MDB_REVERSEKEY}};

void change_at_random(MDB_txn *txn, std::mt19937 &random) {
    const any_database &where = DATABASES[number(random, 0, DATABASES.size() - 1)];
    MDB_dbi database = 0;
    ASSERT_EQ(mdb_dbi_open(txn, where.name, MDB_CREATE | where.flags, &database), 0);
    const bool grows = number(random, 0, 2) > 0;
    for (std::size_t left = number(random, 0, 30); left > 0; --left) {
        const std::string item = std::to_string(number(random, 100000, 999999));
        const std::string value = (where.flags & MDB_DUPFIXED) != 0  ? item
                                  : (where.flags & MDB_DUPSORT) != 0 ? std::string(number(random, 0, 480), 'd') + item
                                                                     : any_value(random);
        change(txn, database, any_key(random), grows || number(random, 0, 3) == 0 ? value : "");
    }
}

// The proof that the check knows the format: thousands of commits, with everything that a database can become.
TEST_F(page_check, finds_nothing_wrong_in_what_the_library_writes) {
    std::mt19937 random(1);
    std::filesystem::create_directory(directory_);
    const whole_use::environment env(directory_);
    ASSERT_EQ(env.result(), 0);
    for (int commit = 0; commit < 600; ++commit) {
        MDB_txn *txn = nullptr;
        ASSERT_EQ(mdb_txn_begin(env.get(), nullptr, 0, &txn), 0);
        ASSERT_EQ(check_commit(env.fd(), mdb_txn_id(txn) - 1, page_use::write), 0) << "before commit " << commit;
        change_at_random(txn, random);
        ASSERT_EQ(mdb_txn_commit(txn), 0);
    }
    MDB_txn *txn = nullptr;
    ASSERT_EQ(mdb_txn_begin(env.get(), nullptr, MDB_RDONLY, &txn), 0);
    EXPECT_GE(mdb_txn_id(txn), 400U);
    EXPECT_EQ(check_commit(env.fd(), mdb_txn_id(txn), page_use::read), 0);
    EXPECT_EQ(check_commit(env.fd(), mdb_txn_id(txn) + 1, page_use::read), MDB_CORRUPTED);
    mdb_txn_abort(txn);
    EXPECT_EQ(check_file_head(env.fd()), 0);
}

// The bytes of a small database, with names for the parts of its latest commit.
class file_bytes {
public:
    explicit file_bytes(std::string bytes) : bytes_(std::move(bytes)) {
        turn_ = at<file_head>(sizeof(page_head)).commit > at<file_head>(PAGE + sizeof(page_head)).commit ? 0 : 1;
    }

    template <typename Part>
    Part &at(std::size_t offset) {
        EXPECT_LE(offset + sizeof(Part), bytes_.size());
        return *reinterpret_cast<Part *>(bytes_.data() + offset);
    }
    std::string &bytes() { return bytes_; }
    page_head &head_page() { return at<page_head>(turn_ * PAGE); }
    file_head &head() { return at<file_head>(turn_ * PAGE + sizeof(page_head)); }
    file_head &other_head() { return at<file_head>((1 - turn_) * PAGE + sizeof(page_head)); }
    page_head &page(page_number n) { return at<page_head>(n * PAGE); }
    std::uint16_t &offset(page_number n, std::size_t i) {
        return at<std::uint16_t>(n * PAGE + sizeof(page_head) + 2 * i);
    }
    node_head &node(page_number n, std::size_t i) { return at<node_head>(n * PAGE + offset(n, i)); }
    char &key(page_number n, std::size_t i) { return at<char>(n * PAGE + offset(n, i) + sizeof(node_head)); }
    template <typename Value>
    Value &value(page_number n, std::size_t i) {
        return at<Value>(n * PAGE + offset(n, i) + sizeof(node_head) + node(n, i).key_bytes);
    }

    // The node that was the first to be added is the last of the page.
    void keep_first(page_number n) {
        page(n).lower = sizeof(page_head) + 2;
        page(n).upper = offset(n, 0);
    }

    page_number names() { return head().databases.root; }
    tree_head &tree(std::size_t i) { return value<tree_head>(names(), i); }
    page_number free_list() { return head().free_list.root; }

private:
    std::string bytes_;
    std::size_t turn_ = 0;
};

// In the order of the names: BIGVALUE is a branch above leaves, with a long value in the first; CELLULAR a leaf with
// three keys. The keys' lengths keep what stands behind them at places where it may be looked at.
constexpr std::size_t BIG = 0;
constexpr std::size_t CELL = 1;

std::string small_database(const std::string &folder) {
    std::filesystem::create_directory(folder);
    const whole_use::environment env(folder);
    for (int commit = 0; commit < 4; ++commit) {
        MDB_txn *txn = nullptr;
        MDB_dbi database = 0;
        EXPECT_EQ(mdb_txn_begin(env.get(), nullptr, 0, &txn), 0);
        EXPECT_EQ(mdb_dbi_open(txn, "CELLULAR", MDB_CREATE, &database), 0);
        for (const char *name : {"A1", "B222", "C33333"}) {
            change(txn, database, name, std::string(*name == 'C' ? 600 : 8, static_cast<char>('0' + commit)));
        }
        EXPECT_EQ(mdb_dbi_open(txn, "BIGVALUE", MDB_CREATE, &database), 0);
        for (int key = 100; key < 400; key += 3) {
            change(txn, database, "KEY_1" + std::to_string(key), std::string(key == 100 ? 10000 : 64, 'v'));
        }
        EXPECT_EQ(mdb_txn_commit(txn), 0);
    }
    return content_of(folder + "/data.mdb");
}

struct damage_row {
    const char *why;
    std::function<void(file_bytes &)> damage;
    int for_reader;
    int for_writer;
};

page_number leaf_of_cell(file_bytes &f) {
    return f.tree(CELL).root;
}
page_number branch_of_big(file_bytes &f) {
    return f.tree(BIG).root;
}
page_number leaf_of_big(file_bytes &f) {
    return f.node(branch_of_big(f), 0).low;
}
page_head &long_value(file_bytes &f) {
    return f.page(f.value<page_number>(leaf_of_big(f), 0));
}

constexpr int BAD = MDB_CORRUPTED;

// clang-format off
const std::vector<damage_row> DAMAGES = {
    {"nothing", [](file_bytes &) {}, 0, 0},
    {"what is no file of the library's", [](file_bytes &f) { f.head().magic = 1; }, MDB_INVALID, MDB_INVALID},
    {"of another version", [](file_bytes &f) { f.head().version = 2; }, MDB_VERSION_MISMATCH, MDB_VERSION_MISMATCH},
    {"no head's page", [](file_bytes &f) { f.head_page().flags = 0; }, MDB_INVALID, MDB_INVALID},
    {"a page size that divides by zero", [](file_bytes &f) { f.head().free_list.pad = 0; }, BAD, BAD},
    {"a page size that is no power of two", [](file_bytes &f) { f.head().free_list.pad = 4098; }, BAD, BAD},
    {"more pages than anybody makes", [](file_bytes &f) { f.head().last_page = 65536; }, BAD, BAD},
    {"no pages at all", [](file_bytes &f) { f.head().last_page = 0; }, BAD, BAD},
    {"no pages of an empty database: the next would be a head's",
     [](file_bytes &f) {
         f.head().last_page = 0;
         for (tree_head *tree : {&f.head().databases, &f.head().free_list}) {
             tree->root = NO_PAGE;
             tree->depth = 0;
         }
     },
     BAD, BAD},
    {"pages that end before those in use", [](file_bytes &f) { f.head().last_page = 5; }, BAD, BAD},
    {"a commit in the other's place", [](file_bytes &f) { f.head().commit += 1; }, BAD, BAD},
    {"an older commit", [](file_bytes &f) { f.head().commit -= 2; }, BAD, BAD},
    {"two commits later: only a reader can be late", [](file_bytes &f) { f.head().commit += 2; }, EAGAIN, BAD},
    {"a commit before that is none", [](file_bytes &f) { f.other_head().commit -= 2; }, 0, BAD},
    {"a commit that none can follow", [](file_bytes &f) { f.other_head().commit = NO_PAGE; }, BAD, BAD},
    {"the head of the commit before is not used", [](file_bytes &f) { f.other_head().databases.root = 1; }, 0, 0},
    {"but its sizes are", [](file_bytes &f) { f.other_head().free_list.pad = 8192; }, BAD, BAD},
    {"names with several values each", [](file_bytes &f) { f.head().databases.flags = MDB_DUPSORT; }, BAD, BAD},
    {"a tree without a root", [](file_bytes &f) { f.head().databases.root = NO_PAGE; }, BAD, BAD},
    {"a tree without a depth", [](file_bytes &f) { f.head().databases.depth = 0; }, BAD, BAD},
    {"a tree that is deeper than it says", [](file_bytes &f) { f.tree(BIG).depth = 1; }, BAD, BAD},
    {"a tree that is less deep", [](file_bytes &f) { f.tree(CELL).depth = 2; }, BAD, BAD},
    {"a tree deeper than a cursor", [](file_bytes &f) { f.tree(BIG).depth = 33; }, BAD, BAD},
    {"a root in the head", [](file_bytes &f) { f.head().databases.root = 1; }, BAD, BAD},
    {"a root beyond the last page", [](file_bytes &f) { f.tree(CELL).root = f.head().last_page + 1; }, BAD, BAD},
    {"a page of two trees", [](file_bytes &f) { f.tree(CELL).root = leaf_of_big(f); }, BAD, BAD},
    {"a page below itself", [](file_bytes &f) { f.node(branch_of_big(f), 1).low = static_cast<std::uint16_t>(branch_of_big(f)); }, BAD, BAD},
    {"a page twice in a branch", [](file_bytes &f) { f.node(branch_of_big(f), 1).low = f.node(branch_of_big(f), 0).low; }, BAD, BAD},
    {"a database with unknown flags", [](file_bytes &f) { f.tree(CELL).flags = 0x100; }, BAD, BAD},
    {"a foreign database's order is not known", [](file_bytes &f) { f.tree(CELL).flags = MDB_REVERSEKEY; }, 0, 0},
    {"a page that is another", [](file_bytes &f) { f.page(leaf_of_cell(f)).number += 1; }, BAD, BAD},
    {"a page of another kind", [](file_bytes &f) { f.page(leaf_of_cell(f)).flags = LONG_VALUE; }, BAD, BAD},
    {"a page that was being written", [](file_bytes &f) { f.page(leaf_of_cell(f)).flags |= 0x10U; }, BAD, BAD},
    {"an empty leaf", [](file_bytes &f) { f.page(leaf_of_cell(f)).lower = sizeof(page_head); f.page(leaf_of_cell(f)).upper = PAGE; }, BAD, BAD},
    {"half an offset", [](file_bytes &f) { f.page(leaf_of_cell(f)).lower += 1; }, BAD, BAD},
    {"an offset too many", [](file_bytes &f) { f.page(leaf_of_cell(f)).lower += 2; }, BAD, BAD},
    {"an offset too few", [](file_bytes &f) { f.page(leaf_of_cell(f)).lower -= 2; }, BAD, BAD},
    {"offsets beyond the nodes", [](file_bytes &f) { f.page(leaf_of_cell(f)).lower = f.page(leaf_of_cell(f)).upper + 2; }, BAD, BAD},
    {"nodes beyond the page", [](file_bytes &f) { f.page(leaf_of_cell(f)).upper = PAGE + 2; }, BAD, BAD},
    {"a gap before the nodes", [](file_bytes &f) { f.page(leaf_of_cell(f)).upper -= 2; }, BAD, BAD},
    {"a node at the page's end that no offset names",
     [](file_bytes &f) {
         f.offset(leaf_of_cell(f), 0) = f.offset(leaf_of_cell(f), 1);
         f.offset(leaf_of_cell(f), 1) = f.offset(leaf_of_cell(f), 2);
         f.page(leaf_of_cell(f)).lower -= 2;
     },
     BAD, BAD},
    {"a node beyond the page", [](file_bytes &f) { f.offset(leaf_of_cell(f), 0) = 0x7000; }, BAD, BAD},
    {"a node at the very end", [](file_bytes &f) { f.offset(leaf_of_cell(f), 0) = PAGE - 2; }, BAD, BAD},
    {"a node on another", [](file_bytes &f) { f.offset(leaf_of_cell(f), 0) = f.offset(leaf_of_cell(f), 1); }, BAD, BAD},
    {"a node at an odd place", [](file_bytes &f) { f.offset(leaf_of_cell(f), 0) += 1; }, BAD, BAD},
    {"a key longer than the node", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).key_bytes += 2; }, BAD, BAD},
    {"a key longer than the page", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).key_bytes = 0xffff; }, BAD, BAD},
    {"a key longer than any, of a node that is sound otherwise",
     [](file_bytes &f) {
         f.node(leaf_of_cell(f), 2).key_bytes += 508;
         f.node(leaf_of_cell(f), 2).low -= 508;
     },
     BAD, BAD},
    {"a value longer than the page", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).low = 5000; }, BAD, BAD},
    {"a value longer than the file", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).high = 0xffff; }, BAD, BAD},
    {"keys out of their order", [](file_bytes &f) { f.key(leaf_of_cell(f), 0) = 'X'; }, BAD, BAD},
    {"a key twice", [](file_bytes &f) { std::swap(f.offset(leaf_of_cell(f), 0), f.offset(leaf_of_cell(f), 1)); }, BAD, BAD},
    {"a key above its branch's bound", [](file_bytes &f) { f.key(branch_of_big(f), 1) = 'A'; }, BAD, BAD},
    {"a key below its branch's bound", [](file_bytes &f) { f.key(branch_of_big(f), 1) = 'X'; }, BAD, BAD},
    {"a bound before the first is never compared", [](file_bytes &f) { f.node(branch_of_big(f), 0).key_bytes = 0; }, 0, 0},
    {"a branch of one", [](file_bytes &f) { f.keep_first(branch_of_big(f)); }, BAD, BAD},
    {"a database inside of a database", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).flags = TREE; }, BAD, BAD},
    {"a node of an unknown kind", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).flags = 8; }, BAD, BAD},
    {"a value among the names: the pages of a database lost, nothing worse", [](file_bytes &f) { f.node(f.names(), BIG).flags = 0; }, 0, 0},
    {"a long value that is none", [](file_bytes &f) { f.node(leaf_of_cell(f), 0).flags = LONG; }, BAD, BAD},
    {"a long value on another page", [](file_bytes &f) { f.value<page_number>(leaf_of_big(f), 0) += 1; }, BAD, BAD},
    {"a long value on no page", [](file_bytes &f) { f.value<page_number>(leaf_of_big(f), 0) = NO_PAGE; }, BAD, BAD},
    {"a long value of fewer pages", [](file_bytes &f) { long_value(f).lower = 2; }, BAD, BAD},
    {"a long value of no pages", [](file_bytes &f) { long_value(f).lower = 0; }, BAD, BAD},
    {"a long value of too many pages", [](file_bytes &f) { long_value(f).upper = 1; }, BAD, BAD},
    {"a long value that is longer", [](file_bytes &f) { f.node(leaf_of_big(f), 0).high = 1; }, BAD, BAD},
    {"a free list of another kind", [](file_bytes &f) { f.head().free_list.flags = 0; }, 0, BAD},
    {"flags of how it was opened", [](file_bytes &f) { f.head().free_list.flags |= MDB_NOSUBDIR; }, 0, 0},
    {"a free list that is lost", [](file_bytes &f) { f.head().free_list.root = 1; }, 0, BAD},
    {"a free page that is in use", [](file_bytes &f) { (&f.value<page_number>(f.free_list(), 0))[1] = leaf_of_cell(f); }, 0, BAD},
    {"free pages out of their order",
     [](file_bytes &f) {
         page_number *free = &f.value<page_number>(f.free_list(), 0);
         EXPECT_GE(free[0], 2U);
         std::swap(free[1], free[2]);
     },
     0, BAD},
    {"more free pages than said", [](file_bytes &f) { f.value<page_number>(f.free_list(), 0) = 2000; }, 0, BAD},
    {"free by a commit to come", [](file_bytes &f) { reinterpret_cast<std::size_t &>(f.key(f.free_list(), 0)) = 99; }, 0, BAD},
    {"cut short by a byte of a page in use", [](file_bytes &f) { f.bytes().resize((leaf_of_cell(f) + 1) * PAGE - 1); }, BAD, BAD},
    {"cut short inside of a long value", [](file_bytes &f) { f.bytes().resize((long_value(f).number + 2) * PAGE); }, BAD, BAD},
    {"cut short to one head", [](file_bytes &f) { f.bytes().resize(PAGE); }, MDB_INVALID, MDB_INVALID},
    {"cut short inside of a head", [](file_bytes &f) { f.bytes().resize(PAGE + 20); }, MDB_INVALID, MDB_INVALID},
    {"empty, as a file just made is", [](file_bytes &f) { f.bytes().clear(); }, ENOENT, ENOENT},
};
// clang-format on

// LMDB takes what it finds in the file of locks as long as somebody else has it open.
struct lock_row {
    const char *why;
    std::function<void(lock_file_head &)> damage;
    int result;
};

const std::vector<lock_row> LOCK_DAMAGES = {
    {"nothing", [](lock_file_head &) {}, 0},
    {"none of the library's", [](lock_file_head &h) { h.magic = 0; }, MDB_INVALID},
    {"of another library, which says so itself",
     [](lock_file_head &h) {
         h.format = 2;
         h.slots_used = 4000;
     },
     0},
    {"more readers than there is room for", [](lock_file_head &h) { h.slots_used = 1000; }, MDB_INVALID},
    {"a lock of no kind", [](lock_file_head &h) { h.of_slots = {}; }, MDB_INVALID},
    {"a writer's lock that is none", [](lock_file_head &h) { std::memset(&h.of_writer, 0x55, sizeof h.of_writer); },
     MDB_INVALID},
};

int check_locks(const std::string &file) {
    const descriptor fd(open(file.c_str(), O_RDONLY));
    return check_lock_file(fd.get());
}

TEST_F(page_check, looks_at_the_locks_while_somebody_has_them_open) {
    ASSERT_EQ(put({{"K", 1}}), 0);
    const std::string path = file("lock.mdb");
    const notice opened;
    const notice may_end;
    other_process user([&] {
        const whole_use::environment env(directory_);
        opened.give();
        may_end.await();
        return env.result();
    });
    opened.await();
    const std::string bytes = content_of(path);
    for (const lock_row &row : LOCK_DAMAGES) {
        lock_file_head head = {};
        std::memcpy(static_cast<void *>(&head), bytes.data(), sizeof head);
        row.damage(head);
        const descriptor fd(open(path.c_str(), O_WRONLY));
        ASSERT_EQ(pwrite(fd.get(), &head, sizeof head, 0), static_cast<ssize_t>(sizeof head));
        EXPECT_EQ(check_locks(path), row.result) << row.why;
    }
    may_end.give();
    EXPECT_EQ(user.wait(), 0);
    EXPECT_EQ(check_locks(path), 0) << "nobody uses it: it is begun anew";
    EXPECT_EQ(check_locks(folder_.write("empty", "")), 0);
}

// For ever. A commit that finds no room, since a reader that lost the processor keeps its pages, is left out.
void write_without_end(const std::string &folder, const notice &first_ones) {
    const whole_use::environment env(folder);
    for (std::size_t commit = 0;; ++commit) {
        MDB_txn *txn = nullptr;
        mdb_txn_begin(env.get(), nullptr, 0, &txn);
        whole_use::writes values;
        for (std::size_t key = commit % 7; key < 200; key += 7) {
            values.emplace_back("K" + std::to_string(key), std::string(20 + commit % 50, 'v'));
        }
        if (whole_use::write_all(txn, "CELL", values) == 0) {
            mdb_txn_commit(txn);
        } else {
            mdb_txn_abort(txn);
        }
        if (commit == 10) {
            first_ones.give();
        }
    }
}

// Readers are late at times, and then begin anew. They never take a commit that is being written for damage.
TEST_F(page_check, finds_nothing_wrong_while_somebody_writes) {
    std::filesystem::create_directory(directory_);
    const notice first;
    other_process writer([&] {
        write_without_end(directory_, first);
        return 0;
    });
    first.await();
    const whole_use::environment env(directory_, MDB_RDONLY);
    std::map<int, int> results;
    for (int look = 0; look < 500; ++look) {
        MDB_txn *txn = nullptr;
        ASSERT_EQ(mdb_txn_begin(env.get(), nullptr, MDB_RDONLY, &txn), 0);
        ++results[check_commit(env.fd(), mdb_txn_id(txn), page_use::read)];
        mdb_txn_abort(txn);
    }
    EXPECT_GT(results[0], 0);
    EXPECT_EQ(results[0] + results[EAGAIN], 500) << "nothing but sound and late";
}

TEST_F(page_check, tells_why_a_file_cannot_be_read) {
    EXPECT_EQ(check_file_head(-1), EBADF);
    EXPECT_EQ(check_commit(-1, 1, page_use::read), EBADF);
    EXPECT_EQ(check_lock_file(-1), EBADF);
}

TEST_F(page_check, finds_each_kind_of_damage) {
    const std::string bytes = small_database(directory_);
    const std::size_t commit = file_bytes(bytes).head().commit;
    ASSERT_EQ(commit % 2, 0U) << "so that the one before is odd";
    for (const damage_row &row : DAMAGES) {
        file_bytes damaged(bytes);
        row.damage(damaged);
        const std::string path = folder_.write("damaged", damaged.bytes());
        const descriptor fd(open(path.c_str(), O_RDONLY));
        EXPECT_EQ(check_commit(fd.get(), commit, page_use::read), row.for_reader) << row.why;
        EXPECT_EQ(check_commit(fd.get(), commit, page_use::write), row.for_writer) << row.why;
    }
}

}  // namespace
