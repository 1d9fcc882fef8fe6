#include "sim/inside/journal.h"

#include <cerrno>
#include <cstdio>

#include "store/value_text.h"

void journal::line(journal_level least, const char *kind, const std::string &text) {
    if (level_ < least) {
        return;
    }
    const double seconds = std::chrono::duration<double>(clock::now() - start_).count();
    // Milliseconds matter in an exchange, and only disturb in the story.
    const int printed = std::printf("%8.*fs  %-6s %s\n", is_verbose() ? 3 : 1, seconds, kind, shown(text).c_str());
    if ((printed < 0 || std::fflush(stdout) != 0) && error_ == 0) {
        error_ = errno;
    }
}

void journal::failure(const std::string &text) {
    ++failures_;
    line(journal_level::quiet, "FAILED", text);
}
