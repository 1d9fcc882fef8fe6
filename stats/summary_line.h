// The one-line radio summary for people, built from what the database holds at that moment.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "stats/cell_catalogue.h"

// One of the summary's values, as the last reading found it.
struct rssimon_value {
    explicit rssimon_value(value_kind kind_read) : kind(kind_read) {}

    value_kind kind;
    std::int32_t int_value = 0;
    double dbl_value = 0.0;
    std::string str_value;
    bool valid = false;  // the last reading of this key succeeded
};

using rssimon_map = std::map<std::string, rssimon_value, std::less<>>;

// By key, read from "CELL" and from "GPIO". They keep their values between the readings.
extern rssimon_map cell_rssimon_values;
extern rssimon_map gpio_rssimon_values;

// Reads the summary's keys back from "CELL" and "GPIO", joins its 29 fields and stores the line as "CELL_RSSIMON". A
// database that cannot be opened leaves the values of the last reading in place; a key that cannot be read leaves its
// field empty. Logs only an exception.
void update_rssimon_sysdb_values();
