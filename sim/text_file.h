// Reading texts that somebody else wrote. Never logs.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

// No scenario is longer, in bytes, and no file that it expects.
inline constexpr std::size_t LARGEST_TEXT = 16 << 20;

// What can be read there, from where it stands: of a longer text LARGEST_TEXT bytes and one more. Nothing when it
// cannot be read, with errno set. Blocks where the descriptor does.
std::optional<std::string> read_text(int fd);
