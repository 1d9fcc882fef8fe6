// The signals that a scenario knows, by name without "SIG".
#pragma once

#include <optional>
#include <string>
#include <string_view>

std::optional<int> signal_number(std::string_view name);  // nothing for another text
std::string signal_name(int number);                      // the number itself for another signal
