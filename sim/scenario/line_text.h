// Lines of text as the bytes that they stand for, and what else is done with text. Silent.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

// The way back from escaped(): the bytes of lines in which \r, \n, \t, \0, \\ and \xHH stand for those bytes. Each line
// gets line_end behind it unless it ends with a single "\". Nothing when a "\" stands before anything else.
std::optional<std::string> bytes_of_lines(const std::vector<std::string> &lines, std::string_view line_end);

// True when the text is the pattern; "{A..B}" in the pattern stands for any number from A to B, such as a measured
// time.
bool matches(std::string_view pattern, std::string_view text);

// Every `what` in the text gives way to `by`.
std::string replace_all(std::string text, std::string_view what, std::string_view by);

// Upper and lower case letters of ASCII are alike.
std::string lower_case(std::string_view text);

std::string join(const std::vector<std::string> &parts, std::string_view separator);

// The number that is the whole of the text.
template <typename Number>
std::optional<Number> to_number(std::string_view text) {
    Number number{};
    // cppcheck-suppress[danglingTemporaryLifetime, invalidLifetime]: what the text looks at outlives the call
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}
