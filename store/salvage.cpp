#include "store/salvage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "store/page_layout.h"

using namespace page_layout;

namespace {

constexpr std::size_t SMALLEST_PAGE = 4096;
constexpr std::size_t LARGEST_PAGE = 32768;
constexpr int DEEPEST_TREE = 32;

template <typename Head>
std::optional<Head> head_at(std::string_view bytes, std::size_t offset) {
    if (offset > bytes.size() || sizeof(Head) > bytes.size() - offset) {
        return std::nullopt;
    }
    Head head = {};
    std::memcpy(&head, bytes.data() + offset, sizeof head);
    return head;
}

// The file, a page at a time.
class pages {
public:
    explicit pages(const std::string &data_file) : fd_(open(data_file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        struct stat status = {};
        is_file_ = fd_.is_open() && fstat(fd_.get(), &status) == 0 && S_ISREG(status.st_mode);
        file_bytes_ = is_file_ ? static_cast<std::size_t>(status.st_size) : 0;
    }

    // As far as the file goes.
    std::string bytes(std::size_t offset, std::size_t size) const {
        std::string found(offset < file_bytes_ ? std::min(size, file_bytes_ - offset) : 0, '\0');
        std::size_t done = 0;
        while (done < found.size()) {
            const ssize_t piece =
                pread(fd_.get(), found.data() + done, found.size() - done, static_cast<off_t>(offset + done));
            if (piece <= 0) {
                break;
            }
            done += static_cast<std::size_t>(piece);
        }
        found.resize(done);
        return found;
    }

    std::size_t file_bytes() const { return file_bytes_; }

private:
    descriptor fd_;
    bool is_file_ = false;
    std::size_t file_bytes_ = 0;
};

std::optional<file_head> file_head_at(const pages &file, std::size_t offset) {
    const auto head = head_at<file_head>(file.bytes(offset, sizeof(page_head) + sizeof(file_head)), sizeof(page_head));
    const bool is_one = head && head->magic == MAGIC && head->version == VERSION;
    const std::size_t size = is_one ? head->free_list.pad : 0;
    return size >= SMALLEST_PAGE && size <= LARGEST_PAGE && (size & (size - 1)) == 0 ? head : std::nullopt;
}

// What one commit holds.
class commit_reader {
public:
    commit_reader(const pages &file, const file_head &head)
        : file_(file), page_bytes_(head.free_list.pad), is_met_(file.file_bytes() / page_bytes_ + 1),
          room_(file.file_bytes()) {}

    // False when something was left out.
    bool read(const tree_head &databases, sysdb_salvage *found) {
        walk(databases.root, 0, [&](std::string_view name, unsigned int flags, const std::string &value) {
            const auto tree = head_at<tree_head>(value, 0);
            if (flags == TREE && tree && tree->flags == 0) {
                read_database(*tree, &(*found)[std::string(name)]);
            }
        });
        return is_whole_;
    }

private:
    void read_database(const tree_head &tree, std::map<std::string, std::string> *found) {
        walk(tree.root, 0, [&](std::string_view key, unsigned int flags, const std::string &value) {
            if (flags == 0) {
                found->emplace(key, value);
            }
        });
    }

    // A page of a tree; empty when it is none, or was met already.
    std::string page(page_number number) {
        std::string bytes;
        if (number >= FIRST_PAGE && number < is_met_.size() && !is_met_[number]) {
            is_met_[number] = true;
            bytes = file_.bytes(number * page_bytes_, page_bytes_);
        }
        const auto head = head_at<page_head>(bytes, 0);
        const bool is_one = head && head->number == number && (head->flags == LEAF || head->flags == BRANCH) &&
                            head->lower >= sizeof(page_head) && head->lower <= bytes.size();
        is_whole_ = is_whole_ && is_one;
        return is_one ? bytes : std::string();
    }

    // visit(key, flags without LONG, value) for each entry below this page.
    template <typename Visit>
    void walk(page_number number, int depth, Visit visit) {
        if (number == NO_PAGE || depth > DEEPEST_TREE) {
            return;
        }
        const std::string bytes = page(number);
        const auto head = head_at<page_head>(bytes, 0).value_or(page_head{});
        for (std::size_t at = sizeof(page_head); at + 2 <= head.lower; at += 2) {
            const std::size_t offset = head_at<std::uint16_t>(bytes, at).value_or(0);
            const auto node = head_at<node_head>(bytes, offset);
            if (!node || node->key_bytes > bytes.size() - offset - sizeof(node_head)) {
                is_whole_ = false;
            } else if (head.flags == BRANCH) {
                walk(page_below(*node), depth + 1, visit);
            } else {
                read_entry(std::string_view(bytes).substr(offset + sizeof(node_head)), *node, visit);
            }
        }
    }

    template <typename Visit>
    void read_entry(std::string_view rest, const node_head &node, Visit visit) {
        const std::string_view key = rest.substr(0, node.key_bytes);
        const std::size_t size = node.low | static_cast<std::size_t>(node.high) << 16U;
        if (size > room_ || key.size() > room_ - size) {
            is_whole_ = false;
            return;
        }
        room_ -= key.size() + size;
        const std::optional<std::string> value = value_of(rest.substr(node.key_bytes), node.flags, size);
        if (value && !key.empty()) {
            visit(key, node.flags & ~LONG, *value);
        }
        is_whole_ = is_whole_ && value;
    }

    std::optional<std::string> value_of(std::string_view here, unsigned int flags, std::size_t size) const {
        if ((flags & LONG) == 0) {
            return size <= here.size() ? std::optional(std::string(here.substr(0, size))) : std::nullopt;
        }
        const page_number first = head_at<page_number>(here, 0).value_or(NO_PAGE);
        if (first < FIRST_PAGE || first >= is_met_.size()) {
            return std::nullopt;
        }
        const std::string bytes = file_.bytes(first * page_bytes_, sizeof(page_head) + size);
        const auto head = head_at<page_head>(bytes, 0);
        const bool is_one = head && head->number == first && head->flags == LONG_VALUE;
        return is_one && bytes.size() == sizeof(page_head) + size ? std::optional(bytes.substr(sizeof(page_head)))
                                                                  : std::nullopt;
    }

    static page_number page_below(const node_head &node) {
        page_number below = node.low | static_cast<page_number>(node.high) << 16U;
        if constexpr (sizeof(page_number) > 4) {
            below |= static_cast<page_number>(node.flags) << 32U;
        }
        return below;
    }

    const pages &file_;
    std::size_t page_bytes_;
    std::vector<bool> is_met_;
    std::size_t room_;  // a file holds no more than its size, however often its nodes point to the same bytes
    bool is_whole_ = true;
};

}  // namespace

sysdb_salvage salvage_database(const std::string &data_file) {
    const pages file(data_file);
    const auto page_size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::optional<file_head> first = file_head_at(file, 0);
    std::vector<file_head> heads;
    for (const auto &head : {first, file_head_at(file, first ? first->free_list.pad : page_size)}) {
        if (head) {
            heads.push_back(*head);
        }
    }
    std::ranges::sort(heads, std::greater{}, &file_head::commit);
    sysdb_salvage found;
    for (const file_head &head : heads) {
        if (commit_reader(file, head).read(head.databases, &found)) {
            break;
        }
    }
    return found;
}
