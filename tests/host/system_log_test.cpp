// syslog() as the daemon calls it, against logs that listen on a real socket, well and badly.
#include <algorithm>
#include <cerrno>
#include <regex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/private_folders.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::Le;
using testing::MatchesRegex;
using testing::SizeIs;

// The log of the C library's own form: "<129>Nov 21 08:39:11 cell: text".
constexpr const char *ALERT_TEXT = "<129>[A-Z][a-z][a-z] [ 1-3][0-9] [0-9:]+ cell: text";

class system_log : public private_folders {
protected:
    void SetUp() override {
        private_folders::SetUp();
        openlog("cell", 0, LOG_LOCAL0);
    }

    static descriptor log_that_listens(int socket_type) {
        unlink("/dev/log");
        descriptor log(socket(AF_UNIX, socket_type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        EXPECT_EQ(bind(log.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        if (socket_type == SOCK_STREAM) {
            EXPECT_EQ(listen(log.get(), 0), 0);
        }
        return log;
    }

    static std::string received(const descriptor &from) {
        std::string text(100000, '\0');
        const ssize_t size = recv(from.get(), text.data(), text.size(), 0);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return text;
    }

    static std::vector<std::string> all_datagrams(const descriptor &log) {
        std::vector<std::string> lines;
        for (std::string line; !(line = received(log)).empty();) {
            lines.push_back(line);
        }
        return lines;
    }

    // Many cycles' worth. It must come to its end, in a process of its own, since it may hang; the messages for whoever
    // started it are in told_.
    void log_many_lines() {
        pipe_ends messages;
        other_process daemon([&] {
            dup2(messages.write_end.get(), STDERR_FILENO);
            for (int i = 0; i < 2000; ++i) {
                syslog(LOG_DEBUG, "line %d %s", i, std::string(500, 'x').c_str());
            }
            return 0;
        });
        messages.write_end.close();
        ASSERT_TRUE(becomes_true([&] { return daemon.has_ended(); })) << "hangs";
        EXPECT_EQ(daemon.wait(), 0);
        char text[1024];
        const ssize_t size = read(messages.read_end.get(), text, sizeof text);
        told_.assign(text, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }

    std::string told_;
};

constexpr const char *LINES_ARE_LOST = "zelt: the system log does not read: lines are lost\n";

TEST_F(system_log, a_line_is_one_datagram_in_the_form_of_the_c_library) {
    const descriptor log = log_that_listens(SOCK_DGRAM);
    syslog(LOG_ALERT, "text");
    errno = ENOENT;
    syslog(LOG_NOTICE, "%m %d", 7);
    syslog(LOG_MAIL | LOG_INFO, "another facility");
    EXPECT_THAT(all_datagrams(log), ElementsAre(MatchesRegex(ALERT_TEXT), MatchesRegex("<133>.* cell: No such .* 7"),
                                                MatchesRegex("<22>.* cell: another facility")));
}

TEST_F(system_log, a_line_in_a_stream_ends_with_nul) {
    const descriptor log = log_that_listens(SOCK_STREAM);
    syslog(LOG_ALERT, "text");
    const descriptor connection(accept(log.get(), nullptr, nullptr));
    std::string line = received(connection);
    ASSERT_EQ(line.back(), '\0');
    line.pop_back();
    EXPECT_THAT(line, MatchesRegex(ALERT_TEXT));
}

TEST_F(system_log, a_long_line_is_cut) {
    const descriptor log = log_that_listens(SOCK_DGRAM);
    syslog(LOG_ALERT, "%s", std::string(1000000, 'x').c_str());
    syslog(LOG_ALERT, "text");
    EXPECT_THAT(all_datagrams(log), ElementsAre(SizeIs(8191), MatchesRegex(ALERT_TEXT)));
}

TEST_F(system_log, that_is_absent_costs_lines_and_is_found_when_it_comes) {
    syslog(LOG_ALERT, "lost");
    const descriptor log = log_that_listens(SOCK_DGRAM);
    syslog(LOG_ALERT, "text");
    EXPECT_THAT(all_datagrams(log), ElementsAre(MatchesRegex(ALERT_TEXT)));
}

TEST_F(system_log, that_is_started_anew_loses_nothing) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM, SOCK_DGRAM}) {
        descriptor log = log_that_listens(type);
        syslog(LOG_ALERT, "text");
        const descriptor connection(type == SOCK_STREAM ? accept(log.get(), nullptr, nullptr) : dup(log.get()));
        EXPECT_THAT(received(connection).c_str(), MatchesRegex(ALERT_TEXT)) << type;
    }
}

TEST_F(system_log, that_is_no_socket_costs_lines) {
    close(open("/dev/log", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    log_many_lines();
    EXPECT_EQ(told_, "");
}

TEST_F(system_log, that_does_not_read_its_datagrams_holds_nobody_up) {
    const descriptor log = log_that_listens(SOCK_DGRAM);
    log_many_lines();
    EXPECT_EQ(told_, LINES_ARE_LOST) << "once";
    EXPECT_THAT(all_datagrams(log), SizeIs(Le(1999U))) << "the test fills no log";
    syslog(LOG_ALERT, "text");
    EXPECT_THAT(all_datagrams(log), ElementsAre(MatchesRegex(ALERT_TEXT))) << "works again once it reads";
}

// Whole lines but for the last one before the end of the stream.
TEST_F(system_log, that_does_not_read_its_stream_holds_nobody_up) {
    const descriptor log = log_that_listens(SOCK_STREAM);
    log_many_lines();
    EXPECT_EQ(told_, LINES_ARE_LOST);
    const descriptor connection(accept(log.get(), nullptr, nullptr));
    std::string text;
    for (std::string piece; !(piece = received(connection)).empty();) {
        text += piece;
    }
    const std::regex whole("<135>[^<]{16}cell: line [0-9]+ x{500}");
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\0', begin)) != std::string::npos; begin = end + 1) {
        ASSERT_TRUE(std::regex_match(text.substr(begin, end - begin), whole)) << text.substr(begin, end - begin);
    }
    EXPECT_GT(begin, 0U) << "the test reads no line";
}

TEST_F(system_log, that_accepts_no_stream_holds_nobody_up) {
    const descriptor log = log_that_listens(SOCK_STREAM);
    std::vector<descriptor> queue;  // of connections that are not accepted
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    do {
        queue.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    } while (connect(queue.back().get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0);
    log_many_lines();
    EXPECT_EQ(told_, "");
}

TEST_F(system_log, that_reads_slowly_gets_every_line) {
    const descriptor log = log_that_listens(SOCK_DGRAM);
    const int more_than_wait_in_line = std::stoi(content_of("/proc/sys/net/unix/max_dgram_qlen")) + 10;
    other_process daemon([&] {
        for (int i = 0; i < more_than_wait_in_line; ++i) {
            syslog(LOG_ALERT, "text");
        }
        return 0;
    });
    int lines = 0;
    while (lines < more_than_wait_in_line) {
        pollfd next = {log.get(), POLLIN, 0};
        ASSERT_EQ(poll(&next, 1, 30000), 1) << lines;
        lines += received(log).empty() ? 0 : 1;
    }
    EXPECT_EQ(daemon.wait(), 0);
}

TEST_F(system_log, without_a_descriptor_left_costs_lines) {
    other_process daemon([] {
        while (dup(0) >= 0) {
        }
        syslog(LOG_ALERT, "lost");
        close(3);
        const descriptor log = log_that_listens(SOCK_DGRAM);
        const bool listens = log.is_open();
        close(4);
        syslog(LOG_ALERT, "text");
        return listens && all_datagrams(log).size() == 1 ? 0 : 1;
    });
    EXPECT_EQ(daemon.wait(), 0);
}

}  // namespace
