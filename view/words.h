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

// With the unit; a cell's identity in hexadecimal too, a band with its place: "3 (1800 MHz, FDD)", "n78 (3500 MHz,
// TDD)", or in a shorter form for narrow places.
enum class band_form { bare, frequency, full };
std::string words(const fact &one, band_form form = band_form::full);
std::string words(const signal_value &one);  // "<= -120 dBm (from SQI)"

// "107216/0"
std::string words(const station &one);

// "<= ", ">= " or nothing
const char *word(bound limit);

// "good", or which kind of missing it is.
const char *rating_word(const signal_value &one);

}  // namespace view
