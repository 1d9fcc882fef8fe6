// Databases as the daemon and others write them, and what may happen to their files.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <lmdb.h>

#include "tests/store/whole_use.h"
#include "tests/support/temporary_folder.h"

namespace damage {

constexpr std::size_t PAGE = 4096;

using random_numbers = std::mt19937_64;

inline std::size_t below(random_numbers &random, std::size_t end) {
    return end == 0 ? 0 : static_cast<std::size_t>(random() % end);
}

inline int commit(const std::string &folder, const char *database, const whole_use::writes &what) {
    const whole_use::outcome all = whole_use::write_checked(folder, database, what);
    return all.of_check != 0 ? all.of_check : all.of_use;
}

// The daemon's: 39 keys of which some change in each commit, a few of the platform's, and a free list.
inline void write_daemons(const std::string &folder) {
    for (int cycle = 0; cycle < 12; ++cycle) {
        whole_use::writes values;
        for (int key = cycle % 3; key < 39; key += cycle == 0 ? 1 : 3) {
            values.emplace_back("CELL_KEY_" + std::to_string(key),
                                "s" + std::string(3 + static_cast<std::size_t>(key) * 7 % 30, 'v'));
        }
        ASSERT_EQ(commit(folder, "CELL", values), 0);
        ASSERT_EQ(
            commit(folder, "PLATFORM", {{"PORT_STATE", "sok"}, {"PORT_SINCE", "i" + std::to_string(1000 + cycle)}}), 0);
    }
}

// Beside it what other programs may keep there: many keys, long values, other kinds of databases; some of it deleted.
inline void write_everybodys(const std::string &folder) {
    write_daemons(folder);
    whole_use::writes many;
    whole_use::writes fewer;
    for (int key = 0; key < 700; ++key) {
        many.emplace_back("LOG_ENTRY_" + std::to_string(key), "s" + std::string(40, 'l'));
        if (key % 5 != 0) {
            fewer.emplace_back("LOG_ENTRY_" + std::to_string(key), "");
        }
    }
    ASSERT_EQ(commit(folder, "LOG", many), 0);
    ASSERT_EQ(commit(folder, "LONG", {{"A", std::string(3000, 'a')}, {"B", std::string(50000, 'b')}, {"C", "sc"}}), 0);
    ASSERT_EQ(commit(folder, "LOG", fewer), 0);
    ASSERT_EQ(commit(folder, "LONG", {{"B", ""}}), 0);
    const whole_use::environment env(folder);
    MDB_txn *txn = nullptr;
    MDB_dbi database = 0;
    ASSERT_EQ(mdb_txn_begin(env.get(), nullptr, 0, &txn), 0);
    ASSERT_EQ(mdb_dbi_open(txn, "DUPLICATES", MDB_CREATE | MDB_DUPSORT, &database), 0);
    for (int value = 0; value < 300; ++value) {
        const std::string text = "value " + std::to_string(value);
        MDB_val key = {1, const_cast<char *>(value % 2 == 0 ? "E" : "O")};
        MDB_val data = {text.size(), const_cast<char *>(text.data())};
        ASSERT_EQ(mdb_put(txn, database, &key, &data, 0), 0);
    }
    ASSERT_EQ(mdb_txn_commit(txn), 0);
}

template <typename Write>
std::string bytes_of(Write write) {
    const temporary_folder folder;
    write(folder.path());
    return content_of(folder.path("data.mdb"));
}

// Numbers that a file's own fields hold, and those at the ends of what they can.
inline std::uint64_t likely_number(random_numbers &random) {
    static constexpr std::array<std::uint64_t, 12> NUMBERS = {
        0, 1, 2, 3, 0x10, 0x1000, 0x7fff, 0xffff, 0x10000, 0x7fffffff, 0xffffffff, ~std::uint64_t{0}};
    return random() % 2 == 0 ? NUMBERS.at(below(random, NUMBERS.size())) : below(random, 64);
}

inline void overwrite(std::string &bytes, std::size_t at, const void *from, std::size_t size) {
    if (at < bytes.size()) {
        std::memcpy(bytes.data() + at, from, std::min(size, bytes.size() - at));
    }
}

// Heads of pages and of the file stand at a page's beginning, nodes at its end.
inline std::size_t likely_place(random_numbers &random, const std::string &bytes) {
    const std::size_t page = below(random, bytes.size() / PAGE + 1) * PAGE;
    switch (random() % 4) {
    case 0:
        return below(random, 2) * PAGE + below(random, 160);
    case 1:
        return page + below(random, 32);
    case 2:
        return page + below(random, 400);
    default:
        return page + PAGE - 1 - below(random, 400);
    }
}

// One thing that goes wrong.
inline void damage_once(std::string &bytes, random_numbers &random) {
    const std::size_t pages = bytes.size() / PAGE;
    const std::size_t page = below(random, pages) * PAGE;
    const std::size_t other = below(random, pages) * PAGE;
    const std::size_t at = likely_place(random, bytes);
    const std::uint64_t number = likely_number(random);
    switch (random() % 10) {
    case 0:
    case 1:
        if (at < bytes.size()) {
            bytes[at] = static_cast<char>(bytes[at] ^ static_cast<char>(1U << below(random, 8)));
        }
        break;
    case 2:
        overwrite(bytes, at & ~std::size_t{1}, &number, 2);
        break;
    case 3:
        overwrite(bytes, at & ~std::size_t{3}, &number, 4);
        break;
    case 4:
        overwrite(bytes, at & ~std::size_t{7}, &number, 8);
        break;
    case 5:
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(page), std::min(PAGE, bytes.size() - page), '\0');
        break;
    case 6:
        std::copy_n(bytes.data() + page, std::min(PAGE, bytes.size() - std::max(page, other)), bytes.data() + other);
        break;
    case 7:
        std::generate_n(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                        at < bytes.size() ? std::min(below(random, 64), bytes.size() - at) : 0,
                        [&] { return static_cast<char>(random()); });
        break;
    case 8:
        bytes.resize(below(random, bytes.size()));
        break;
    default:
        bytes.resize(page);
        break;
    }
}

inline std::string damaged(std::string bytes, random_numbers &random) {
    for (std::size_t times = 1 + below(random, 3); times > 0 && !bytes.empty(); --times) {
        damage_once(bytes, random);
    }
    return bytes;
}

}  // namespace damage
