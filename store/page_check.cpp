#include "store/page_check.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <lmdb.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/fault_guard.h"
#include "store/page_layout.h"

using namespace page_layout;

namespace {

// LMDB's own bounds of what it makes; below 4096 bytes a page could not hold two of the longest keys.
constexpr std::size_t SMALLEST_PAGE = 4096;
constexpr std::size_t LARGEST_PAGE = 32768;
constexpr std::size_t LONGEST_KEY = 511;
constexpr unsigned int DEEPEST_TREE = 32;

// 64 times what the programs here make. It bounds what one wrong number makes LMDB map, and this check remember.
constexpr std::size_t LARGEST_FILE = std::size_t{256} * 1024 * 1024;

// The outcome, from any depth.
struct finding {
    int result;
};

void require(bool condition, int otherwise = MDB_CORRUPTED) {
    if (!condition) {
        throw finding{otherwise};
    }
}

template <typename Check>
int result_of(Check check) {
    try {
        check();
        return 0;
    } catch (const finding &found) {
        return found.result;
    }
}

// Fewer than wanted at the end of the file only.
std::size_t read_at(int fd, std::size_t offset, void *to, std::size_t bytes) {
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t size = pread(fd, static_cast<char *>(to) + done, bytes - done, static_cast<off_t>(offset + done));
        if (size == 0) {
            break;
        }
        require(size > 0 || errno == EINTR, errno);
        done += size > 0 ? static_cast<std::size_t>(size) : 0;
    }
    return done;
}

template <typename Head>
Head head_at(std::string_view bytes, std::size_t offset) {
    static_assert(std::is_trivially_copyable_v<Head>);
    require(offset <= bytes.size() && sizeof(Head) <= bytes.size() - offset);
    Head head = {};
    std::memcpy(&head, bytes.data() + offset, sizeof head);
    return head;
}

std::size_t even(std::size_t bytes) {
    return bytes + bytes % 2;
}

// ---- the first two pages

std::size_t page_bytes(const file_head &head) {
    return head.free_list.pad;
}

// 0 bytes there: nothing.
std::optional<file_head> head_in(int fd, std::size_t offset) {
    struct {
        page_head page;
        file_head file;
    } both = {};
    static_assert(sizeof both == sizeof(page_head) + sizeof(file_head));
    const std::size_t size = read_at(fd, offset, &both, sizeof both);
    if (size == 0) {
        return std::nullopt;
    }
    require(size == sizeof both && (both.page.flags & FILE_HEAD) != 0 && both.file.magic == MAGIC, MDB_INVALID);
    require(both.file.version == VERSION, MDB_VERSION_MISMATCH);
    return both.file;
}

bool is_page_size(std::size_t bytes) {
    return bytes >= SMALLEST_PAGE && bytes <= LARGEST_PAGE && (bytes & (bytes - 1)) == 0;
}

void require_head(const file_head &head, unsigned int turn) {
    require(is_page_size(page_bytes(head)));
    require(head.last_page >= FIRST_PAGE - 1 && head.last_page < LARGEST_FILE / page_bytes(head));
    require(head.commit == 0 || (head.commit % 2 == turn && head.commit < ~std::size_t{0}));
}

struct both_heads {
    file_head of_even;
    file_head of_odd;
};

both_heads heads_in(int fd) {
    const std::optional<file_head> first = head_in(fd, 0);
    require(first.has_value(), ENOENT);
    require_head(*first, 0);
    const std::optional<file_head> second = head_in(fd, page_bytes(*first));
    require(second.has_value(), MDB_INVALID);
    require_head(*second, 1);
    require(page_bytes(*second) == page_bytes(*first));
    return {*first, *second};
}

// ---- nodes

struct node {
    std::string_view key;
    unsigned int flags;
    std::size_t value_bytes;      // also of a long value
    std::string_view value_here;  // as it lies in the page: the value, or the number of its first page
    page_number below;            // of a branch
};

page_number page_below(const node_head &head) {
    page_number below = head.low | static_cast<page_number>(head.high) << 16U;
    if constexpr (sizeof(page_number) > 4) {
        below |= static_cast<page_number>(head.flags) << 32U;
    }
    return below;
}

node node_at(std::string_view page, std::size_t offset, bool is_leaf) {
    const auto head = head_at<node_head>(page, offset);
    const std::string_view rest = page.substr(offset + sizeof head);
    require(head.key_bytes <= LONGEST_KEY && head.key_bytes <= rest.size());
    node found = {rest.substr(0, head.key_bytes), 0, 0, {}, 0};
    if (!is_leaf) {
        found.below = page_below(head);
        return found;
    }
    found.flags = head.flags;
    found.value_bytes = head.low | static_cast<std::size_t>(head.high) << 16U;
    const std::size_t here = (found.flags & LONG) != 0 ? sizeof(page_number) : found.value_bytes;
    require(here <= rest.size() - head.key_bytes);
    found.value_here = rest.substr(head.key_bytes, here);
    return found;
}

std::size_t bytes_of(const node &n) {
    return even(sizeof(node_head) + n.key.size() + n.value_here.size());
}

// In the order of the page's offsets. Deleting and inserting, LMDB moves everything between two offsets: the nodes must
// fill the page's end without gap or overlap. Then they also begin at even places, as LMDB wants them.
std::vector<node> nodes_of(std::string_view page, bool is_leaf) {
    const auto head = head_at<page_head>(page, 0);
    require(head.lower >= sizeof head && head.lower % 2 == 0 && head.lower <= head.upper);
    const std::size_t count = (head.lower - sizeof head) / 2;
    std::vector<node> nodes;
    std::vector<std::pair<std::size_t, std::size_t>> pieces;  // from, to
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t offset = head_at<std::uint16_t>(page, sizeof head + 2 * i);
        nodes.push_back(node_at(page, offset, is_leaf));
        pieces.emplace_back(offset, offset + bytes_of(nodes.back()));
    }
    std::ranges::sort(pieces);
    std::size_t end = head.upper;
    for (const auto &[from, to] : pieces) {
        require(from == end);
        end = to;
    }
    require(end == page.size());
    return nodes;
}

// ---- the order of keys

// Of one tree, asked in the order of its keys. A branch's keys are bounds: below what is left of them, equal to or
// above what is right.
class key_order {
public:
    explicit key_order(bool is_number) : is_number_(is_number) {}

    void pass_bound(std::string_view key) {
        require(!last_ || is_less(*last_, key));
        last_ = key;
        is_bound_ = true;
    }
    void pass_key(std::string_view key) {
        require(!last_ || is_less(*last_, key) || (is_bound_ && *last_ == key));
        last_ = key;
        is_bound_ = false;
    }

private:
    bool is_less(std::string_view left, std::string_view right) const {
        return is_number_ ? head_at<std::size_t>(left, 0) < head_at<std::size_t>(right, 0) : left < right;
    }

    bool is_number_;
    bool is_bound_ = false;
    std::optional<std::string> last_;
};

// ---- trees

enum class tree_kind { free_list, databases, plain, with_duplicates, duplicates };

// All that one commit reaches.
class commit_check {
public:
    commit_check(int fd, const file_head &head) : fd_(fd), head_(head), page_bytes_(page_bytes(head)) {
        struct stat status = {};
        require(fstat(fd, &status) == 0, errno);
        pages_in_file_ = static_cast<std::size_t>(status.st_size) / page_bytes_;
        is_taken_.resize(head.last_page + 1);
    }

    void check(page_use use) {
        require(head_.databases.flags == 0);
        walk(head_.databases, tree_kind::databases);
        if (use == page_use::write) {
            require((head_.free_list.flags & ~ENVIRONMENT_FLAGS) == MDB_INTEGERKEY);
            walk(head_.free_list, tree_kind::free_list);
        }
    }

private:
    struct walk_state {
        tree_kind kind;
        std::optional<key_order> order;  // nothing: one of a foreign database
    };

    // What LMDB keeps of the flags of mdb_env_open(), beside the tree's own.
    static constexpr unsigned int ENVIRONMENT_FLAGS = MDB_FIXEDMAP | MDB_NOSUBDIR;

    static constexpr unsigned int DATABASE_FLAGS =
        MDB_REVERSEKEY | MDB_DUPSORT | MDB_INTEGERKEY | MDB_DUPFIXED | MDB_INTEGERDUP | MDB_REVERSEDUP;

    // Each page has one use.
    void take(page_number first, std::size_t count) {
        require(first >= FIRST_PAGE && first <= is_taken_.size() && count <= is_taken_.size() - first);
        for (page_number number = first; number < first + count; ++number) {
            require(!is_taken_[number]);
            is_taken_[number] = true;
        }
    }

    std::string page(page_number number) {
        take(number, 1);
        std::string bytes(page_bytes_, '\0');
        require(read_at(fd_, number * page_bytes_, bytes.data(), bytes.size()) == bytes.size());
        require(head_at<page_head>(bytes, 0).number == number);
        return bytes;
    }

    void walk(const tree_head &tree, tree_kind kind) {
        require((tree.root == NO_PAGE) == (tree.depth == 0) && tree.depth <= DEEPEST_TREE);
        if (tree.root == NO_PAGE) {
            return;
        }
        walk_state state = {kind, std::nullopt};
        if (kind == tree_kind::free_list || tree.flags == 0) {
            state.order.emplace(kind == tree_kind::free_list);
        }
        walk_page(tree.root, tree.depth, state);
    }

    void walk_page(page_number number, unsigned int levels, walk_state &state) {
        const std::string bytes = page(number);
        const unsigned int flags = head_at<page_head>(bytes, 0).flags;
        const bool is_leaf = levels == 1;
        if (is_leaf && flags == (LEAF | FIXED_SIZE) && state.kind == tree_kind::duplicates) {
            return;  // values of a foreign database, which nobody here reads
        }
        require(flags == (is_leaf ? LEAF : BRANCH));
        const std::vector<node> nodes = nodes_of(bytes, is_leaf);
        if (is_leaf) {
            walk_leaf(nodes, state);
        } else {
            walk_branch(nodes, levels, state);
        }
    }

    void walk_branch(const std::vector<node> &nodes, unsigned int levels, walk_state &state) {
        require(nodes.size() >= 2);
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            if (i > 0 && state.order) {  // the first is never compared, and may be anything
                state.order->pass_bound(nodes[i].key);
            }
            walk_page(nodes[i].below, levels - 1, state);
        }
    }

    void walk_leaf(const std::vector<node> &nodes, walk_state &state) {
        require(!nodes.empty());
        for (const node &n : nodes) {
            require(!n.key.empty() && bytes_of(n) <= largest_node());
            if (state.order) {
                state.order->pass_key(n.key);
            }
            walk_value(n, state.kind);
        }
    }

    // Two nodes must fit on a page, with the offset of each.
    std::size_t largest_node() const { return (page_bytes_ - sizeof(page_head)) / 2 / 2 * 2 - 2; }

    void walk_value(const node &n, tree_kind kind) {
        if (n.flags == LONG && kind != tree_kind::with_duplicates && kind != tree_kind::duplicates) {
            take_long_value(n);
        } else if (n.flags == TREE && kind == tree_kind::databases) {
            walk_database(head_at<tree_head>(n.value_here, 0));
            require(n.value_bytes == sizeof(tree_head));
        } else if (n.flags == (TREE | DUPLICATES) && kind == tree_kind::with_duplicates) {
            walk_duplicates(n);
        } else {
            require(n.flags == 0 || (n.flags == DUPLICATES && kind == tree_kind::with_duplicates));
        }
        if (kind == tree_kind::free_list) {
            take_free_pages(n);
        }
    }

    void walk_database(const tree_head &tree) {
        require((tree.flags & ~DATABASE_FLAGS) == 0);
        walk(tree, (tree.flags & MDB_DUPSORT) != 0 ? tree_kind::with_duplicates : tree_kind::plain);
    }

    void walk_duplicates(const node &n) {
        tree_head tree = head_at<tree_head>(n.value_here, 0);
        require(n.value_bytes == sizeof tree);
        tree.flags = MDB_DUPSORT;  // in whatever order
        walk(tree, tree_kind::duplicates);
    }

    static page_number first_page(const node &n) { return head_at<page_number>(n.value_here, 0); }

    void take_long_value(const node &n) {
        const page_number first = first_page(n);
        take(first, 1);
        page_head head = {};
        require(read_at(fd_, first * page_bytes_, &head, sizeof head) == sizeof head);
        const std::size_t pages = head.lower | static_cast<std::size_t>(head.upper) << 16U;
        require(head.number == first && head.flags == LONG_VALUE);
        require(pages >= (sizeof head + n.value_bytes + page_bytes_ - 1) / page_bytes_);
        take(first + 1, pages - 1);
        require(first + pages <= pages_in_file_);
    }

    // A key of the free list is a commit; its value, how many pages that commit set free and which, the largest first.
    // Behind those there may be room.
    void take_free_pages(const node &n) {
        require(n.key.size() == sizeof(std::size_t));
        const auto commit = head_at<std::size_t>(n.key, 0);
        require(commit >= 1 && commit <= head_.commit);
        std::string long_value;
        if (n.flags == LONG) {
            long_value.resize(n.value_bytes);
            const std::size_t offset = first_page(n) * page_bytes_ + sizeof(page_head);
            require(read_at(fd_, offset, long_value.data(), long_value.size()) == long_value.size());
        }
        const std::string_view value = n.flags == LONG ? std::string_view(long_value) : n.value_here;
        const auto count = head_at<std::size_t>(value, 0);
        for (std::size_t i = 1; i <= count; ++i) {
            const auto number = head_at<page_number>(value, i * sizeof(page_number));
            take(number, 1);
            require(i == 1 || number < head_at<page_number>(value, (i - 1) * sizeof(page_number)));
        }
    }

    int fd_;
    file_head head_;
    std::size_t page_bytes_;
    std::size_t pages_in_file_ = 0;
    std::vector<bool> is_taken_;
};

const file_head &head_of(const both_heads &heads, std::size_t commit) {
    return commit % 2 == 0 ? heads.of_even : heads.of_odd;
}

// Commits are written in turn. Told where none is written meanwhile.
bool follow_each_other(const both_heads &heads, std::size_t commit) {
    const std::size_t before = head_of(heads, commit + 1).commit;
    return commit == 0 ? before == 0 : before + 1 == commit;
}

// Another commit is there, or one is just being written: LMDB writes over the head of the one before the last.
bool is_replaced(int fd, const file_head &head) {
    return result_of([&] {
               const file_head now = head_of(heads_in(fd), head.commit);
               static_assert(std::has_unique_object_representations_v<file_head>);
               require(std::memcmp(&now, &head, sizeof now) == 0);
           }) != 0;
}

// ---- the lock file

// By whom it is open: F_UNLCK, nobody, and LMDB begins it anew, whatever is in it; F_WRLCK, somebody who fills it now;
// F_RDLCK, others, and it is whole.
int use_of(int fd) {
    struct flock first_byte = {};
    first_byte.l_type = F_WRLCK;
    first_byte.l_whence = SEEK_SET;
    first_byte.l_len = 1;
    require(fcntl(fd, F_GETLK, &first_byte) == 0, errno);
    return first_byte.l_type;
}

// As LMDB makes them: shared between processes, and given to the next one when their owner dies. The rest of the bytes
// is their state. A lock of another kind may end the process that takes it.
bool has_kind_of_lock(const pthread_mutex_t &lock) {
    pthread_mutexattr_t attributes = {};
    pthread_mutex_t made = {};
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&made, &attributes);
    const bool is_same = made.__data.__kind == lock.__data.__kind;
    pthread_mutex_destroy(&made);
    pthread_mutexattr_destroy(&attributes);
    return is_same;
}

void require_lock_head(const lock_file_head &head, std::size_t file_bytes) {
    require(head.slots_used <= (file_bytes - sizeof head) / LOCK_SLOT_BYTES, MDB_INVALID);
    require(has_kind_of_lock(head.of_slots) && has_kind_of_lock(head.of_writer), MDB_INVALID);
}

void require_lock_file(int fd) {
    lock_file_head head = {};
    const int use = use_of(fd);
    if (use == F_UNLCK) {
        return;
    }
    if (read_at(fd, 0, &head, sizeof head) < sizeof head) {
        require(use == F_WRLCK, MDB_INVALID);
        return;
    }
    require(head.magic == MAGIC, MDB_INVALID);
    if (head.format != LOCK_FORMAT) {
        return;  // of another LMDB; this one's refuses it
    }
    struct stat status = {};
    require(fstat(fd, &status) == 0, errno);
    require_lock_head(head, static_cast<std::size_t>(status.st_size));
}

void require_locks_in_use(const lock_file_head &head, std::size_t file_bytes) {
    require(head.magic == MAGIC && head.format == LOCK_FORMAT, MDB_INVALID);
    require_lock_head(head, file_bytes);
}

}  // namespace

int check_file_head(int fd) {
    return result_of([=] { heads_in(fd); });
}

int check_commit(int fd, std::size_t commit, page_use use) {
    return result_of([=] {
        const both_heads heads = heads_in(fd);
        const file_head &head = head_of(heads, commit);
        const bool may_be_replaced = use == page_use::read;
        require(head.commit == commit, may_be_replaced && head.commit > commit ? EAGAIN : MDB_CORRUPTED);
        require(may_be_replaced || follow_each_other(heads, commit));
        const int result = result_of([&] { commit_check(fd, head).check(use); });
        require(!may_be_replaced || !is_replaced(fd, head), EAGAIN);
        require(result == 0, result);
    });
}

int check_lock_file(int fd) {
    return result_of([=] { require_lock_file(fd); });
}

int check_locks_in_use(const void *lock_file, std::size_t file_bytes) {
    lock_file_head head = {};
    if (file_bytes < sizeof head || guarded_copy(&head, lock_file, sizeof head) != 0) {
        return SYSDB_FAULT;
    }
    return result_of([&] { require_locks_in_use(head, file_bytes); });
}
