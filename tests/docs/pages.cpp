#include "tests/docs/pages.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace {

std::string without_comment(const std::string &line) {
    const std::string text = line.substr(0, line.find(" # "));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool is_program(std::string_view word) {
    constexpr std::array<std::string_view, 11> NAMES{"./run",      "journalctl", "./test",  ".ci/run",
                                                     "sudo",       "cmake",      "ctest",   "sysdb",
                                                     "zelt-stats", "zelt-sim",   "zelt-top"};
    return std::ranges::find(NAMES, word) != NAMES.end() || word.starts_with("build/release/") ||
           (word.starts_with("scripts/") && !word.ends_with(".txt"));
}

bool is_command(const std::string &span) {
    const std::string word = span.substr(0, span.find(' '));
    return is_program(word) && (word.size() < span.size() || word.starts_with('.') || word.starts_with("scripts/"));
}

void add_spans(const std::string &line, std::vector<std::string> &to) {
    for (std::size_t begin = line.find('`'); begin != std::string::npos;) {
        const std::size_t end = line.find('`', begin + 1);
        if (end == std::string::npos) {
            return;
        }
        if (const std::string span = line.substr(begin + 1, end - begin - 1); is_command(span)) {
            to.push_back(span);
        }
        begin = line.find('`', end + 1);
    }
}

}  // namespace

std::vector<std::string> commands_in(const std::string &markdown) {
    constexpr std::string_view FENCE = "```";
    constexpr std::string_view PROMPT = "$ ";
    std::vector<std::string> commands;
    std::string block;  // its kind; empty outside of one
    std::istringstream lines(markdown);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(FENCE)) {
            block = block.empty() ? line.substr(FENCE.size()) : "";
        } else if (block == "sh" && !line.empty()) {
            for (std::string more; line.ends_with('\\') && std::getline(lines, more);) {
                line.replace(line.size() - 1, 1, more.substr(more.find_first_not_of(' ')));
            }
            commands.push_back(without_comment(line));
        } else if (block == "console" && line.starts_with(PROMPT)) {
            commands.push_back(line.substr(PROMPT.size()));
        } else if (block.empty()) {
            add_spans(line, commands);
        }
    }
    return commands;
}
