// What a scenario file says. Reads text only: no file, no box. Silent; an error in the text is an exception.
// docs/scenarios.md is the language.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "sim/scenario/statements.h"

struct scenario_step {
    statement_content what;  // never module_name
    std::size_t line;
};

struct scenario {
    std::string summary;               // the first comment
    std::string module;                // empty: the daemon is started without -d
    std::vector<scenario_step> steps;  // what stands before the first at or after holds before the daemon starts
};

// `name` stands in front of errors. Throws scenario_error.
scenario parse_scenario(std::string_view text, const std::string &name);

// Every statement of the language, in the order of docs/scenarios.md.
std::vector<statement_form> all_statements();
