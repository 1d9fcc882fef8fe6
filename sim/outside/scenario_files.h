// Where scenario files are. Reads files; silent.
#pragma once

#include <filesystem>
#include <string>

// Of the scenarios that are shipped.
std::filesystem::path shipped_scenarios();

// A file, or the name of a shipped scenario.
std::filesystem::path find_scenario(const std::string &name);

// Throws scenario_error when it cannot be read.
std::string read_scenario(const std::filesystem::path &path);
