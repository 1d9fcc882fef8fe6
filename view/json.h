// The picture as one JSON object on one line. Pure; never logs.
#pragma once

#include <string>

#include "view/observation.h"
#include "view/picture.h"

namespace view {

// A value that nobody reported is null. Without a line feed at the end.
std::string to_json(const picture &known, const reading &database);

}  // namespace view
