// Values in words for people, the same ones wherever they are shown. Pure; never logs.
#pragma once

#include <string>

#include "view/picture.h"

namespace view {

// Whole numbers as such, others with one decimal.
std::string digits(double value);

// What is known, without its unit, or which kind of missing it is.
std::string words(const number &stored);
std::string words(const phrase &stored);

// With the unit; a cell's identity in hexadecimal too.
std::string words(const fact &one);
std::string words(const signal_value &one);

// "good", or which kind of missing it is.
const char *rating_word(const signal_value &one);

}  // namespace view
