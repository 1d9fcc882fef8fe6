// One look for a monitoring system: limits on values, and the line and exit code that its plug-ins answer with.
// Pure; never logs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "view/picture.h"

namespace zelt_top {

struct check_item {
    std::string name;                // "rsrp", "nr_rsrp", "age", "link", "roaming"
    std::string expected;            // of a state: "up", "no"
    std::optional<double> warning;   // of a number
    std::optional<double> critical;  // of a number
};

// In the order of severity, but for the last: what cannot be told counts less than what is known to be wrong.
enum class severity { ok, warning, critical, unknown };

struct verdict {
    severity overall;
    std::string line;  // without a line feed

    int exit_code() const { return static_cast<int>(overall); }
};

// "rsrp=-100:-110,age=30,link=up": behind a number's name WARNING:CRITICAL, WARNING: or CRITICAL, behind a state's the
// one that is right. Nothing when the text is wrong; problem says why.
std::optional<std::vector<check_item>> parse_check(const std::string &text, std::string &problem);

verdict judge(const std::vector<check_item> &items, const view::picture &known);

// For what keeps a check from being made at all.
verdict no_verdict(const std::string &why);

}  // namespace zelt_top
