#include "sim/inside/system_log.h"

#include <cstring>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

struct log_row {
    const char *why;
    const char *datagram;
    const char *priority;
    const char *text;
};

TEST(parse_log_line, takes_priority_time_and_identity_off) {
    constexpr log_row ROWS[] = {
        {"as the C library sends it; 16 * 8 + 7", "<135>Nov 21 08:39:11 cell: Getting IMSI", "local0.debug",
         "Getting IMSI"},
        {"a day of one figure is padded with a blank", "<129>Nov  1 08:39:11 cell: starting", "local0.alert",
         "starting"},
        {"a signal handler sends no time", "<129>cell: Zelt Stats received SIGTERM", "local0.alert",
         "Zelt Stats received SIGTERM"},
        {"another program keeps its identity", "<30>Nov 21 08:39:11 other: text", "daemon.info", "other: text"},
        {"raw answers hold line ends", "<135>cell: A\r\nB", "local0.debug", "A\\r\\nB"},
        {"a text that begins like a time but is none", "<129>cell: Nov", "local0.alert", "Nov"},
        {"no priority", "hello", "user.notice", "hello"},
        {"no number", "<x>hello", "user.notice", "<x>hello"},
        {"a facility that does not exist", "<200>hello", "unknown.emerg", "hello"},
        {"empty", "", "user.notice", ""},
        {"a command was called", "\001call cmd_ddns stop", "run", "cmd_ddns stop"},
    };
    for (const log_row &row : ROWS) {
        const log_line line = parse_log_line(row.datagram);
        EXPECT_EQ(line.priority, row.priority) << row.why;
        EXPECT_EQ(line.text, row.text) << row.why;
    }
}

TEST(system_log, keeps_lines_in_order) {
    const std::string path = testing::TempDir() + "system_log_test." + std::to_string(getpid());
    system_log log(path.c_str());
    EXPECT_FALSE(log.next().has_value());
    const int sender = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    for (const char *line : {"<129>cell: one", "<135>cell: two"}) {
        ASSERT_GT(
            sendto(sender, line, std::strlen(line), 0, reinterpret_cast<const sockaddr *>(&address), sizeof address),
            0);
    }
    close(sender);
    EXPECT_EQ(log.next().value_or(log_line{}).text, "one");
    EXPECT_EQ(log.next().value_or(log_line{}).text, "two");
    EXPECT_FALSE(log.next().has_value());
    unlink(path.c_str());
}

TEST(system_log, a_path_that_cannot_be_bound_is_an_error) {
    EXPECT_THROW(system_log("/nowhere/log"), std::system_error);
}
