#include "tools/zelt_top/check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/view/samples.h"

namespace {

using namespace view;
using zelt_top::verdict;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int OK = 0;
constexpr int WARNING = 1;
constexpr int CRITICAL = 2;
constexpr int UNKNOWN = 3;

verdict judged(const std::string &limits, const picture &known) {
    std::string problem;
    const auto items = zelt_top::parse_check(limits, problem);
    EXPECT_TRUE(items.has_value()) << problem;
    return judge(items.value_or(std::vector<zelt_top::check_item>{}), known);
}

// The last commit is 2 s old, the module's last answer so many seconds.
picture answered_before(double seconds, port_report::state is = port_report::state::answers) {
    reading database = samples::read_from(samples::lte());
    database.port.is = is;
    database.port.seconds_silent = seconds;
    return build_picture(database, {}, {2.0, {}, {}});
}

TEST(check, answers_as_plug_ins_do) {
    const verdict given = judged("rsrp=-100:-110,age=30,link=up", samples::picture_of(samples::lte()));
    EXPECT_EQ(given.line, "ZELT OK - LTE band 3 (1800 MHz, FDD), RSRP -95 dBm, age 2 s, link up"
                          " | rsrp=-95;-100:;-110: age=2s;;30");
    EXPECT_EQ(given.exit_code(), OK);
}

// RSRP is -95, RSRQ -11, SINR 12.4, SQI 60, the age 2 s.
TEST(check, a_signal_is_wrong_below_its_limit_and_an_age_above) {
    struct row {
        const char *why;
        const char *limits;
        int exit_code;
        const char *part;
    };
    const row rows[] = {
        {"at the limit all is well", "rsrp=-95", OK, "RSRP -95 dBm |"},
        {"below it", "rsrp=-94", CRITICAL, "RSRP -95 dBm (below -94)"},
        {"below the warning only", "rsrp=-90:-100", WARNING, "RSRP -95 dBm (below -90)"},
        {"below both", "rsrp=-80:-90", CRITICAL, "(below -90)"},
        {"a warning alone", "rsrq=-10:", WARNING, "rsrq=-11;-10:;"},
        {"a critical limit behind a colon", "rsrq=:-10", CRITICAL, "rsrq=-11;;-10:"},
        {"a limit with a fraction", "sinr=12.5", CRITICAL, "SINR 12.4 dB (below 12.5)"},
        {"a percentage has its unit", "sqi=50", OK, "| sqi=60%;;50:"},
        {"an age at its limit", "age=2", OK, "age=2s;;2"},
        {"an age above its warning", "age=1:10", WARNING, "age 2 s (above 1)"},
        {"the worst counts", "rsrp=-90:-100,sinr=20,rsrq=-20", CRITICAL, "ZELT CRITICAL"},
        {"a link that should be down", "link=down", CRITICAL, "link up"},
        {"no roaming", "roaming=no", OK, "roaming no"},
        {"roaming is asked for", "roaming=yes", CRITICAL, "roaming no"},
        {"no such leg", "nr_rsrp=-100", UNKNOWN, "nr_rsrp not measured"},
        {"a quantity of another technology", "ecio=-12", UNKNOWN, "ecio not measured"},
        {"what is wrong counts more than what is not known", "nr_rsrp=-100,rsrp=-90:", WARNING, "nr_rsrp not"},
    };
    for (const row &one : rows) {
        const verdict given = judged(one.limits, samples::picture_of(samples::lte()));
        EXPECT_EQ(given.exit_code(), one.exit_code) << one.why;
        EXPECT_THAT(given.line, HasSubstr(one.part)) << one.why;
    }
}

TEST(check, each_leg_of_a_5g_connection_has_its_own_limits) {
    const verdict given = judged("rsrp=-94,nr_rsrp=-90", samples::picture_of(samples::nsa()));
    EXPECT_EQ(given.line, "ZELT CRITICAL - 5G NSA band 3 (1800 MHz, FDD) + n78 (3500 MHz, TDD), "
                          "RSRP -95 dBm (below -94), NR RSRP -85 dBm | rsrp=-95;;-94: nr_rsrp=-85;;-90:");
    EXPECT_EQ(judged("nr_rsrp=-80", samples::picture_of(samples::sa())).exit_code(), CRITICAL);
}

TEST(check, values_that_are_missing_or_old_are_never_ok) {
    const runtime_state gone{runtime_state::process::gone, false, true, {}};
    struct row {
        const char *why;
        const char *limits;
        picture known;
        int exit_code;
    };
    const row rows[] = {
        {"not reported", "rsrp=-110", samples::picture_of(samples::lte() + snapshot{{"CELL_RSRP", -999}}), UNKNOWN},
        {"out of range", "rsrp=-110", samples::picture_of(samples::lte() + snapshot{{"CELL_RSRP", 0}}), UNKNOWN},
        {"no daemon", "rsrp=-110,age=30,link=up", samples::picture_of(samples::lte(), gone), UNKNOWN},
        {"no daemon, old values", "age=1", samples::picture_of(samples::lte(), gone), CRITICAL},
        {"stale, and no age was given", "rsrp=-110", samples::picture_of(samples::lte(), {}, {20.0, {}, {}}), UNKNOWN},
        {"stale, but young enough", "rsrp=-110,age=30", samples::picture_of(samples::lte(), {}, {20.0, {}, {}}), OK},
        {"too old", "rsrp=-110,age=30", samples::picture_of(samples::lte(), {}, {31.0, {}, {}}), CRITICAL},
        {"no age", "age=30", samples::picture_of(samples::lte(), {}, {}), UNKNOWN},
        {"not registered", "age=30", samples::picture_of(samples::lte() + snapshot{{"CELL_REGISTERED", 0}}), CRITICAL},
        {"registration not known yet", "age=30", samples::picture_of({}), UNKNOWN},
        {"not registered, and stale", "age=30",
         samples::picture_of(samples::lte() + snapshot{{"CELL_REGISTERED", 0}}, {}, {20.0, {}, {}}), CRITICAL},
        {"commits of others do not make old answers young", "age=30", answered_before(300), CRITICAL},
        {"silent, but young enough", "age=30", answered_before(20, port_report::state::no_answer), OK},
        {"silent, and no age was given", "rsrp=-110", answered_before(20, port_report::state::no_answer), UNKNOWN},
    };
    for (const row &one : rows) {
        EXPECT_EQ(judged(one.limits, one.known).exit_code(), one.exit_code) << one.why;
    }
}

TEST(check, what_is_wrong_with_the_whole_stands_in_front) {
    const runtime_state gone{runtime_state::process::gone, false, true, {}};
    const verdict given = judged("rsrp=-110", samples::picture_of(samples::lte(), gone));
    EXPECT_THAT(given.line, StartsWith("ZELT UNKNOWN - Daemon not running: its process has gone."));
    EXPECT_THAT(given.line, Not(HasSubstr("|"))) << "an old value is no measurement";
}

TEST(check, a_text_of_the_database_cannot_forge_measurements) {
    const verdict given =
        judged("age=30", samples::picture_of(samples::lte() + snapshot{{"CELL_NET_TYPE", std::string("a|b")}}));
    EXPECT_THAT(given.line, HasSubstr("a/b"));
}

TEST(check, wrong_limits_are_told) {
    struct row {
        const char *text;
        const char *part;
    };
    for (const row &one : {row{"", "\"\" cannot be checked"},
                           {"rsrp", "rsrp takes WARNING:CRITICAL"},
                           {"rsrp=", "rsrp takes"},
                           {"rsrp=:", "rsrp takes"},
                           {"rsrp=x", "not \"x\""},
                           {"rsrp=-100:-110:-120", "rsrp takes"},
                           {"rsrp=nan", "rsrp takes"},
                           {"rsrp=-110:-100", "after its critical limit"},
                           {"age=30:15", "after its critical limit"},
                           {"age=30,", "\"\" cannot be checked"},
                           {"link=yes", "link takes down or up"},
                           {"roaming", "roaming takes no or yes"},
                           {"nr_age=3", "\"nr_age\" cannot be checked"},
                           {"rsrp=-110,rsrp=-100", "rsrp stands twice"}}) {
        std::string problem;
        EXPECT_FALSE(zelt_top::parse_check(one.text, problem).has_value()) << one.text;
        EXPECT_THAT(problem, HasSubstr(one.part)) << one.text;
    }
}

}  // namespace
