// The shipped daemon, and a system log whose buffers are full because nobody reads it.
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "posix/descriptor.h"
#include "tests/support/becomes_true.h"
#include "tests/support/environment_variable.h"
#include "tests/support/other_process.h"
#include "tests/support/private_folders.h"
#include "tests/support/temporary_folder.h"

namespace {

class full_log : public private_folders {
protected:
    // Before "/tmp" is another one: the program may lie there.
    static void SetUpTestSuite() {
        program_ = open(ZELT_STATS, O_PATH | O_CLOEXEC);
        private_folders::SetUpTestSuite();
    }
    void SetUp() override {
        private_folders::SetUp();
        if (IsSkipped()) {
            return;
        }
        ASSERT_EQ(unshare(CLONE_NEWNET), 0) << "its wwan0 is nobody else's";
        ASSERT_EQ(mount("tmpfs", "/run", "tmpfs", 0, nullptr), 0);
    }
    void TearDown() override {
        umount2("/run", MNT_DETACH);
        private_folders::TearDown();
    }

    // A log with this many bytes in its way, or more connections than it takes.
    void fill(int socket_type) {
        log_ = descriptor(socket(AF_UNIX, socket_type | SOCK_CLOEXEC, 0));
        const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        const auto *to = reinterpret_cast<const sockaddr *>(&address);
        ASSERT_EQ(bind(log_.get(), to, sizeof address), 0);
        if (socket_type == SOCK_STREAM) {
            ASSERT_EQ(listen(log_.get(), 0), 0);
        }
        do {
            others_.emplace_back(socket(AF_UNIX, socket_type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        } while (connect(others_.back().get(), to, sizeof address) == 0 &&
                 (socket_type == SOCK_STREAM || send(others_.back().get(), "x", 1, 0) == 1));
    }

    // It is ready for a stop then.
    static bool catches(pid_t process, int signal_number) {
        std::istringstream status(content_of("/proc/" + std::to_string(process) + "/status"));
        for (std::string word; status >> word;) {
            unsigned long long caught = 0;
            if (word == "SigCgt:" && status >> std::hex >> caught) {
                return ((caught >> (signal_number - 1)) & 1U) != 0;
            }
        }
        return false;
    }

    void expect_a_stop() {
        const environment_variable database("SYSDB_DIR", "/tmp/sysdb");
        other_process daemon([] { return become({"/proc/self/fd/" + std::to_string(program_), "-d", "EC25"}); });
        ASSERT_TRUE(becomes_true([&] { return catches(daemon.pid(), SIGTERM) || daemon.has_ended(); })) << "no cycle";
        ASSERT_FALSE(daemon.has_ended());
        daemon.signal(SIGTERM);
        ASSERT_TRUE(becomes_true([&] { return daemon.has_ended(); })) << "no stop";
        EXPECT_EQ(daemon.wait(), 0);
    }

private:
    inline static int program_ = -1;
    descriptor log_;
    std::vector<descriptor> others_;
};

TEST_F(full_log, of_datagrams_holds_neither_the_start_nor_a_stop_up) {
    fill(SOCK_DGRAM);
    expect_a_stop();
}

TEST_F(full_log, of_a_stream_holds_neither_the_start_nor_a_stop_up) {
    fill(SOCK_STREAM);
    expect_a_stop();
}

}  // namespace
