// docs/scenarios.md against the language: every statement has one row in its tables, every row a statement.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "sim/scenario/scenario.h"

namespace {

// The first cells of the tables with this head, without the marks of code.
std::vector<std::string> explained(const std::string &head) {
    std::vector<std::string> usages;
    std::ifstream page(ZELT_SCENARIOS_PAGE);
    bool in_table = false;
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| ")) {
            in_table = in_table && line.starts_with("|-");
            continue;
        }
        std::string cell = line.substr(2, line.find(" | ", 2) - 2);
        std::erase(cell, '`');
        if (in_table) {
            usages.push_back(cell);
        }
        in_table = in_table || cell == head;
    }
    return usages;
}

TEST(scenarios_page, explains_each_statement_in_one_row) {
    std::vector<std::string> usages;
    for (const statement_form &form : all_statements()) {
        usages.emplace_back(form.usage);
    }
    EXPECT_THAT(explained("statement"), testing::UnorderedElementsAreArray(usages));
}

// The text constants that end in CR, in the folders that speak to the module.
std::set<std::string> asked_by_the_daemon() {
    static const std::regex COMMAND(R"re("(at(?:[^"\\]|\\")*)\\r")re");
    std::set<std::string> found;
    for (const char *folder : {"daemon", "modem", "decode", "wwan", "host"}) {
        for (const auto &entry : std::filesystem::directory_iterator(std::string(ZELT_SOURCES "/") + folder)) {
            std::ifstream file(entry.path());
            for (std::string line; std::getline(file, line);) {
                const std::string code = line.substr(0, line.find("//"));
                for (std::sregex_iterator match(code.begin(), code.end(), COMMAND), end; match != end; ++match) {
                    std::string command = (*match)[1];
                    std::erase(command, '\\');
                    found.insert(command);
                }
            }
        }
    }
    return found;
}

TEST(scenarios_page, names_each_command_that_the_module_is_asked) {
    EXPECT_THAT(explained("command"), testing::UnorderedElementsAreArray(asked_by_the_daemon()));
}

TEST(language, each_usage_begins_with_a_word_of_its_own) {
    std::vector<std::string_view> words;
    for (const statement_form &form : all_statements()) {
        EXPECT_FALSE(form.word().empty()) << form.usage;
        words.push_back(form.word());
    }
    std::ranges::sort(words);
    EXPECT_EQ(std::ranges::adjacent_find(words), words.end());
}

// "echo on, echo off": what stands behind the comma is written with the same word.
TEST(language, each_way_to_write_a_statement_begins_with_its_word) {
    for (const statement_form &form : all_statements()) {
        for (auto comma = form.usage.find(", "); comma != form.usage.npos; comma = form.usage.find(", ", comma + 1)) {
            EXPECT_TRUE(form.usage.substr(comma + 2).starts_with(form.word())) << form.usage;
        }
    }
}

}  // namespace
