// Text to number on the 32-bit target, at and beyond its limits.
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "base/target_arithmetic.h"

namespace {

constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t HIGHEST = std::numeric_limits<std::int32_t>::max();

TEST(leading_int32, takes_the_leading_number_and_clamps_to_32_bits) {
    struct row {
        const char *why;
        const char *text;
        std::int32_t value;
    };
    static constexpr row ROWS[] = {
        {"plain", "42", 42},
        {"negative", "-95", -95},
        {"explicit plus", "+7", 7},
        {"leading zeros are decimal", "010", 10},
        {"leading white space", " \t\n-3", -3},
        {"rest is ignored", "-95dBm", -95},
        {"fraction is cut", "12.9", 12},
        {"hexadecimal is not decimal", "0x10", 0},
        {"no number", "abc", 0},
        {"empty", "", 0},
        {"sign alone", "-", 0},
        {"two signs", "--5", 0},
        {"white space between sign and digit", "- 5", 0},
        {"highest", "2147483647", HIGHEST},
        {"one past the highest", "2147483648", HIGHEST},
        {"lowest", "-2147483648", LOWEST},
        {"one past the lowest", "-2147483649", LOWEST},
        {"2 to the 32nd does not wrap to 0", "4294967296", HIGHEST},
        {"beyond 64 bits", "9223372036854775808", HIGHEST},
        {"beyond 64 bits, negative", "-9223372036854775809", LOWEST},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(leading_int32(each.text), each.value);
    }
}

TEST(leading_uint32, takes_the_leading_number_and_tells_its_absence) {
    struct row {
        const char *why;
        const char *text;
        std::optional<std::uint32_t> value;
    };
    static constexpr row ROWS[] = {
        {"plain", "1600", 1600U},
        {"zero is a number", "0", 0U},
        {"leading white space", "\n 7", 7U},
        {"rest is ignored", "12 seconds", 12U},
        {"highest", "4294967295", 4294967295U},
        {"one past the highest clamps", "4294967296", 4294967295U},
        {"beyond 64 bits clamps", "99999999999999999999", 4294967295U},
        {"minus negates within 32 bits", "-1", 4294967295U},
        {"minus the highest", "-4294967295", 1U},
        {"minus one past the highest clamps", "-4294967296", 4294967295U},
        {"minus beyond 64 bits clamps", "-99999999999999999999", 4294967295U},
        {"just below 2^64 is no negated number: 2^64 - 2^32 + 2", "18446744069414584322", 4294967295U},
        {"2^64 - 1 clamps", "18446744073709551615", 4294967295U},
        {"minus just below 2^64 clamps", "-18446744069414584322", 4294967295U},
        {"minus 2^64 - 1 clamps", "-18446744073709551615", 4294967295U},
        {"a plus sign", "+7", 7U},
        {"two signs are no number", "+-7", std::nullopt},
        {"a blank behind the sign is no number", "- 7", std::nullopt},
        {"every kind of blank", " \t\n\v\f\r7", 7U},
        {"a letter is no blank", "x7", std::nullopt},
        {"no number", "abc", std::nullopt},
        {"empty", "", std::nullopt},
        {"sign alone", "-", std::nullopt},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(leading_uint32(each.text), each.value);
    }
}

TEST(leading_uint32, in_base_0_takes_the_base_from_the_prefix) {
    EXPECT_EQ(leading_uint32("0x10", 0), 16U);
    EXPECT_EQ(leading_uint32("-0x1", 0), 4294967295U);
    EXPECT_EQ(leading_uint32("010", 0), 8U);
    EXPECT_EQ(leading_uint32("10", 0), 10U);
    EXPECT_EQ(leading_uint32("0xFFFFFFFF00000002", 0), 4294967295U);
    EXPECT_EQ(leading_uint32("0x10"), 0U) << "base 10 stops at the x";
}

TEST(hexadecimal_conversion, both_take_32_bits_signed) {
    struct row {
        const char *why;
        const char *text;
        std::int32_t value;
    };
    static constexpr row ROWS[] = {
        {"upper case", "1A2D001", 27447297},
        {"lower case", "7b0c", 31500},
        {"prefix", "0xFF", 255},
        {"rest is ignored", "12g", 18},
        {"leading white space", " 1f", 31},
        {"negative", "-1", -1},
        {"highest", "7FFFFFFF", HIGHEST},
        {"lowest", "-80000000", LOWEST},
        {"leading zeros do not count", "000000007FFFFFFF", HIGHEST},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(stol_hex(each.text), each.value);
        EXPECT_EQ(stoi_hex(each.text), each.value);
    }
}

template <typename Exception>
std::string message_of(std::int32_t (*conversion)(const char *), const char *text) {
    try {
        return "no exception but " + std::to_string(conversion(text));
    } catch (const Exception &e) {
        return e.what();
    }
}

TEST(hexadecimal_conversion, out_of_range_names_the_conversion) {
    for (const char *text :
         {"80000000", "-80000001", "FFFFFFFF", "100000000", "FFFFFFFFFFFFFFFFFFFF", "-FFFFFFFFFFFFFFFFFFFF"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(message_of<std::out_of_range>(stol_hex, text), "stol");
        EXPECT_EQ(message_of<std::out_of_range>(stoi_hex, text), "stoi");
    }
}

TEST(hexadecimal_conversion, a_text_without_a_digit_names_the_conversion) {
    for (const char *text : {"", "-", " ", "xyz", "-g"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(message_of<std::invalid_argument>(stol_hex, text), "stol");
        EXPECT_EQ(message_of<std::invalid_argument>(stoi_hex, text), "stoi");
    }
}

TEST(clamp_int32, stays_at_the_limits) {
    EXPECT_EQ(clamp_int32(0), 0);
    EXPECT_EQ(clamp_int32(HIGHEST), HIGHEST);
    EXPECT_EQ(clamp_int32(std::int64_t{HIGHEST} + 1), HIGHEST);
    EXPECT_EQ(clamp_int32(LOWEST), LOWEST);
    EXPECT_EQ(clamp_int32(std::int64_t{LOWEST} - 1), LOWEST);
    EXPECT_EQ(clamp_int32(std::numeric_limits<std::int64_t>::max()), HIGHEST);
    EXPECT_EQ(clamp_int32(std::numeric_limits<std::int64_t>::min()), LOWEST);
}

}  // namespace
