// One wire column to its published text.
#include <gtest/gtest.h>

#include <stdexcept>

#include "decode/conversions.h"

namespace {

TEST(as_it_stands, changes_nothing) {
    for (const char *field : {"", "-", "-95", " 460", "\"-\"", "00", "12\r", "\xff\x80"}) {
        EXPECT_EQ(as_it_stands(field), field);
    }
}

TEST(lte_bandwidth_mhz, is_the_code_s_table) {
    struct row {
        const char *why;
        const char *field;
        const char *mhz;
    };
    static constexpr row ROWS[] = {
        {"lowest of 32 bits", "-2147483648", "-999"},
        {"below the first code", "-1", "-999"},
        {"first code", "0", "1.4"},
        {"code 1", "1", "3"},
        {"code 2", "2", "5"},
        {"code 3", "3", "10"},
        {"code 4", "4", "15"},
        {"last code", "5", "20"},
        {"past the last code", "6", "-999"},
        {"highest of 32 bits", "2147483647", "-999"},
        {"2 to the 32nd does not wrap to code 0", "4294967296", "-999"},
        {"30 digits", "000000000000000000000000000005", "20"},
        {"30 digits beyond the range", "555555555555555555555555555555", "-999"},
        {"dash is code 0", "-", "1.4"},
        {"empty is code 0", "", "1.4"},
        {"word is code 0", "abc", "1.4"},
        {"rest is ignored", "5MHz", "20"},
        {"blank before", " 4", "15"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(lte_bandwidth_mhz(each.field), each.mhz);
    }
}

TEST(hex_to_decimal, prints_32_bits_signed_in_decimal) {
    struct row {
        const char *why;
        const char *field;
        const char *decimal;
    };
    static constexpr row ROWS[] = {
        {"cell identity", "1A2D001", "27447297"},
        {"area code", "7B0C", "31500"},
        {"lower case", "2b5d", "11101"},
        {"highest of 28 bits", "FFFFFFF", "268435455"},
        {"highest of 32 bits signed", "7FFFFFFF", "2147483647"},
        {"lowest of 32 bits signed", "-80000000", "-2147483648"},
        {"zero", "0", "0"},
        {"rest is ignored", "12 ", "18"},
        {"blank before", " 12", "18"},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        EXPECT_EQ(stol_hex_to_decimal(each.field), each.decimal);
        EXPECT_EQ(stoi_hex_to_decimal(each.field), each.decimal);
    }
}

template <typename Exception>
std::string message_of(column_conversion conversion, const char *field) {
    try {
        return "no exception but " + conversion(field);
    } catch (const Exception &e) {
        return e.what();
    }
}

TEST(hex_to_decimal, beyond_32_bits_signed_is_out_of_range_under_the_conversion_s_name) {
    for (const char *field : {"80000000", "FFFFFFFF", "105FB012D", "-80000001", "ffffffffffffffffffffffffffffff"}) {
        SCOPED_TRACE(field);
        EXPECT_EQ(message_of<std::out_of_range>(stol_hex_to_decimal, field), "stol");
        EXPECT_EQ(message_of<std::out_of_range>(stoi_hex_to_decimal, field), "stoi");
    }
}

TEST(hex_to_decimal, without_a_digit_is_invalid_under_the_conversion_s_name) {
    for (const char *field : {"", "-", "\"-\"", "xyz", "\xff"}) {
        SCOPED_TRACE(field);
        EXPECT_EQ(message_of<std::invalid_argument>(stol_hex_to_decimal, field), "stol");
        EXPECT_EQ(message_of<std::invalid_argument>(stoi_hex_to_decimal, field), "stoi");
    }
}

}  // namespace
