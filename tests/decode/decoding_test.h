// For the suites of the decoders: a cell statistics map in which nothing is pending, and a look at what became pending.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "stats/cell_stats_map.h"
#include "tests/fake_platform/fake_platform.h"

using strings = std::vector<std::string>;

class decoding_test : public testing::Test {
protected:
    decoding_test() {
        save_cell_stats_map_to_sysdb();
        fake::reset();
    }
};

// The values written since the last call, in key order, as "CELL_RSRP int -95". Leaves the journal as it was.
inline strings published() {
    strings &journal = fake::platform().journal;
    const std::size_t length_before = journal.size();
    save_cell_stats_map_to_sysdb();
    strings values;
    for (std::size_t i = length_before; i < journal.size(); ++i) {
        if (journal[i].starts_with("sysdb_write_")) {
            values.push_back(journal[i].substr(journal[i].find(' ') + 1));
        }
    }
    journal.resize(length_before);
    return values;
}

// The keys alone.
inline strings keys_of(strings values) {
    for (std::string &each : values) {
        each.resize(each.find(' '));
    }
    return values;
}

// The n-th log line from now throws into whoever writes it, as a failed allocation would.
inline void throw_at_log_line(int nth) {
    fake::before("syslog", nth, [] { throw std::runtime_error("no memory"); });
}

// A line whose area code or identity is not hexadecimal, between `front` and `back`: the decoder writes what stands
// before, and says what was wrong.
struct broken_line {
    const char *why;
    const char *area_and_identity;
    const char *message;
    strings values;
};
inline void expect_stops_there(const std::vector<broken_line> &rows, const std::string &front, const std::string &back,
                               void (*parse)(const char *), const std::string &name) {
    const std::string where = " in " + name;
    for (const broken_line &each : rows) {
        SCOPED_TRACE(each.why);
        fake::reset();
        parse(std::string(front).append(each.area_and_identity).append(back).c_str());
        EXPECT_EQ(published(), each.values);
        EXPECT_EQ(fake::log_lines().back(), std::string("alert: exception ").append(each.message).append(where));
    }
}
