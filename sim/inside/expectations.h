// Whether what came out is what the scenario expects. Pure: each returns the differences, one a line; none when it
// holds.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/database.h"
#include "sim/inside/broker.h"
#include "sim/inside/system_log.h"
#include "sim/scenario/scenario.h"

// `before`: what "CELL" held before the module was first asked for its serving cell; nothing while it was not asked.
std::vector<std::string> differences(const expect_cell &expected, const cell_values &now,
                                     const std::optional<cell_values> &before);
std::vector<std::string> differences(const expect_key &expected, const cell_values &now);
std::vector<std::string> differences(const expect_absent &expected, const cell_values &now);
std::vector<std::string> differences(const expect_log &expected, const std::vector<log_line> &log);

// `found`: every call and every log line that the expectation is about.
std::vector<std::string> differences(const expect_journal &expected, const std::vector<log_line> &found);

// `found`: what the file holds; nothing when it cannot be read.
std::vector<std::string> differences(const expect_file &expected, const std::optional<std::string> &found);

// `found`: whether there is anything at the path.
std::vector<std::string> differences(const expect_no_file &expected, bool found);

// `found`: whether it is up; nothing when there is no such interface.
std::vector<std::string> differences(const expect_interface &expected, const std::optional<bool> &found);

// `found`: the oldest message that no expectation was about yet.
std::vector<std::string> differences(const expect_message &expected, const std::optional<mqtt_message> &found);
std::vector<std::string> differences(const expect_no_message &expected, const std::optional<mqtt_message> &found);
