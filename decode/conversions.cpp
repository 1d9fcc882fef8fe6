#include "decode/conversions.h"

#include <array>

#include "base/not_reported.h"
#include "base/target_arithmetic.h"

std::string as_it_stands(const char *field) {
    return field;
}

std::string stoi_hex_to_decimal(const char *field) {
    return std::to_string(stoi_hex(field));
}

std::string stol_hex_to_decimal(const char *field) {
    return std::to_string(stol_hex(field));
}

std::string lte_bandwidth_mhz(const char *field) {
    static constexpr std::array<const char *, 6> MHZ_BY_CODE{"1.4", "3", "5", "10", "15", "20"};
    const std::int32_t code = leading_int32(field);
    if (code < 0 || code >= static_cast<std::int32_t>(MHZ_BY_CODE.size())) {
        return NOT_REPORTED_TEXT;
    }
    return MHZ_BY_CODE.at(static_cast<std::size_t>(code));
}
