// How current the values are: what the platform records of the module's port, and what people are told of it.
#include "view/port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using testing::HasSubstr;
using enum port_report::state;

constexpr double NOW = 1000;

snapshot record(const char *state, int since, std::optional<int> last_answer, const char *reason = "") {
    snapshot platform{
        {"PORT_STATE", std::string(state)}, {"PORT_STATE_SINCE", since}, {"PORT_REASON", std::string(reason)}};
    if (last_answer) {
        platform["PORT_LAST_ANSWER"] = *last_answer;
    }
    return platform;
}

picture picture_of(const port_report &port, const runtime_state &around = {}, const snapshot &cell = samples::lte(),
                   double written = 2) {
    reading database = samples::read_from(cell);
    database.port = port;
    return build_picture(database, around, {written, {}, {}});
}

TEST(port, silence_counts_from_the_last_answer_or_from_the_state_where_there_never_was_one) {
    struct row {
        const char *why;
        snapshot platform;
        port_report::state is;
        std::optional<double> silent;
    };
    const row rows[] = {
        {"answers", record("answers", 100, 998), answers, 2},
        {"mute", record("no answer", 940, 935), no_answer, 65},
        {"mute from the beginning", record("no answer", 940, {}), no_answer, 60},
        {"gone", record("hung up", 990, 988), hung_up, 12},
        {"no device", record("cannot be opened", 990, {}), cannot_be_opened, 10},
        {"another program's", record("in use", 990, 980, "cat, process 7"), in_use, 20},
        {"of another boot", record("answers", 5000, 6000), answers, {}},
        {"a platform that records nothing", {}, unknown, {}},
        {"a word of another version", record("sings", 990, 990), unknown, 10},
        {"foreign types", {{"PORT_STATE", 1}, {"PORT_LAST_ANSWER", std::string("998")}}, unknown, {}},
    };
    for (const row &one : rows) {
        const port_report port = read_port(one.platform, NOW);
        EXPECT_EQ(port.is, one.is) << one.why;
        EXPECT_EQ(port.seconds_silent, one.silent) << one.why;
    }
}

TEST(port, reason_carries_no_control_characters) {
    EXPECT_EQ(read_port(record("cannot be opened", 990, {}, "No\x1b[2J"), NOW).reason, "No?[2J");
}

TEST(port, state_of_the_view_rests_on_the_last_answer) {
    struct row {
        const char *why;
        port_report port;
        double written;
        condition state;
        const char *sentence;
    };
    const row rows[] = {
        {"an answer of now", {answers, "", 2}, 2, condition::well, "Registered at home."},
        {"one command of which the module knows nothing",
         {no_answer, "", 15},
         2,
         condition::well,
         "Registered at home."},
        {"mute, while the daemon commits",
         {no_answer, "", 65},
         1,
         condition::no_answer,
         "No answer from the module for 1 min 5 s: it hangs, or this is not its AT port."},
        {"unplugged",
         {hung_up, "", 3},
         1,
         condition::hung_up,
         "The module's port hung up 3 s ago: the module restarts, or lost plug or power."},
        {"not to be opened",
         {cannot_be_opened, "Permission denied: run as root", 12},
         1,
         condition::no_port,
         "The module's port has not opened for 12 s. Permission denied: run as root."},
        {"in use for a moment, as by a tool that asked something",
         {in_use, "cat, process 7", 15},
         1,
         condition::well,
         "Registered at home."},
        {"in use by another program",
         {in_use, "cat, process 7", 75},
         1,
         condition::port_held,
         "Another program uses the module's port: cat, process 7. No news for 1 min 15 s: the daemon waits until it is "
         "alone there."},
        {"old, and nobody says why",
         {answers, "", 16},
         1,
         condition::stale,
         "No news for 16 s: the daemon hangs or waits for the module."},
        {"without a record the commits count",
         {unknown, "", {}},
         16,
         condition::stale,
         "No news for 16 s: the daemon hangs or waits for the module."},
    };
    for (const row &one : rows) {
        const picture known = picture_of(one.port, {}, samples::lte(), one.written);
        EXPECT_EQ(known.state, one.state) << one.why;
        EXPECT_EQ(known.sentence, one.sentence) << one.why;
    }
}

TEST(port, age_of_the_values_is_that_of_the_last_answer) {
    EXPECT_EQ(picture_of({answers, "", 7}).updated, 7);
    EXPECT_EQ(picture_of({unknown, "", {}}).updated, 2) << "of the last commit";
}

TEST(port, what_is_wrong_with_the_daemon_comes_first) {
    runtime_state around;
    around.paused = true;
    EXPECT_EQ(picture_of({hung_up, "", 3}, around).state, condition::paused);
}

TEST(port, held_is_only_a_lock_that_outlasts_an_exchange) {
    struct row {
        const char *why;
        double locked;
        double silent;
        condition state;
    };
    for (const row &one :
         {row{"an exchange of the daemon", 5, 30, condition::stale}, row{"at the limit", 10, 30, condition::stale},
          row{"an old lock, but the module answers", 600, 2, condition::well},
          row{"somebody else's", 11, 11, condition::port_held}}) {
        runtime_state around;
        around.seconds_locked = one.locked;
        EXPECT_EQ(picture_of({answers, "", one.silent}, around).state, one.state) << one.why;
    }
}

TEST(port, who_holds_it_is_named_as_far_as_it_can_be_seen) {
    runtime_state around;
    around.seconds_locked = 120;
    const port_report port{answers, "", 121};
    EXPECT_EQ(
        picture_of(port, around).sentence,
        "The port has been locked for 2 min (/tmp/zelt.cli): the daemon waits. Only root sees which program has it "
        "open.");
    around.sees_all_programs = true;
    EXPECT_EQ(
        picture_of(port, around).sentence,
        "The port has been locked for 2 min (/tmp/zelt.cli), but no program has it open: remove the file if nobody "
        "uses the module.");
    around.holder = "minicom, process 4711";
    EXPECT_EQ(picture_of(port, around).sentence,
              "Another program has held the port for 2 min: minicom, process 4711. The daemon waits until it removes "
              "/tmp/zelt.cli.");
}

TEST(port, program_without_a_lock_is_named_beside_the_silence) {
    runtime_state around;
    around.holder = "ModemManager, process 812";
    EXPECT_THAT(picture_of({no_answer, "", 65}, around).sentence,
                HasSubstr(" Another program has it open: ModemManager, process 812."));
}

TEST(port, module_in_a_box_needs_the_box_again_when_it_is_back) {
    runtime_state around;
    around.module_in_box = true;
    EXPECT_THAT(picture_of({hung_up, "", 3}, around).sentence, HasSubstr(" start the box again."));
    EXPECT_THAT(picture_of({no_answer, "", 65}, around).sentence, Not(HasSubstr("box")));
}

TEST(link, of_a_module_in_a_box_is_nobodys_to_watch) {
    runtime_state around;
    around.module_in_box = true;
    const picture known = picture_of({}, around, samples::lte() + snapshot{{"CELL_CONNECTED", 0}});
    EXPECT_FALSE(known.link_watched);
    EXPECT_FALSE(known.link_up.known());
    EXPECT_FALSE(known.address.known());
}

TEST(link, has_no_address_while_it_is_down) {
    EXPECT_FALSE(samples::picture_of(samples::lte() + snapshot{{"CELL_CONNECTED", 0}}).address.known());
    EXPECT_TRUE(samples::picture_of(samples::lte()).address.known());
}

TEST(standalone_5g, has_the_band_of_its_own_key) {
    const picture known = samples::picture_of(samples::sa() + snapshot{{"CELL_BAND", 3}});
    EXPECT_EQ(std::get<number>(known.radio.at(0).value).value, 78);
}

}  // namespace
