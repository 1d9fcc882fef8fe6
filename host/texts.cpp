// The text operations of the device: pure functions of their arguments. Never log, never block, never allocate.
//
// Includes nothing of host/: the in-memory platform of the tests compiles this very file, for 32-bit ARM as well.
#include "platform/device_utils.h"

#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace {

bool lies_in_a_range(unsigned char c, const char *ranges, unsigned int range_count) {
    for (std::size_t i = 0; i < range_count; ++i) {
        const auto low = static_cast<unsigned char>(ranges[2 * i]);
        const auto high = static_cast<unsigned char>(ranges[2 * i + 1]);
        if (low <= c && c <= high) {
            return true;
        }
    }
    return false;
}

// The address in host order. False for anything but a strict dotted quad.
bool parse_ipv4_text(const char *text, std::uint32_t *address) {
    in_addr parsed = {};
    if (inet_pton(AF_INET, text, &parsed) != 1) {
        return false;
    }
    *address = ntohl(parsed.s_addr);
    return true;
}

}  // namespace

char *strtok_consecutive_r(char *text, const char *delimiters, char **state) {
    char *field = text != nullptr ? text : *state;
    *state = field;
    if (field == nullptr || *field == '\0') {
        return nullptr;
    }
    char *end = field + std::strcspn(field, delimiters);
    if (*end != '\0') {
        *end++ = '\0';
    }
    *state = end;
    return field;
}

void strip_not_in_range_list(char *text, const char *ranges, unsigned int range_count) {
    char *kept = text;
    for (const char *c = text; *c != '\0'; ++c) {
        if (lies_in_a_range(static_cast<unsigned char>(*c), ranges, range_count)) {
            *kept++ = *c;
        }
    }
    *kept = '\0';
}

int netmask_to_cidr(const char *mask) {
    std::uint32_t bits = 0;
    if (!parse_ipv4_text(mask, &bits)) {
        return -1;
    }
    const std::uint32_t host_bits = ~bits;
    if ((host_bits & (host_bits + 1)) != 0) {  // a hole between the ones
        return -1;
    }
    return __builtin_popcount(bits);
}

void calculate_bcast_from_ipv4_and_mask(const char *ipv4, const char *mask, char *broadcast) {
    std::uint32_t address = 0;
    std::uint32_t mask_bits = 0;
    *broadcast = '\0';
    if (!parse_ipv4_text(ipv4, &address) || !parse_ipv4_text(mask, &mask_bits)) {
        return;
    }
    const in_addr result = {htonl(address | ~mask_bits)};
    inet_ntop(AF_INET, &result, broadcast, INET_ADDRSTRLEN);
}
