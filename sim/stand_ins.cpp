#include "sim/stand_ins.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "host/descriptor.h"
#include "sim/system_log.h"
#include "sim/text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view STAND_INS[] = {
    "/usr/bin/cmd_ddns",   "/usr/bin/cmd_firewall", "/usr/bin/cmd_ipsec",  "/usr/bin/cmd_netgen",
    "/usr/bin/cmd_pproxy", "/usr/bin/wwan-up",      "/usr/sbin/conntrack", "/usr/sbin/iptables",
};

constexpr std::string_view REAL = "/run/box/real";  // the host's own folders are moved below it

void mount_or_throw(const char *source, const fs::path &target, const char *type, unsigned long flags) {
    if (mount(source, target.c_str(), type, flags, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "mount on " + target.string());
    }
}

// The host's folder cannot be written: one of the same name takes its place, with a link to each of its programs.
void make_writable(const fs::path &folder) {
    const fs::path real = fs::path(REAL).concat(folder.string());
    fs::create_directories(real);
    mount_or_throw(folder.c_str(), real, nullptr, MS_BIND | MS_REC);
    mount_or_throw("box", folder, "tmpfs", 0);
    for (const auto &entry : fs::directory_iterator(real)) {
        fs::create_symlink(entry.path(), folder / entry.path().filename());
    }
}

}  // namespace

void make_stand_ins() {
    const fs::path self = fs::read_symlink("/proc/self/exe");
    for (const char *folder : {"/usr/bin", "/usr/sbin"}) {
        if (fs::is_directory(folder) && !fs::is_symlink(folder)) {
            make_writable(folder);
        }
    }
    for (const fs::path path : STAND_INS) {
        fs::remove(path);
        fs::create_symlink(self, path);
    }
}

bool is_stand_in(const std::string &started_as) {
    const std::string name = fs::path(started_as).filename();
    return std::ranges::any_of(STAND_INS, [&name](std::string_view path) { return path.ends_with("/" + name); });
}

int report_call(int argc, char **argv) {
    std::vector<std::string> words(argv, argv + argc);
    words[0] = fs::path(words[0]).filename();
    const std::string call = std::string(CALL_MARK) + join(words, " ");
    const descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface is made so
    const auto *to = reinterpret_cast<const sockaddr *>(&address);
    return sendto(log.get(), call.data(), call.size(), 0, to, sizeof address) < 0 ? 1 : 0;
}
