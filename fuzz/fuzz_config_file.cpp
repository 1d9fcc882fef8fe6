// The configuration file as the host platform reads it, and what it tells whoever started the daemon.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <json/value.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/require.h"
#include "platform/config.h"

namespace {

bool is_asking = false;

// A problem's line names the file, and nothing of the file's bytes may steer the terminal on which it is read.
void require_readable(std::string_view line) {
    require(line.starts_with("zelt: "), "who speaks: ", line);
    require(line.find('\n') == line.size() - 1, "one line: ", line);
    for (const char c : line.substr(0, line.size() - 1)) {
        require(c >= ' ' && c <= '~', "harmless: ", line);
    }
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's name
extern "C" int __wrap_fprintf(std::FILE *stream, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::array<char, 4096> text{};
    const int length = is_asking ? std::vsnprintf(text.data(), text.size(), format, arguments)
                                 : std::vfprintf(stream, format, arguments);
    va_end(arguments);
    if (is_asking) {
        is_asking = false;  // what a broken invariant prints is no message
        require_readable(text.data());
        is_asking = true;
    }
    return length;
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const int file = memfd_create("config", MFD_CLOEXEC);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    setenv("ZELT_CONFIG", path.c_str(), 1);
    require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size), "the file");

    is_asking = true;
    for (const char *key : {"network", "hardware.wireless.cell", "a..b", "."}) {
        Json::Value value("untouched");
        const int result = cmd_get_value_json(key, value);
        require(result == 0 || (result == -1 && value == Json::Value("untouched")), "a failure leaves the value alone");
        for (const char *inner : {"wireless.cell.mtu", "wired.eth0.network.mode", "module", "qos.enable", ""}) {
            std::string text = "untouched";
            int number = 4711;
            bool flag = true;
            const bool is_text = config_get_string(value, &text, inner);
            const bool is_number = config_get_int(value, &number, inner);
            const bool is_flag = config_get_bool(value, &flag, inner);
            require(is_text + is_number + is_flag <= 1, "a value has one type");
            require(is_text || text == "untouched", "no text");
            require(is_number || number == 4711, "no number");
            require(is_flag || flag, "no flag");
        }
    }
    is_asking = false;
    return 0;
}
