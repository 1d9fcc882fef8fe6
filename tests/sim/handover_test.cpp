#include "sim/handover.h"

#include <gtest/gtest.h>

namespace {

using words = std::vector<std::string>;

TEST(handover, comes_out_of_its_words_as_it_went_in) {
    const play_request request{.scenario = "a b",
                               .port = "/dev/x",
                               .model = "EC25",
                               .seconds = 30,
                               .level = journal_level::quiet,
                               .speed = 8,
                               .beside = companion::shell,
                               .command = {"daemon", "-d", ""}};
    const play_request back = from_words(to_words(request));
    EXPECT_EQ(back.scenario, "a b");
    EXPECT_EQ(back.port, "/dev/x");
    EXPECT_EQ(back.model, "EC25");
    EXPECT_EQ(back.seconds, 30U);
    EXPECT_EQ(back.level, journal_level::quiet);
    EXPECT_EQ(back.speed, 8U);
    EXPECT_EQ(back.beside, companion::shell);
    EXPECT_EQ(back.command, (words{"daemon", "-d", ""}));
}

TEST(handover, too_few_words_are_not_taken_apart) {
    EXPECT_THROW(from_words({}), request_error);
    EXPECT_THROW(from_words({"1", "2", "3", "4", "5", "6", "7"}), request_error);
    EXPECT_THROW(from_words({"1", "2", "3", "4", "5", "x", "7", "daemon"}), request_error) << "no number";
}

}  // namespace
