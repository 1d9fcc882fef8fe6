// The picture as comma-separated values, quoted as RFC 4180 says, each line ended by a line feed. Pure; never logs.
#pragma once

#include <string>

#include "view/picture.h"

namespace zelt_top {

// The names of the columns.
std::string csv_header(bool with_subscriber);

// A value that is not known is empty. With the subscriber's columns where the picture has one.
std::string csv_row(const view::picture &known, const view::reading &database);

}  // namespace zelt_top
