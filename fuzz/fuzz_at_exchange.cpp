// What a module says at the port, through both readers of answers and the typed queries. Each command that the platform
// sends is answered with the next part of the input; parts are separated by NUL. Time is virtual: a byte 0xFF in an
// answer is a pause of 100 ms, 0xFE hangs up, and a module without a further part is silent.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <optional>

#include <poll.h>
#include <unistd.h>

#include "fuzz/require.h"
#include "host/serial_port.h"
#include "platform/module_access.h"

namespace {

using namespace std::chrono_literals;
using moment = std::chrono::steady_clock::time_point;

constexpr char PAUSE = '\xff';
constexpr char HANG_UP = '\xfe';
constexpr int PORT = 1000;  // no descriptor of this process

struct {
    moment now{1h};
    std::string_view parts;  // that are still to be said
    std::string_view to_be_read;
    std::size_t piece = 1;  // bytes that one read yields at most
    bool hung_up = false;
    bool always_says_ok = false;
} module_state;

// What can be read without waiting; takes pauses away when it may wait.
bool has_bytes(std::chrono::milliseconds wait) {
    std::string_view &text = module_state.to_be_read;
    const moment until = module_state.now + wait;
    while (text.starts_with(PAUSE) && module_state.now + 100ms <= until) {
        module_state.now += 100ms;
        text.remove_prefix(1);
    }
    if (text.empty() || text.front() == PAUSE) {
        module_state.now = until;
        return false;
    }
    return true;
}

void begin(std::string_view parts, std::size_t piece) {
    module_state = {module_state.now, parts, {}, piece, false, false};
}

// The port keeps in mind that an answer may still come. After a complete one it does not.
void get_in_step() {
    begin({}, 16);
    module_state.always_says_ok = true;
    require(ask_module(PORT, "at\r").ending == at_ending::ok, "a module that says OK gets in step");
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names; --wrap=read leads to __wrap_read
extern "C" {

ssize_t __real_read(int fd, void *buffer, std::size_t size);
ssize_t __real_write(int fd, const void *text, std::size_t size);

int __wrap_poll(pollfd *descriptors, nfds_t /*count*/, int milliseconds) {
    const bool ready =
        descriptors->events == POLLOUT || module_state.hung_up || has_bytes(std::chrono::milliseconds(milliseconds));
    descriptors->revents = ready ? descriptors->events : short{0};
    return ready ? 1 : 0;
}

ssize_t __wrap_read(int fd, void *buffer, std::size_t size) {
    if (fd != PORT) {
        return __real_read(fd, buffer, size);
    }
    std::string_view &text = module_state.to_be_read;
    const std::size_t length = std::min({size, module_state.piece, text.find_first_of("\xff\xfe")});
    const std::string_view piece = text.substr(0, length);
    text.remove_prefix(piece.size());
    if (piece.empty() && text.starts_with(HANG_UP)) {
        module_state.hung_up = true;
    }
    std::memcpy(buffer, piece.data(), piece.size());
    return static_cast<ssize_t>(piece.size());
}

ssize_t __wrap_write(int fd, const void *text, std::size_t size) {
    if (fd != PORT) {
        return __real_write(fd, text, size);
    }
    const std::size_t end = std::min(module_state.parts.find('\0'), module_state.parts.size());
    module_state.to_be_read = module_state.always_says_ok ? "OK\r" : module_state.parts.substr(0, end);
    module_state.parts.remove_prefix(std::min(end + 1, module_state.parts.size()));
    return static_cast<ssize_t>(size);
}

}  // extern "C"

// Of std::chrono::steady_clock::now(); a time point is returned like its number.
moment __wrap_now() __asm__("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
moment __wrap_now() {
    return module_state.now;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

const std::array<std::string, 3> TEXTS{"+QENG:", "OK", "ERROR"};

template <std::size_t size>
std::string_view text_in(const std::array<char, size> &buffer) {
    const std::size_t length = strnlen(buffer.data(), size);
    require(length < size, "the text is terminated");
    return {buffer.data(), length};
}

void read_one_line() {
    std::array<char, 256> buffer;
    buffer.fill('x');
    const unsigned int result = ser_write_and_wait_for_txt_get_line(PORT, "at+qeng=\"servingcell\"\r", TEXTS.data(),
                                                                    TEXTS.size(), buffer.data(), buffer.size(), 1, 1);
    const std::string_view line = text_in(buffer);
    require(line.starts_with(TEXTS[0]) == (result == SER_LINE_FOUND), "a line is found: ", line);
    require(line.empty() == (result != SER_LINE_FOUND), "no text without a line: ", line);
    require(line.find_first_of("\r\n") == line.npos, "one line: ", line);
}

void read_all_lines() {
    std::array<char, 512> buffer;
    buffer.fill('x');
    const unsigned int result = ser_write_and_get_all_response_until_searchtxt(PORT, "at+qcainfo\r", TEXTS.data() + 1,
                                                                               2, buffer.data(), buffer.size(), 1, 1);
    const std::string_view text = text_in(buffer);
    const bool whole = text.size() < buffer.size() - 1;
    const std::string_view last = text.substr(text.rfind('\n') + 1);  // npos + 1 is 0
    require(!whole || result != 0 || last == "OK", "a good answer ends with OK: ", text);
    require(!whole || result != 1 || is_error_result(last), "a refusal ends with an error: ", text);
    require(!text.starts_with("\r") && text.find("\n\r\n") == text.npos, "no empty lines: ", text);
}

using text_query = int (*)(int fd, char *buffer, unsigned int size);

std::string ask_for_text(text_query query) {
    std::array<char, 32> buffer;
    buffer.fill('x');
    const int result = query(PORT, buffer.data(), buffer.size());
    const std::string_view text = text_in(buffer);
    require(result < 0 ? text.empty() : text.size() == static_cast<std::size_t>(result), "the length of ", text);
    require(text.find_first_of("\r\n") == text.npos, "one line: ", text);
    return std::string(text);
}

bool is_digits(std::string_view text) {
    return text.find_first_not_of("0123456789") == text.npos;
}

void ask_typed_queries() {
    bool registered = false;
    bool roaming = false;
    const int result = zelt_at_cmd_get_registration_and_roaming(PORT, &registered, &roaming);
    require(result == 0 || (!registered && !roaming), "a failure tells nothing");
    require(registered || !roaming, "who roams is registered");
    ask_for_text(zelt_at_cmd_get_carrier_name);
    ask_for_text(zelt_at_cmd_get_mdn);
    const std::string imsi = ask_for_text(zelt_at_cmd_get_imsi);
    require(imsi.empty() || (is_digits(imsi) && imsi.size() >= 6 && imsi.size() <= 15), "a subscriber: ", imsi);
    require(is_digits(ask_for_text(zelt_at_cmd_get_cfun)), "a level is a number");
}

// Runs one exchange or several and looks at the time that they took.
void within(int exchanges, void (*operation)()) {
    const moment start = module_state.now;
    operation();
    require(module_state.now - start <= exchanges * at_limits{}.total + 1s, "an exchange ends in time");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    get_in_step();
    const std::string text = bytes_of({data, size});
    begin(text, 1 + size % 64);
    within(1, read_one_line);
    within(1, read_all_lines);
    within(8, ask_typed_queries);
    return 0;
}
