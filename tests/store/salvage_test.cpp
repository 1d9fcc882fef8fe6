// What is found in files that LMDB wrote, whole ones and such of which a part is gone.
#include "store/salvage.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <sys/stat.h>

#include "tests/store/damage.h"
#include "tests/store/store_fixture.h"

namespace {

class salvage : public store_test {
protected:
    sysdb_salvage found() const { return salvage_database(file("data.mdb")); }

    // Page by page behind the file's two heads: who holds this text is gone.
    void lose_pages_with(const std::string &text) const {
        std::string bytes = content_of(file("data.mdb"));
        int lost = 0;
        for (std::size_t page = 2 * damage::PAGE; page < bytes.size(); page += damage::PAGE) {
            if (bytes.substr(page, damage::PAGE).find(text) != std::string::npos) {
                bytes.replace(page, damage::PAGE, damage::PAGE, '\xff');
                ++lost;
            }
        }
        ASSERT_GT(lost, 0) << text;
        std::ofstream(file("data.mdb"), std::ios::binary) << bytes;
    }
};

TEST_F(salvage, brings_the_bytes_of_every_value_of_every_database) {
    ASSERT_EQ(put({{"I", -2}, {"D", 1.0}, {"S", "ab"}, {"EMPTY", ""}}), 0);
    ASSERT_EQ(put({{"G", 7}}, "GPIO"), 0);
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL",
                                       {{"I", "i\xfe\xff\xff\xff"},
                                        {"D", std::string("r\0\0\0\0\0\0\xf0\x3f", 9)},
                                        {"S", "sab"},
                                        {"EMPTY", "s"}}},
                                      {"GPIO", {{"G", std::string("i\x07\0\0\0", 5)}}}}));
}

TEST_F(salvage, brings_values_of_a_foreign_form_as_they_are) {
    write_raw("CELL", "K", std::string("x\0y", 3));
    write_raw("CELL", "NOTHING", "");
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {{"K", std::string("x\0y", 3)}, {"NOTHING", ""}}}}));
}

// 700 keys take more than one leaf, 50,000 bytes more than one page; four of five keys and B are deleted again.
TEST_F(salvage, brings_trees_and_long_values_but_neither_what_was_deleted_nor_other_kinds_of_databases) {
    std::filesystem::create_directory(directory_);
    damage::write_everybodys(directory_);
    sysdb_salvage all = found();
    EXPECT_EQ(all["CELL"].size(), 39U);
    EXPECT_EQ(all["CELL"]["CELL_KEY_2"], "s" + std::string(17, 'v'));
    EXPECT_EQ(all["PLATFORM"], (std::map<std::string, std::string>{{"PORT_STATE", "sok"}, {"PORT_SINCE", "i1011"}}));
    EXPECT_EQ(all["LOG"].size(), 140U);
    EXPECT_EQ(all["LOG"]["LOG_ENTRY_695"], "s" + std::string(40, 'l'));
    EXPECT_EQ(all["LOG"].count("LOG_ENTRY_696"), 0U);
    EXPECT_EQ(all["LONG"], (std::map<std::string, std::string>{{"A", std::string(3000, 'a')}, {"C", "sc"}}));
    EXPECT_EQ(all.size(), 4U) << "not the one of duplicates";
    whole_use::pairs read;
    ASSERT_EQ(whole_use::read_checked(directory_, &read).of_use, 0);
    whole_use::pairs salvaged;
    for (const auto &[name, entries] : all) {
        std::copy(entries.begin(), entries.end(), std::back_inserter(salvaged));
    }
    std::ranges::sort(read);
    std::ranges::sort(salvaged);
    EXPECT_EQ(salvaged, read) << "LMDB reads the same";
}

TEST_F(salvage, brings_the_last_commit_and_fills_in_from_the_one_before_where_a_page_is_gone) {
    ASSERT_EQ(put({{"A", "the old value"}, {"B", "stays"}}), 0);
    ASSERT_EQ(put({{"G", 7}}, "GPIO"), 0);
    ASSERT_EQ(put({{"A", "the new value"}}), 0);
    const std::map<std::string, std::string> gpio = {{"G", std::string("i\x07\0\0\0", 5)}};
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {{"A", "sthe new value"}, {"B", "sstays"}}}, {"GPIO", gpio}}));
    lose_pages_with("the new value");
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {{"A", "sthe old value"}, {"B", "sstays"}}}, {"GPIO", gpio}}));
    lose_pages_with("the old value");
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {}}, {"GPIO", gpio}}));
}

TEST_F(salvage, brings_the_commit_before_when_the_head_of_the_last_one_is_gone) {
    ASSERT_EQ(put({{"A", 1}}), 0);  // commit 1: its head is page 1
    ASSERT_EQ(put({{"A", 2}}), 0);  // commit 2: its head is page 0
    std::string bytes = content_of(file("data.mdb"));
    const std::string whole = bytes;
    std::ofstream(file("data.mdb"), std::ios::binary) << bytes.replace(0, damage::PAGE, damage::PAGE, '\0');
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {{"A", std::string("i\x01\0\0\0", 5)}}}}));
    bytes = whole;
    std::ofstream(file("data.mdb"), std::ios::binary) << bytes.replace(damage::PAGE, damage::PAGE, damage::PAGE, '\0');
    EXPECT_EQ(found(), (sysdb_salvage{{"CELL", {{"A", std::string("i\x02\0\0\0", 5)}}}}));
}

TEST_F(salvage, of_a_long_value_brings_all_or_nothing) {
    ASSERT_EQ(put({{"LONG", std::string(20000, 'x')}, {"K", 1}}), 0);
    const std::string bytes = content_of(file("data.mdb"));
    const std::size_t begin = bytes.find("sxxxx");
    ASSERT_NE(begin, std::string::npos);
    std::filesystem::resize_file(file("data.mdb"), begin + 20001);
    EXPECT_EQ(found()["CELL"]["LONG"], "s" + std::string(20000, 'x'));
    std::filesystem::resize_file(file("data.mdb"), begin + 20000);
    EXPECT_EQ(found()["CELL"].count("LONG"), 0U) << "a byte is missing";
}

TEST_F(salvage, of_a_file_of_any_length_brings_nothing_that_was_never_written) {
    ASSERT_EQ(put({{"A", "first"}, {"B", std::string(6000, 'b')}}), 0);
    ASSERT_EQ(put({{"A", "second"}, {"C", "third"}}), 0);
    const std::set<std::pair<std::string, std::string>> written = {
        {"A", "sfirst"}, {"A", "ssecond"}, {"B", "s" + std::string(6000, 'b')}, {"C", "sthird"}};
    for (std::size_t size = std::filesystem::file_size(file("data.mdb")); size > 0; size -= 256) {
        std::filesystem::resize_file(file("data.mdb"), size);
        for (const auto &[name, entries] : found()) {
            EXPECT_EQ(name, "CELL") << size;
            for (const auto &entry : entries) {
                EXPECT_EQ(written.count(entry), 1U) << size << ": " << entry.first;
            }
        }
    }
}

TEST_F(salvage, of_damaged_files_ends_with_no_more_than_two_commits_can_hold) {
    const std::string sound = damage::bytes_of(damage::write_everybodys);
    std::filesystem::create_directory(directory_);
    for (std::size_t number = 0; number < 200; ++number) {
        damage::random_numbers random(number);
        const std::string bytes = damage::damaged(sound, random);
        std::ofstream(file("data.mdb"), std::ios::binary) << bytes;
        std::size_t total = 0;
        for (const auto &[name, entries] : found()) {
            for (const auto &[key, value] : entries) {
                total += key.size() + value.size();
            }
        }
        EXPECT_LE(total, 2 * bytes.size()) << "damage " << number;
    }
}

TEST_F(salvage, brings_nothing_out_of_what_is_no_database) {
    EXPECT_TRUE(found().empty()) << "not even a folder";
    std::filesystem::create_directory(directory_);
    EXPECT_TRUE(found().empty()) << "no file";
    for (const std::string &bytes :
         {std::string(), std::string("x"), std::string(20000, '\0'), std::string(20000, 'x')}) {
        std::ofstream(file("data.mdb"), std::ios::binary) << bytes;
        EXPECT_TRUE(found().empty()) << bytes.size();
    }
    std::filesystem::remove(file("data.mdb"));
    std::filesystem::create_directory(file("data.mdb"));
    EXPECT_TRUE(found().empty()) << "a folder";
    std::filesystem::remove(file("data.mdb"));
    ASSERT_EQ(mkfifo(file("data.mdb").c_str(), 0600), 0);
    EXPECT_TRUE(found().empty()) << "a FIFO, which is not waited for";
}

}  // namespace
