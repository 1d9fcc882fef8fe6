// Signal strength to quality index: just below, at and above each limit, and at both ends of the 32-bit range.
#include <gtest/gtest.h>

#include <limits>

#include "decode/signal_quality.h"

namespace {

constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t HIGHEST = std::numeric_limits<std::int32_t>::max();

struct row {
    const char *why;
    std::int32_t dbm;
    int sqi;
};

TEST(rsrp_to_sqi, rises_by_1587_thousandths_per_db_from_minus_133_to_minus_69) {
    static constexpr row ROWS[] = {
        {"lowest of 32 bits", LOWEST, 0},
        {"one above the lowest", LOWEST + 1, 0},
        {"not reported, as old firmware says it", -32768, 0},
        {"not reported", -999, 0},
        {"far below the range", -140, 0},
        {"below the lower limit: -1.587 is no index", -134, 0},
        {"lower limit", -133, 0},
        {"first step: 1.587 is cut, not rounded", -132, 1},
        {"second step: 3.174", -131, 3},
        {"13 dB: 20.631", -120, 20},
        {"33 dB: 52.371", -100, 52},
        {"38 dB: 60.306", -95, 60},
        {"53 dB: 84.111", -80, 84},
        {"below the upper limit: 99.981 is cut to 99", -70, 99},
        {"upper limit: 101.568", -69, 100},
        {"above the upper limit", -68, 100},
        {"zero", 0, 100},
        {"product beyond 32 bits", 1353180, 100},
        {"one below the highest", HIGHEST - 1, 100},
        {"highest of 32 bits", HIGHEST, 100},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(rsrp_to_sqi(each.dbm), each.sqi);
    }
}

TEST(rsrp_to_sqi, a_long_of_64_bits_counts_as_the_targets_32) {
    EXPECT_EQ(rsrp_to_sqi(std::numeric_limits<long>::max()), 100);
    EXPECT_EQ(rsrp_to_sqi(std::numeric_limits<long>::min()), 0);
}

TEST(rscp_to_sqi, rises_by_2_per_db_from_minus_120_to_minus_70) {
    static constexpr row ROWS[] = {
        {"lowest of 32 bits", LOWEST, 0},   {"not reported", -999, 0}, {"below the lower limit", -121, 0},
        {"lower limit", -120, 0},           {"first step", -119, 2},   {"25 dB", -95, 50},
        {"below the upper limit", -71, 98}, {"upper limit", -70, 100}, {"above the upper limit", -69, 100},
        {"well above", -60, 100},           {"zero", 0, 100},          {"highest of 32 bits", HIGHEST, 100},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(rscp_to_sqi(each.dbm), each.sqi);
    }
}

TEST(gsm_rssi_to_sqi, rises_by_2_and_a_half_per_db_from_minus_105_to_minus_65) {
    static constexpr row ROWS[] = {
        {"lowest of 32 bits", LOWEST, 0},
        {"not known", -999, 0},
        {"csq 0", -113, 0},
        {"below the lower limit", -106, 0},
        {"lower limit", -105, 0},
        {"first step: 2.5 is cut", -104, 2},
        {"csq 10: 12 dB", -93, 30},
        {"csq 20: 32 dB", -73, 80},
        {"below the upper limit: 97.5", -66, 97},
        {"upper limit", -65, 100},
        {"above the upper limit: 102.5", -64, 100},
        {"csq 31", -51, 100},
        {"highest of 32 bits", HIGHEST, 100},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(gsm_rssi_to_sqi(each.dbm), each.sqi);
    }
}

TEST(field_to_sqi, a_field_without_a_number_counts_as_0_dbm) {
    struct field_row {
        const char *why;
        const char *field;
        const char *from_rsrp;
        const char *from_rscp;
    };
    static constexpr field_row ROWS[] = {
        {"number", "-95", "60", "50"},
        {"unit behind it", "-95dBm", "60", "50"},
        {"blank before it", " -95", "60", "50"},
        {"carriage return behind it", "-95\r", "60", "50"},
        {"dash", "-", "100", "100"},
        {"quoted dash", "\"-\"", "100", "100"},
        {"empty", "", "100", "100"},
        {"word", "abc", "100", "100"},
        {"30 digits", "999999999999999999999999999999", "100", "100"},
        {"30 digits, negative", "-999999999999999999999999999999", "0", "0"},
        {"2 to the 32nd less 100 does not wrap to -100", "4294967196", "100", "100"},
    };
    for (const field_row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(rsrp_field_to_sqi(each.field), each.from_rsrp);
        EXPECT_EQ(rscp_field_to_sqi(each.field), each.from_rscp);
    }
}

}  // namespace
