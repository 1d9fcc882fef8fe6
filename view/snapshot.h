// What the database held at one moment, as the store gives it. Knows no key and no meaning.
#pragma once

#include "store/environment.h"

namespace view {

using any_value = sysdb_value;
using snapshot = sysdb_values;

}  // namespace view
