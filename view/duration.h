// A time in words for people. Pure; never logs.
#pragma once

#include <string>

namespace view {

// "7 s", "12 min 5 s", "3 h 12 min", "2 d 5 h".
std::string duration(double seconds);

}  // namespace view
