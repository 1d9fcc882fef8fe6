// The command line: what is stored, and when the usage text is all that happens.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <getopt.h>

#include "daemon/options.h"
#include "daemon/zelt_stats.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *USAGE = "Usage: zelt-stats [Options]\n"
                              "Options:\n"
                              " -d, --device=<MODULE_STR>\tOne of EC21, EC25, BG96 (default depends on HW manifest)\n"
                              " -v, --verbose=LEVEL\t\tPrint debug information (default NONE = 0, LOW = 1, HIGH = 2)\n"
                              " -h, --help\t\t\tThis help\n";

struct outcome {
    std::optional<daemon_options> options;
    std::string printed;
};

std::vector<char *> argument_vector(std::vector<std::string> &arguments) {
    std::vector<char *> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

outcome parse(std::vector<std::string> arguments, int with_complaints = 0) {
    arguments.insert(arguments.begin(), "/usr/bin/zelt-stats");
    std::vector<char *> argv = argument_vector(arguments);
    optind = 0;  // getopt begins anew
    opterr = with_complaints;
    testing::internal::CaptureStdout();
    const auto options = parse_options(static_cast<int>(arguments.size()), argv.data());
    return {options, testing::internal::GetCapturedStdout()};
}

TEST(usage_text, is_printed_with_the_base_name_byte_for_byte) {
    testing::internal::CaptureStdout();
    print_usage("/usr/bin/zelt-stats");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), USAGE);
}

TEST(usage_text, base_name_of_every_kind_of_name) {
    struct row {
        const char *why;
        const char *started_as;
        const char *first_line;
    };
    static constexpr row ROWS[] = {
        {"found through PATH", "zelt-stats", "Usage: zelt-stats [Options]\n"},
        {"relative", "./build/zelt-stats", "Usage: zelt-stats [Options]\n"},
        {"another name", "/opt/watch", "Usage: watch [Options]\n"},
        {"at the root", "/zelt-stats", "Usage: zelt-stats [Options]\n"},
        {"a percent sign is no conversion", "/opt/%s", "Usage: %s [Options]\n"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        testing::internal::CaptureStdout();
        print_usage(each.started_as);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith(each.first_line));
    }
}

TEST(verbosity_option, levels_that_are_accepted) {
    struct row {
        const char *why;
        std::vector<std::string> arguments;
        unsigned int level;
    };
    const row rows[] = {
        {"lowest", {"-v", "0"}, 0},
        {"one", {"-v", "1"}, 1},
        {"highest", {"-v", "2"}, 2},
        {"hexadecimal", {"-v", "0x2"}, 2},
        {"octal", {"-v", "02"}, 2},
        {"no number at all", {"-v", "abc"}, 0},
        {"empty", {"-v", ""}, 0},
        {"a number with text behind it", {"-v", "1st"}, 1},
        {"attached", {"-v2"}, 2},
        {"long option", {"--verbose=0x1"}, 1},
        {"long option, argument apart", {"--verbose", "2"}, 2},
        {"the last one counts", {"-v", "2", "-v", "1"}, 1},
        {"a minus sign negates within 32 bits", {"-v", "-4294967295"}, 1},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        verbosity = 99;
        const outcome result = parse(each.arguments);
        EXPECT_TRUE(result.options.has_value());
        EXPECT_EQ(verbosity, each.level);
        EXPECT_EQ(result.printed, "");
    }
}

TEST(verbosity_option, a_level_above_2_is_stored_and_prints_the_usage_text) {
    struct row {
        const char *why;
        const char *argument;
        unsigned int level;
    };
    static constexpr row ROWS[] = {
        {"one past the highest", "3", 3},
        {"octal 8, not decimal 10", "010", 8},
        {"hexadecimal", "0xff", 255},
        {"just below 2^64 is no negated number", "18446744069414584322", 4294967295U},
        {"largest of 32 bits", "4294967295", 4294967295U},
        {"beyond 32 bits clamps instead of wrapping to 2", "4294967298", 4294967295U},
        {"beyond 64 bits", "99999999999999999999", 4294967295U},
        {"negative", "-1", 4294967295U},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        verbosity = 99;
        const outcome result = parse({"-v", each.argument});
        EXPECT_FALSE(result.options.has_value());
        EXPECT_EQ(verbosity, each.level);
        EXPECT_EQ(result.printed, USAGE);
    }
}

TEST(verbosity_option, is_0_without_the_option) {
    EXPECT_TRUE(parse({}).options.has_value());
    EXPECT_EQ(verbosity, 0U);
}

TEST(options, that_end_with_the_usage_text) {
    struct row {
        const char *why;
        std::vector<std::string> arguments;
    };
    const row rows[] = {
        {"help", {"-h"}},
        {"help, long", {"--help"}},
        {"help, shortened", {"--he"}},
        {"unknown short option", {"-x"}},
        {"unknown long option", {"--nothing"}},
        {"-v without its argument", {"-v"}},
        {"-d without its argument", {"-d"}},
        {"--verbose without its argument", {"--verbose"}},
        {"--device without its argument", {"--device"}},
        {"help with an argument that it does not take", {"--help=yes"}},
        {"an unknown option behind a good one", {"-d", "EC25", "-x"}},
        {"a name with a letter too many is no other name shortened", {"--devicex=EC25"}},
        {"the same of the level", {"--verbosex=1"}},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        const outcome result = parse(each.arguments);
        EXPECT_FALSE(result.options.has_value());
        EXPECT_EQ(result.printed, USAGE);
    }
}

// Help prints the same text as a mistake does; getopt complains of the mistake only.
TEST(options, of_the_usage_text_are_no_mistakes_and_the_others_are) {
    struct row {
        const char *why;
        const char *argument;
        bool complains;
    };
    static constexpr row ROWS[] = {
        {"help", "-h", false},        {"help, long", "--help", false},
        {"unknown", "-x", true},      {"a letter too many", "--helpx", true},
        {"another case", "-H", true}, {"another case, long", "--HELP", true},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        testing::internal::CaptureStderr();
        parse({each.argument}, 1);
        EXPECT_EQ(!testing::internal::GetCapturedStderr().empty(), each.complains);
    }
}

TEST(device_option, names_the_model_as_the_module_library_knows_it) {
    struct row {
        const char *why;
        std::vector<std::string> arguments;
        module_model model;
    };
    const row rows[] = {
        {"without the option", {}, MODULE_UNKNOWN},
        {"known", {"-d", "EC25"}, MODULE_EC25},
        {"long", {"--device=BG96"}, MODULE_BG96},
        {"attached", {"-dEC21"}, MODULE_EC21},
        {"unknown counts as not given", {"-d", "XY99"}, MODULE_UNKNOWN},
        {"the last one counts", {"-d", "EC25", "-d", "EC21"}, MODULE_EC21},
        {"an unknown one takes back a known one", {"-d", "EC25", "-d", "XY99"}, MODULE_UNKNOWN},
        {"a word that is no option is passed over", {"word", "-d", "EC25"}, MODULE_EC25},
    };
    for (const row &each : rows) {
        SCOPED_TRACE(each.why);
        const outcome result = parse(each.arguments);
        ASSERT_TRUE(result.options.has_value());
        EXPECT_EQ(result.options->model, each.model);
        EXPECT_EQ(result.printed, "");
    }
}

TEST(device_option, asks_the_module_library_with_the_argument_as_it_stands) {
    parse({"-d", "ec25 "});
    EXPECT_THAT(fake::platform().journal, ElementsAre("get_module_model_from_config_string ec25 "));
}

TEST(device_option, and_verbosity_together) {
    const outcome result = parse({"-v", "1", "-d", "EC25"});
    ASSERT_TRUE(result.options.has_value());
    EXPECT_EQ(result.options->model, MODULE_EC25);
    EXPECT_EQ(verbosity, 1U);
}

// The process is to end before it touches the log, the link or the database.
class usage_exit : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(usage_exit, returns_0_and_does_nothing_else) {
    std::vector<std::string> arguments = GetParam();
    arguments.insert(arguments.begin(), "/usr/bin/zelt-stats");
    std::vector<char *> argv = argument_vector(arguments);
    opterr = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(zelt_stats(static_cast<int>(arguments.size()), argv.data()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), USAGE);
    EXPECT_THAT(fake::platform().journal, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(command_lines, usage_exit,
                         testing::Values(std::vector<std::string>{"--help"}, std::vector<std::string>{"-x"},
                                         std::vector<std::string>{"-v", "3"}, std::vector<std::string>{"-v"}));

}  // namespace
