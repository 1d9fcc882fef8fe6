// Signals by name without "SIG".
#pragma once

#include <optional>
#include <string>
#include <string_view>

std::optional<int> signal_number(std::string_view name);  // of those that a scenario sends; nothing for another text
std::string signal_name(int number);                      // the number itself for a signal without a name
bool is_signal_name(std::string_view name);
