// Whether what came out is what the scenario expects. Pure: each returns the differences, one a line; none when it
// holds.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/database.h"
#include "sim/scenario.h"
#include "sim/system_log.h"

// `before`: what "CELL" held before the module was first asked for its serving cell; nothing while it was not asked.
std::vector<std::string> differences(const expect_cell &expected, const cell_values &now,
                                     const std::optional<cell_values> &before);
std::vector<std::string> differences(const expect_key &expected, const cell_values &now);
std::vector<std::string> differences(const expect_absent &expected, const cell_values &now);
std::vector<std::string> differences(const expect_log &expected, const std::vector<log_line> &log);

// `found`: what the file holds; nothing when it cannot be read.
std::vector<std::string> differences(const expect_file &expected, const std::optional<std::string> &found);
