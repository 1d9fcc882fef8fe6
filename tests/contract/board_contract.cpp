// What platform/board.h promises.
#include "platform/board.h"

#include "tests/contract/world.h"

namespace {

using board = contract;

TEST_F(board, the_type_is_one_of_the_list_and_stays) {
    const pellow_dev_type type = get_pellow_dev_type_as_enum();
    EXPECT_THAT(type, testing::AnyOf(PELLOW_DEV_UNKNOWN, PELLOW_DEV_ROUTER, PELLOW_DEV_WORKSTATION));
    EXPECT_EQ(get_pellow_dev_type_as_enum(), type);
}

TEST_F(board, every_type_has_a_text_that_stays) {
    for (const int type : {-1, 0, 1, 2, 3, 4711}) {
        const char *text = pellow_dev_type_enum_to_string(static_cast<pellow_dev_type>(type));
        ASSERT_NE(text, nullptr) << type;
        EXPECT_STRNE(text, "") << type;
        EXPECT_EQ(pellow_dev_type_enum_to_string(static_cast<pellow_dev_type>(type)), text) << type;
    }
}

}  // namespace
