#include "store/value_bytes.h"

#include <bit>
#include <cstring>
#include <utility>

namespace {

static_assert(std::endian::native == std::endian::little, "a value's payload is copied as it lies in memory");

template <typename Number>
std::string with_payload(char type, Number number) {
    std::string bytes(1 + sizeof number, type);
    std::memcpy(bytes.data() + 1, &number, sizeof number);
    return bytes;
}

template <typename Number>
std::optional<sysdb_value> number_in(std::string_view payload) {
    Number number = {};
    if (payload.size() != sizeof number) {
        return std::nullopt;
    }
    std::memcpy(&number, payload.data(), sizeof number);
    return number;
}

}  // namespace

std::string encode(const sysdb_value &value) {
    if (const auto *integer = std::get_if<std::int32_t>(&value)) {
        return with_payload('i', *integer);
    }
    if (const auto *real = std::get_if<double>(&value)) {
        return with_payload('r', *real);
    }
    return "s" + std::get<std::string>(value);
}

std::optional<sysdb_value> decode(std::string_view bytes) {
    const char type = bytes.empty() ? '\0' : bytes.front();
    const std::string_view payload = bytes.substr(bytes.empty() ? 0 : 1);
    switch (type) {
    case 'i':
        return number_in<std::int32_t>(payload);
    case 'r':
        return number_in<double>(payload);
    case 's':
        return std::string(payload);
    default:
        return std::nullopt;
    }
}
