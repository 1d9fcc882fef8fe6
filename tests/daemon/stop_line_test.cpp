// The stop line at a system log that listens on a real socket.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "daemon/signals.h"
#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/private_folders.h"

namespace {

class stop_line : public private_folders {
protected:
    static descriptor log_that_listens(int socket_type) {
        descriptor log(socket(AF_UNIX, socket_type | SOCK_NONBLOCK, 0));
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        EXPECT_EQ(bind(log.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        if (socket_type == SOCK_STREAM) {
            EXPECT_EQ(listen(log.get(), 1), 0);
        }
        return log;
    }

    static std::string received(int fd) {
        char text[256];
        const ssize_t size = recv(fd, text, sizeof text, 0);
        return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }
};

TEST_F(stop_line, is_one_datagram) {
    const descriptor log = log_that_listens(SOCK_DGRAM);
    on_signal(SIGTERM);
    EXPECT_EQ(received(log.get()), "<129>cell: Zelt Stats received SIGTERM");
    EXPECT_EQ(received(log.get()), "") << "one line for one signal";
}

TEST_F(stop_line, reaches_a_stream_with_the_nul_that_ends_it) {
    const descriptor log = log_that_listens(SOCK_STREAM);
    on_signal(SIGINT);
    const descriptor connection(accept(log.get(), nullptr, nullptr));
    ASSERT_TRUE(connection.is_open());
    EXPECT_EQ(received(connection.get()), std::string("<129>cell: Zelt Stats received SIGTERM") + '\0');
}

// In a process of its own, which it may hold up for a second.
TEST_F(stop_line, is_not_waited_for_when_the_log_does_not_read) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        unlink("/dev/log");
        const descriptor log = log_that_listens(type);
        const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        std::vector<descriptor> others;  // until one finds no place
        do {
            others.emplace_back(socket(AF_UNIX, type | SOCK_NONBLOCK, 0));
        } while (connect(others.back().get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                 (type == SOCK_STREAM || send(others.back().get(), "x", 1, 0) == 1));
        other_process daemon([] {
            on_signal(SIGTERM);
            return 0;
        });
        EXPECT_TRUE(becomes_true([&] { return daemon.has_ended(); })) << "hangs " << type;
    }
}

TEST_F(stop_line, without_a_log_leaves_no_descriptor_and_no_error) {
    const int before = dup(0);
    close(before);
    errno = ERANGE;
    on_signal(SIGQUIT);
    EXPECT_EQ(errno, ERANGE);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

}  // namespace
