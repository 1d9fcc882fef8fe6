// What the box keeps from the host, also as root, whose user is the same on both sides. Real boxes, and small programs
// in place of the daemon that try to get out.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Each;
using testing::Not;

// What root may change, but for a counter that changes by itself, and for the networks: each process sees its own.
std::map<std::string, std::string> kernel_settings() {
    std::map<std::string, std::string> found;
    for (const auto &entry :
         fs::recursive_directory_iterator("/proc/sys", fs::directory_options::skip_permission_denied)) {
        std::error_code ignored;
        const std::string path = entry.path();
        const bool can_be_written = (entry.status(ignored).permissions() & fs::perms::owner_write) != fs::perms::none;
        if (entry.is_regular_file(ignored) && can_be_written && !path.starts_with("/proc/sys/net/") &&
            path != "/proc/sys/kernel/ns_last_pid") {
            found[path] = content_of(path);
        }
    }
    return found;
}

class walls : public testing::Test {
protected:
    // What the program printed as the daemon of a box, its lines without the journal's time.
    std::vector<std::string> printed_by(const std::string &program) {
        const std::string scenario = folder_.write("test.scenario", "after exit 0\n");
        const shell_outcome result = run_in_shell(ZELT_SIM " run " + scenario + " -- " + program);
        EXPECT_EQ(result.status, 0) << result.output;
        std::vector<std::string> lines;
        std::istringstream output(result.output);
        constexpr std::string_view MARK = "output ";
        for (std::string line; std::getline(output, line);) {
            if (const auto at = line.find(MARK); at != std::string::npos) {
                lines.push_back(line.substr(at + MARK.size()));
            }
        }
        return lines;
    }

    std::vector<std::string> printed_by_shell(const std::string &script) {
        return printed_by(folder_.write_program("daemon.sh", script + "\nexit 0"));
    }

    const temporary_folder folder_;
};

TEST_F(walls, the_host_keeps_its_name) {
    const std::vector<std::string> names = {"/proc/sys/kernel/hostname", "/proc/sys/kernel/domainname"};
    std::map<std::string, std::string> before;
    for (const std::string &name : names) {
        before[name] = content_of(name);
    }
    printed_by_shell("for name in " + names[0] + " " + names[1] +
                     "; do echo in-the-box > $name; done; hostname in-the-box");
    for (const auto &[name, text] : before) {
        if (content_of(name) != text) {
            ADD_FAILURE() << name << " was " << text;
            std::ofstream(name) << text;
        }
    }
}

TEST_F(walls, nothing_can_be_written_but_the_own_network_and_devices) {
    const auto before = kernel_settings();
    const std::vector<std::string> lines = printed_by(WRITE_EVERYTHING);
    for (const auto &[name, value] : kernel_settings()) {
        EXPECT_EQ(before.count(name) == 1 ? before.at(name) : value, value) << name;
    }
    ASSERT_THAT(lines, Contains("tried everything"));
    EXPECT_THAT(lines, Contains("wrote /proc/sys/net/ipv4/conf/wwan0/proxy_arp")) << "the daemon needs it";
    const std::vector<std::string> own = {
        "filled /sys/class/net",
        "filled /sys/class/net/wwan0",
        "filled /sys/class/net/wwan0/qmi",
        "opened /sys/class/net/wwan0/qmi/raw_ip",
        "filled /dev",
        "filled /dev/shm",
        "opened /dev/full",
        "opened /dev/null",
        "opened /dev/random",
        "opened /dev/tty",
        "opened /dev/urandom",
        "opened /dev/zero",
        "opened /dev/console",
        "opened /dev/pts/0",
        "opened /dev/pts/ptmx",
        "tried everything",
    };
    for (const std::string &line : lines) {
        EXPECT_TRUE(std::ranges::count(own, line) == 1 || line.find(" /proc/sys/net/") != std::string::npos) << line;
    }
}

TEST_F(walls, root_has_no_power_but_over_its_network) {
    const std::string powers = "grep -h -E 'Cap(Prm|Eff|Inh|Amb)|NoNewPrivs' /proc/$$/status";
    const std::string net_admin = "0000000000001000";
    const std::string none = "0000000000000000";
    EXPECT_THAT(printed_by_shell(powers),
                testing::ElementsAre("CapInh:\\t" + none, "CapPrm:\\t" + net_admin, "CapEff:\\t" + net_admin,
                                     "CapAmb:\\t" + none, "NoNewPrivs:\\t1"));
}

TEST_F(walls, nothing_can_be_mounted) {
    EXPECT_THAT(printed_by_shell("mount -o remount,rw / && echo out\nmount -t tmpfs x /srv && echo out\n"
                                 "umount /proc/irq && echo out\nunshare --user --map-root-user true && echo out\n"
                                 "touch /etc/box_test && echo out"),
                Each(Not("out")));
    EXPECT_FALSE(fs::exists("/etc/box_test"));
}

// As when a disk is plugged in. In mounts of our own that others are told of, which is what a host has.
TEST_F(walls, what_the_host_mounts_later_is_not_there) {
    const std::string daemon =
        folder_.write_program("daemon.sh", "echo stands\nwhile [ ! -e /tmp/go ]; do sleep 0.05; done\n"
                                           "touch /srv/box_test && echo out > /tmp/out\nexit 0");
    const std::string scenario =
        folder_.write("test.scenario", "at 2s\ntouch /tmp/go\nafter exit 0\nexpect-no-file /tmp/out\n");
    const std::string script = folder_.write(
        "script", ZELT_SIM " run " + scenario + " -- " + daemon + " > " + folder_.path("journal") +
                      " &\nwhile kill -0 $! && ! grep -q stands " + folder_.path("journal") +
                      "; do sleep 0.05; done\nmount -t tmpfs late /srv; wait $!\necho status $?; ls /srv");
    const shell_outcome result =
        run_in_shell("unshare --user --map-root-user --mount --propagation shared sh " + script);
    EXPECT_EQ(result.output, "status 0\n");
}

// The daemon's parent is the box's inner half: whoever gets at its files is out.
TEST_F(walls, what_our_parent_left_open_is_closed) {
    const std::string secret = folder_.write("secret", "");
    const std::string daemon =
        folder_.write_program("daemon.sh", "echo out >&7\necho out 1<> /proc/$PPID/fd/0\nexit 0");
    const std::string scenario = folder_.write("test.scenario", "after exit 0\n");
    EXPECT_EQ(run_in_shell(ZELT_SIM " run " + scenario + " -- " + daemon + " < " + secret + " 7> " + secret).status, 0);
    EXPECT_EQ(content_of(secret), "");
}

TEST_F(walls, folders_in_memory_have_an_end) {
    EXPECT_THAT(printed_by_shell("df --output=size,target -B1M /tmp /run | tail -n 2 | tr -s ' '"),
                testing::ElementsAre(" 256 /tmp", " 256 /run"));
}

}  // namespace
