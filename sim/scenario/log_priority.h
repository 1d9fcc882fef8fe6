// Priorities of the system log, written "local0.alert".
#pragma once

#include <string>
#include <string_view>

std::string priority_name(unsigned int priority);  // "unknown.alert" for a facility that does not exist
bool is_priority_name(std::string_view name);

// All that may stand behind the point, with commas between them.
std::string level_names();
