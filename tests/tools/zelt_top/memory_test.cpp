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

TEST(Memory, FirstReadingGoesByTheRecordOfTheFileSystem) {
    memory past;
    EXPECT_EQ(past.note(at(7, samples::lte(), 3), {}, 100).written, 3);
    EXPECT_EQ(past.note(at(7, samples::lte(), 99), {}, 110).written, 13);
}

TEST(Memory, WithoutRecordTheAgeIsUnknownUntilTheNextCommit) {
    memory past;
    EXPECT_FALSE(past.note(at(7, samples::lte()), {}, 100).written);
    EXPECT_EQ(past.note(at(8, samples::lte()), {}, 104).written, 0);
    EXPECT_EQ(past.note(at(8, samples::lte()), {}, 105).written, 1);
}

TEST(Memory, CommitOfEqualValuesIsNewsButNoChange) {
    memory past;
    past.note(at(7, samples::lte()), {}, 100);
    const ages equal = past.note(at(8, samples::lte()), {}, 104);
    EXPECT_EQ(equal.written, 0);
    EXPECT_FALSE(equal.changed);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 108).changed, 0);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 110).changed, 2);
}

TEST(Memory, LinkChangeIsSeenWhenNobodyRecordedIt) {
    memory past;
    past.note(at(7, samples::lte()), {}, 100);
    EXPECT_FALSE(past.note(at(8, samples::lte() + snapshot{{"CELL_RSRP", -80}}), {}, 104).link);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_CONNECTED", 0}}), {}, 108).link, 0);
    EXPECT_EQ(past.note(at(9, samples::lte() + snapshot{{"CELL_CONNECTED", 0}}), {}, 138).link, 30);
}

TEST(Memory, RecordOfTheDaemonCountsBeforeOwnSight) {
    memory past;
    runtime_state around;
    around.seconds_since_link_change = 3600;
    EXPECT_EQ(past.note(at(7, samples::lte()), around, 100).link, 3600);
}

TEST(Memory, AbsentDatabaseForgetsNothing) {
    memory past;
    past.note(at(7, samples::lte(), 0), {}, 100);
    EXPECT_EQ(past.note(reading(), {}, 105).written, 5);
    EXPECT_EQ(past.note(at(7, samples::lte()), {}, 106).written, 6);
}

TEST(Memory, CourseHasAGapWhereNothingUsableWas) {
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

TEST(Memory, CourseIsBounded) {
    memory past;
    const picture lte = samples::picture_of(samples::lte());
    for (std::size_t i = 0; i < memory::LONGEST + 5; ++i) {
        past.note_signals(lte);
    }
    EXPECT_EQ(past.course_of(lte.legs[0], quantity::rsrp).size(), memory::LONGEST);
}

}  // namespace
