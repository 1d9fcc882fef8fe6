#include "sim/text_file.h"

#include <algorithm>
#include <array>

#include <unistd.h>

std::optional<std::string> read_text(int fd) {
    std::string text;
    std::array<char, 65536> piece{};
    ssize_t size = 1;
    while (size > 0 && text.size() <= LARGEST_TEXT) {
        size = read(fd, piece.data(), std::min(piece.size(), LARGEST_TEXT + 1 - text.size()));
        text.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    return size < 0 ? std::nullopt : std::optional(text);
}
