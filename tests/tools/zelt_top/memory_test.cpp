#include "tools/zelt_top/memory.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using namespace zelt_top;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none

reading at(std::size_t commits, const snapshot &cell, std::optional<double> since = std::nullopt) {
    reading database = samples::read_from(cell);
    database.commits = commits;
    database.seconds_since_commit = since;
    return database;
}

TEST(memory, first_reading_goes_by_the_record_of_the_file_system) {
    memory past;
    EXPECT_EQ(past.note(at(7, samples::lte(), 3), {}, 100).written, 3);
    EXPECT_EQ(past.note(at(7, samples::lte(), 99), {}, 110).written, 13);
}

TEST(memory, without_record_the_age_is_unknown_until_the_next_commit) {
    memory past;
    EXPECT_FALSE(past.note(at(7, samples::lte()), {}, 100).written);
    EXPECT_EQ(past.note(at(8, samples::lte()), {}, 104).written, 0);
    EXPECT_EQ(past.note(at(8, samples::lte()), {}, 105).written, 1);
}

TEST(memory, commit_of_equal_values_is_news_but_no_change) {
    memory past;
    past.note(at(7, samples::lte()), {}, 100);
    const ages equal = past.note(at(8, samples::lte()), {}, 104);
    EXPECT_EQ(equal.written, 0);
    EXPECT_FALSE(equal.changed);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 108).changed, 0);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 110).changed, 2);
}

TEST(memory, link_change_is_seen_when_nobody_recorded_it) {
    memory past;
    past.note(at(7, samples::lte()), {}, 100);
    EXPECT_FALSE(past.note(at(8, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 104).link);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_CONNECTED", 0}}), {}, 108).link, 0);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_CONNECTED", 0}}), {}, 138).link, 30);
}

TEST(memory, record_of_the_daemon_counts_before_own_sight) {
    memory past;
    runtime_state around;
    around.seconds_since_link_change = 3600;
    EXPECT_EQ(past.note(at(7, samples::lte()), around, 100).link, 3600);
}

TEST(memory, absent_database_forgets_nothing) {
    memory past;
    past.note(at(7, samples::lte(), 0), {}, 100);
    EXPECT_EQ(past.note(reading(), {}, 105).written, 5);
    EXPECT_EQ(past.note(at(7, samples::lte()), {}, 106).written, 6);
}

TEST(memory, course_has_a_gap_where_nothing_usable_was) {
    memory past;
    const runtime_state paused{runtime_state::process::running, true, true, {}};
    past.note_signals(samples::picture_of(samples::lte()));
    past.note_signals(samples::picture_of(samples::lte() + snapshot{{"CELL_RSRP", -999}}));
    past.note_signals(samples::picture_of(samples::wcdma()));
    past.note_signals(samples::picture_of(samples::lte(), paused));
    past.note_signals(samples::picture_of(samples::lte() + snapshot{{"CELL_RSRP", 0}}));
    const picture lte = samples::picture_of(samples::lte());
    past.note_signals(lte);
    const course &values = past.course_of(lte.legs[0], quantity::rsrp);
    ASSERT_EQ(values.size(), 6U);
    EXPECT_EQ(values[0], -95);
    for (std::size_t i = 1; i < 5; ++i) {
        EXPECT_TRUE(std::isnan(values[i])) << i;
    }
    EXPECT_EQ(values[5], -95);
}

TEST(memory, course_is_bounded) {
    memory past;
    const picture lte = samples::picture_of(samples::lte());
    for (std::size_t i = 0; i < memory::LONGEST + 5; ++i) {
        past.note_signals(lte);
    }
    EXPECT_EQ(past.course_of(lte.legs[0], quantity::rsrp).size(), memory::LONGEST);
}

}  // namespace
