// One wire column to the text under which it is published. No conversion logs; the hexadecimal ones throw.
#pragma once

#include <string>

using column_conversion = std::string (*)(const char *field);

std::string as_it_stands(const char *field);

// Hexadecimal to decimal. Throw std::invalid_argument or std::out_of_range (beyond 32 bits signed) with the message
// "stoi" or "stol".
std::string stoi_hex_to_decimal(const char *field);  // area codes: 16 or 24 bits
std::string stol_hex_to_decimal(const char *field);  // cell identities: 28 bits

// LTE bandwidth code 0 to 5 to MHz; "-999" for any other code. A field that is no number counts as code 0.
std::string lte_bandwidth_mhz(const char *field);
