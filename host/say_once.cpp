#include "host/say_once.h"

#include <algorithm>
#include <climits>
#include <set>

#include <poll.h>
#include <unistd.h>

#include "store/value_text.h"

// A terminal that was stopped and a pipe that nobody reads are full. Up to PIPE_BUF bytes a pipe with room takes at
// once.
void say(const std::string &message) {
    const std::string line = escaped(message).substr(0, PIPE_BUF - 1) + '\n';
    pollfd room = {STDERR_FILENO, POLLOUT, 0};
    constexpr int PATIENCE_MS = 100;  // nobody waits for us who reads at all
    if (poll(&room, 1, PATIENCE_MS) > 0) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    }
}

void say_once(const std::string &message) {
    static std::set<std::string> said;
    if (said.insert(message).second) {
        say(message);
    }
}
