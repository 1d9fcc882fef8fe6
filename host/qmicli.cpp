// The QMI command-line tool. Never logs; waits for the tool, but not for ever.
#include "platform/module_access.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/commands.h"

namespace {

// The tool gives a silent module 10 s by itself, but some of its waits have no end. A healthy answer takes well
// below 1 s.
constexpr std::chrono::seconds TOOL_DEADLINE{10};

// Answers have less than 2 kB. A tool that writes this much will not come to its end by itself.
constexpr std::size_t ENDLESS_OUTPUT_BYTES = std::size_t{64} * 1024;

std::vector<std::string> command(const char *arguments) {
    std::vector<std::string> words = {"qmicli", "-d", "/dev/cdc-wdm0"};
    std::istringstream rest(arguments);
    for (std::string word; rest >> word;) {
        words.push_back(word);
    }
    return words;
}

}  // namespace

int run_qmicli_and_get_result(const char *arguments, char *output, int size) {
    if (output == nullptr || size <= 0) {
        return -1;
    }
    *output = '\0';
    std::optional<std::string> answer = collect_output(command(arguments), TOOL_DEADLINE, ENDLESS_OUTPUT_BYTES);
    if (!answer) {
        return -1;
    }
    std::erase(*answer, '\0');  // the result is a text
    const std::size_t length = std::min(answer->size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(output, answer->data(), length);
    output[length] = '\0';
    return static_cast<int>(length);
}
