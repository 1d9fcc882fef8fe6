// What the database held at one moment. Knows no key and no meaning; never logs.
#pragma once

#include <map>
#include <string>
#include <variant>

namespace zelt_top {

using value = std::variant<int, double, std::string>;
using snapshot = std::map<std::string, value>;

}  // namespace zelt_top
