#include <gtest/gtest.h>

#include "platform/module_access.h"

namespace {

TEST(module_model, of_a_name) {
    const struct {
        const char *why;
        const char *name;
        int model;
    } rows[] = {
        {"exact", "EC21", 2},
        {"exact", "EC25", 3},
        {"exact", "BG96", 1},
        {"lower case", "ec25", 3},
        {"regional variant", "EC25-AF", 3},
        {"regional variant", "EC21-E", 2},
        {"regional variant", "BG96-MA", 1},
        {"not a variant", "EC25X", 0},
        {"other module of the series", "EC20", 0},
        {"in front of a name", "XEC25", 0},
        {"the family's name as it is written", "RM5xx", 5},
        {"the same in capitals", "RM5XX", 5},
        {"first generation", "RM500", 5},
        {"first generation", "RM500Q", 5},
        {"first generation", "RM502Q-AE", 5},
        {"first generation", "RM505Q", 5},
        {"first generation", "RM510Q-GL", 5},
        {"first generation, lower case", "rm500q", 5},
        {"second generation", "RM520N", 6},
        {"second generation", "RM520N-GL", 6},
        {"second generation", "RM521F", 6},
        {"later", "RM530N", 6},
        {"later", "RM551E", 6},
        {"later, lower case", "rm551e-gl", 6},
        {"the family's beginning", "RM5", 0},
        {"another family", "RM255C", 0},
        {"no name", "", 0},
        {"only a variant", "-GL", 0},
        {"blanks are not cut", " EC25", 0},
        {"a pattern is no name", "EC2[15]", 0},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(get_module_model_from_config_string(row.name), row.model) << row.why << ": " << row.name;
    }
    EXPECT_EQ(get_module_model_from_config_string(nullptr), MODULE_UNKNOWN);
}

}  // namespace
