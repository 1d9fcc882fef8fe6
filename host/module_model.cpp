// The table of module names. Pure.
#include "platform/module_access.h"

#include <string>

#include <fnmatch.h>

namespace {

struct named_model {
    const char *pattern;  // fnmatch(3), upper and lower case alike
    module_model model;
};

// clang-format off
constexpr named_model MODELS[] = {
    {"BG96", MODULE_BG96},
    {"EC21", MODULE_EC21},
    {"EC25", MODULE_EC25},
    {"RM5xx", MODULE_RM50X},
    {"RM5[01]*", MODULE_RM50X},  // RM500Q, RM502Q, RM505Q, RM510Q
    {"RM5[2-9]*", MODULE_RM52X},  // RM520N, RM521F, RM530N, RM551E
};
// clang-format on

}  // namespace

module_model get_module_model_from_config_string(const char *name) {
    const std::string full_name = name == nullptr ? "" : name;
    const std::string base_name = full_name.substr(0, full_name.find('-'));  // "EC25-AF" is a regional variant
    for (const named_model &row : MODELS) {
        if (fnmatch(row.pattern, base_name.c_str(), FNM_CASEFOLD) == 0) {
            return row.model;
        }
    }
    return MODULE_UNKNOWN;
}
