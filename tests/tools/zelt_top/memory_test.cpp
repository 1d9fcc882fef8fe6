#include "tools/zelt_top/memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using namespace zelt_top;
using testing::ElementsAre;
using testing::IsNan;
using testing::SizeIs;
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

// One reading after the other, as the view takes them.
class follower {
public:
    const course &note(double now, std::size_t commits, const snapshot &cell, const runtime_state &around = {},
                       const port_report &port = {}) {
        reading database = at(commits, cell);
        database.port = port;
        const picture known = build_picture(database, around, past.note(database, around, now));
        past.note_signals(known, database, now);
        return rsrp();
    }
    const course &rsrp() const { return past.course_of(samples::picture_of(samples::lte()).legs[0], quantity::rsrp); }

    memory past;
};

snapshot with_rsrp(int rsrp) {
    return samples::lte() + snapshot{{"CELL_RSRP", rsrp}};
}

port_report answered_at(int seconds_since_boot) {
    return {port_report::state::answers, "", 0.0, seconds_since_boot};
}

const runtime_state PAUSED{runtime_state::process::running, true, true, {}};

TEST(memory, course_has_a_gap_where_nothing_usable_was) {
    follower view;
    view.note(100, 1, with_rsrp(-95));
    view.note(105, 2, with_rsrp(-999));
    view.note(110, 3, samples::wcdma());
    view.note(115, 4, with_rsrp(0));
    EXPECT_THAT(view.note(120, 5, with_rsrp(-91)), ElementsAre(-95.0, IsNan(), IsNan(), IsNan(), -91.0));
}

TEST(memory, course_has_one_point_a_cycle_however_often_one_looks) {
    follower view;
    for (int tenths = 0; tenths < 150; ++tenths) {
        const int cycle = tenths / 50;  // one every 5 s
        view.note(100 + tenths / 10.0, static_cast<std::size_t>(cycle), with_rsrp(-95 - cycle));
    }
    EXPECT_THAT(view.rsrp(), ElementsAre(-95.0, -96.0, -97.0));
}

TEST(memory, commits_of_one_cycle_are_one_point_with_its_last_values) {
    follower view;
    view.note(100, 1, with_rsrp(-95));
    view.note(105, 2, with_rsrp(-95));
    EXPECT_THAT(view.note(106, 3, with_rsrp(-90)), ElementsAre(-95.0, -90.0));
    EXPECT_THAT(view.note(110, 4, with_rsrp(-91)), ElementsAre(-95.0, -90.0, -91.0));
}

TEST(memory, commits_are_no_news_where_answers_are_recorded) {
    follower view;
    view.note(100, 1, with_rsrp(-95), {}, answered_at(50));
    EXPECT_THAT(view.note(105, 2, with_rsrp(-95), {}, answered_at(50)), SizeIs(1));
    EXPECT_THAT(view.note(106, 2, with_rsrp(-95), {}, answered_at(56)), SizeIs(2));
}

TEST(memory, pause_leaves_one_gap) {
    follower view;
    view.note(100, 1, with_rsrp(-95));
    for (int now = 105; now < 200; ++now) {
        view.note(now, 1, with_rsrp(-95), PAUSED);
    }
    EXPECT_THAT(view.note(200, 2, with_rsrp(-95)), ElementsAre(-95.0, IsNan(), -95.0));
}

TEST(memory, silence_leaves_a_gap) {
    follower view;
    view.note(100, 1, with_rsrp(-95));
    view.note(104, 2, with_rsrp(-95));
    view.note(130, 2, with_rsrp(-95));  // more than three cycles without a commit
    EXPECT_THAT(view.note(131, 3, with_rsrp(-92)), ElementsAre(-95.0, -95.0, IsNan(), -92.0));
}

TEST(memory, rare_looks_leave_no_gap) {
    follower view;
    for (const int minute : {0, 1, 2}) {
        view.note(100 + 60 * minute, static_cast<std::size_t>(minute), with_rsrp(-95 - minute));
    }
    EXPECT_THAT(view.rsrp(), ElementsAre(-95.0, -96.0, -97.0));
}

TEST(memory, gap_is_left_when_nobody_looks) {
    follower view;
    view.past.leave_gap(90);  // there is nothing yet that it could part
    view.note(100, 1, with_rsrp(-95));
    view.past.leave_gap(101);
    view.past.leave_gap(150);
    EXPECT_THAT(view.note(151, 2, with_rsrp(-94)), ElementsAre(-95.0, IsNan(), -94.0));
}

TEST(memory, time_of_the_last_points_counts_from_the_oldest_of_them) {
    follower view;
    EXPECT_EQ(view.past.seconds_of_last(3), 0);
    for (const int cycle : {0, 1, 2, 3}) {
        view.note(100 + 5 * cycle, static_cast<std::size_t>(cycle), with_rsrp(-95));
    }
    view.note(117, 3, with_rsrp(-95));
    EXPECT_EQ(view.past.seconds_of_last(1), 2);
    EXPECT_EQ(view.past.seconds_of_last(3), 12);
    EXPECT_EQ(view.past.seconds_of_last(99), 17);
}

TEST(memory, course_is_bounded) {
    follower view;
    for (std::size_t i = 0; i < memory::LONGEST + 5; ++i) {
        view.note(100 + 5 * static_cast<double>(i), i, with_rsrp(-95));
    }
    EXPECT_EQ(view.rsrp().size(), memory::LONGEST);
    EXPECT_EQ(view.past.seconds_of_last(memory::LONGEST + 5), 5 * (memory::LONGEST - 1));
}

}  // namespace
