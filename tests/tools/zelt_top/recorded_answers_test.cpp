// Every recorded answer's keys, as the daemon publishes them, through all three writers.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/zelt_top/page_text.h"
#include "tests/view/samples.h"
#include "view/json.h"

namespace {

using namespace view;
using namespace zelt_top;
using testing::HasSubstr;
using testing::Not;

// Lines such as "| CELL_BAND int 78", a text being the rest of its line.
snapshot expected_keys(const std::filesystem::path &scenario) {
    snapshot cell;
    std::ifstream file(scenario);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string bar;
        std::string key;
        std::string type;
        if (!(words >> bar >> key >> type) || bar != "|" || !key.starts_with("CELL_")) {
            continue;
        }
        std::string rest;
        words.get();
        std::getline(words, rest);
        if (type == "int") {
            cell[key] = std::stoi(rest);
        } else if (type == "real") {
            cell[key] = std::stod(rest);
        } else {
            cell[key] = rest;
        }
    }
    return cell;
}

TEST(recorded_answers, are_shown_without_marks_and_within_their_page) {
    std::size_t walked = 0;
    for (const auto &entry : std::filesystem::directory_iterator(GOLDEN_FOLDER)) {
        const snapshot cell = expected_keys(entry.path());
        if (entry.path().extension() != ".scenario" || cell.empty()) {
            continue;
        }
        ++walked;
        const picture known = samples::picture_of(cell);
        const std::string page = samples::page_of(known);
        EXPECT_THAT(page, Not(HasSubstr("-999"))) << entry.path();
        EXPECT_THAT(to_json(known, samples::read_from(cell)), Not(HasSubstr("-999"))) << entry.path();
        EXPECT_TRUE(known.other.empty()) << entry.path();
        if (!known.technology.empty()) {
            EXPECT_TRUE(page.starts_with(" " + known.technology + "\n")) << entry.path() << page;
            EXPECT_THAT(page, Not(HasSubstr("No signal values yet"))) << entry.path();
        }
    }
    EXPECT_GT(walked, 50U);
}

}  // namespace
