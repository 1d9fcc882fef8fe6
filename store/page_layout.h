// How LMDB 0.9 lays out its two files, in the byte order and word size of this machine: a file from a machine of the
// other size is foreign to LMDB itself. Only what a check has to look at.
//
//   data.mdb   page 0, page 1          page_head, then file_head: commits write them in turn, by their number's last
//   bit
//              pages 2 to last_page    of a tree, of a long value, or free
//
//   a page of a tree                   page_head; offsets of its nodes, in the order of their keys, up to `lower`;
//                                      nothing up to `upper`; the nodes without a gap up to the end of the page
//   a node                             node_head; key; in a leaf the value, or the number of its first page when
//                                      it is long; in a branch nothing: the head holds the page below
//   a long value                       page_head; the value, over as many pages as its head says
//
//   lock.mdb           lock_file_head, then a slot of LOCK_SLOT_BYTES for each reader
#pragma once

#include <cstddef>
#include <cstdint>

#include <pthread.h>

namespace page_layout {

using page_number = std::size_t;

constexpr page_number NO_PAGE = ~page_number{0};  // the root of an empty tree
constexpr page_number FIRST_PAGE = 2;

// page_head::flags
constexpr unsigned int BRANCH = 0x01;
constexpr unsigned int LEAF = 0x02;
constexpr unsigned int LONG_VALUE = 0x04;
constexpr unsigned int FILE_HEAD = 0x08;
constexpr unsigned int FIXED_SIZE = 0x20;  // with LEAF: values of one size without nodes

struct page_head {
    page_number number;
    std::uint16_t size_of_fixed;
    std::uint16_t flags;
    std::uint16_t lower;  // of a long value, both together are the count of its pages
    std::uint16_t upper;
};
static_assert(sizeof(page_head) == sizeof(page_number) + 8, "without padding, as offsets count from its end");

struct tree_head {
    std::uint32_t pad;  // of the free list's tree: the size of a page
    std::uint16_t flags;
    std::uint16_t depth;
    page_number branches;
    page_number leaves;
    page_number long_value_pages;
    std::size_t entries;
    page_number root;
};
static_assert(sizeof(tree_head) == 8 + 5 * sizeof(page_number), "it is also a value of the tree of named databases");

constexpr std::uint32_t MAGIC = 0xBEEFC0DE;
constexpr std::uint32_t VERSION = 1;

struct file_head {
    std::uint32_t magic;
    std::uint32_t version;
    std::size_t address;
    std::size_t map_bytes;
    tree_head free_list;
    tree_head databases;
    page_number last_page;
    std::size_t commit;
};

// node_head::flags, of a leaf
constexpr unsigned int LONG = 0x01;        // the value is the number of a page
constexpr unsigned int TREE = 0x02;        // the value is a tree_head
constexpr unsigned int DUPLICATES = 0x04;  // the value is a small page of values, with TREE a tree of them

struct node_head {
    std::uint16_t low;    // of the value's size or of the page below
    std::uint16_t high;   // of the same
    std::uint16_t flags;  // of a page below: the third part, where page numbers have more than 32 bits
    std::uint16_t key_bytes;
};
static_assert(sizeof(node_head) == 8);

constexpr std::uint32_t LOCK_FORMAT = 0x10001;
constexpr std::size_t LOCK_SLOT_BYTES = 64;  // a line of the processor's cache, as is the alignment

struct lock_file_head {
    std::uint32_t magic;
    std::uint32_t format;
    pthread_mutex_t of_slots;
    std::size_t commit;
    unsigned int slots_used;
    alignas(LOCK_SLOT_BYTES) pthread_mutex_t of_writer;
};
static_assert(sizeof(lock_file_head) % LOCK_SLOT_BYTES == 0);

}  // namespace page_layout
