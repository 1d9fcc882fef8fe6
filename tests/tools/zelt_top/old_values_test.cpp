// The page when its values are not those of now.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/zelt_top/page_text.h"
#include "tests/view/samples.h"

namespace {

using namespace view;
using namespace zelt_top;
using samples::page_of;
using testing::HasSubstr;
using testing::Not;

picture mute(const snapshot &cell) {
    reading database = samples::read_from(cell);
    database.port = {port_report::state::no_answer, "", 65};
    return build_picture(database, {}, {2, 2, 3725});
}

TEST(old_values, are_dimmed_with_all_that_is_around_them) {
    page small;
    small.width = 20;
    small.height = 40;
    for (const page &on : {page(), small}) {
        const std::vector<line> lines = lay_out(mute(samples::crowded()), memory(), on);
        bool in_values = false;
        for (const line &one : lines) {
            const std::string text = one.plain_text();
            in_values = in_values || text.starts_with(" Cell") || text.starts_with("RSRP");
            for (const span &part : one.spans) {
                EXPECT_TRUE(!in_values || part.look == style::dim) << text;
            }
        }
        EXPECT_TRUE(in_values);
    }
}

TEST(old_values, say_how_old_they_are_once) {
    const std::string text = page_of(mute(samples::lte()));
    EXPECT_THAT(text, HasSubstr(" No answer from the module for 1 min 5 s: it hangs"));
    EXPECT_THAT(text, Not(HasSubstr("Updated")));
}

TEST(link_line, says_that_the_box_does_not_watch_it) {
    runtime_state around;
    around.module_in_box = true;
    EXPECT_THAT(page_of(samples::picture_of(samples::lte(), around)), HasSubstr("\n Link    not watched in the box\n"));
}

}  // namespace
