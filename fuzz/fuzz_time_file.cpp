// The file with the time of the last change of the link, which anybody may write.
#include <cctype>
#include <optional>

#include "fuzz/daemon_play.h"
#include "wwan/connection.h"

namespace {

constexpr const char *TIME_FILE = "/tmp/cell_last_connect_changed_time";

int result = 0;
unsigned int read_time = 0;
constexpr unsigned int UNTOUCHED = 4711;

void prepare(fuzz_input input) {
    fake::platform().files[TIME_FILE] = bytes_of(input);
    read_time = UNTOUCHED;
}

void run() {
    result = read_last_connect_change_time(&read_time);
    check_connection();
}

// Blanks, a sign or none, digits: worked out digit by digit, with a number that is too large for 32 bits cut to them.
std::optional<std::uint32_t> expected_time(const std::string &text) {
    std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t end = std::min(text.size(), at + 255);
    const bool negated = text[at] == '-';
    at += negated || text[at] == '+' ? 1 : 0;
    std::optional<std::uint64_t> number;
    for (; at < end && std::isdigit(static_cast<unsigned char>(text[at])) != 0; ++at) {
        number = std::min<std::uint64_t>(number.value_or(0) * 10 + static_cast<std::uint64_t>(text[at] - '0'),
                                         std::uint64_t{UINT32_MAX} + 1);
    }
    if (!number) {
        return std::nullopt;
    }
    if (*number > UINT32_MAX) {
        return UINT32_MAX;
    }
    return static_cast<std::uint32_t>(negated ? (std::uint64_t{1} << 32) - *number : *number);
}

void check(fuzz_input input) {
    const std::optional<std::uint32_t> expected = expected_time(bytes_of(input));
    require(expected ? result == 0 && read_time == *expected : result == -1 && read_time == UNTOUCHED,
            "the time that stands there: ", std::to_string(read_time), " instead of ",
            expected ? std::to_string(*expected) : "none");
    require(fake::cell("CELL_CONNECTED") == "int 0", "no link");
    require(!was_logged("log alert: exception"), "no exception");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    play({data, size}, {prepare, run, check});
    return 0;
}
