#include "tools/sysdb/output.h"

#include <cerrno>

#include <unistd.h>

int print(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return errno;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}
