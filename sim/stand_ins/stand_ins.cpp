#include "sim/stand_ins/stand_ins.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "sim/inside/system_log.h"
#include "sim/scenario/line_text.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *STAND_INS[] = {
    "/usr/bin/cmd_ddns",      "/usr/bin/cmd_firewall", "/usr/bin/cmd_ipsec",
    "/usr/bin/cmd_netgen",    "/usr/bin/cmd_pproxy",   "/usr/sbin/conntrack",
    "/etc/init.d/cell-agent", "/usr/sbin/iptables",    "/sbin/ip",
};

constexpr std::string_view REAL = "/run/box/real";  // the host's own folders are moved below it
constexpr const char *REAL_IP = "/run/box/ip";

// How each stand-in ends, a file by its name: exit status, milliseconds until then, and behind the line what it prints.
constexpr const char *ENDINGS = "/run/box/endings";

fs::path ending_of(const fs::path &program) {
    return ENDINGS / program.filename();
}

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

// The router's own commands use the interfaces' tool for other things too, and so does the box.
void keep_real_ip() {
    std::error_code error;
    const fs::path real = fs::canonical("/sbin/ip", error);
    if (!error) {
        fs::create_symlink(real, REAL_IP);
    }
}

// As the shell would need it, so that "a b" is told from two arguments.
std::string quoted(const std::string &argument) {
    return argument.empty() || argument.find_first_of(" \t\"") != std::string::npos ? '"' + argument + '"' : argument;
}

bool report(const std::string &text) {
    const std::string call = std::string(CALL_MARK) + text;
    const descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface is made so
    const auto *to = reinterpret_cast<const sockaddr *>(&address);
    return sendto(log.get(), call.data(), call.size(), 0, to, sizeof address) >= 0;
}

// Waits and prints as the scenario wants; the exit status.
int end_as_told(const fs::path &program) {
    std::ifstream ending(ending_of(program), std::ios::binary);
    int status = 0;
    long milliseconds = 0;
    ending >> status >> milliseconds;
    ending.get();  // the end of the line
    const std::string output(std::istreambuf_iterator<char>(ending), {});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return std::fwrite(output.data(), 1, output.size(), stdout) == output.size() ? status : 1;
}

}  // namespace

void make_stand_ins() {
    for (const char *folder : {"/usr/bin", "/usr/sbin", "/sbin", "/etc/init.d"}) {
        if (fs::is_directory(folder) && !fs::is_symlink(folder)) {
            make_writable(folder);
        }
    }
    keep_real_ip();
    for (const char *path : STAND_INS) {
        apply(install_program{.path = path});
    }
    apply(install_program{.path = "/usr/bin/qmicli", .status = 1});  // no connection, no settings
}

std::string apply(const install_program &what) {
    // A call in between finds the old ending or the new one, never half of it.
    const fs::path fresh = fs::path(ENDINGS) / ".new";
    std::error_code error;
    fs::create_directories(ENDINGS, error);
    std::ofstream ending(fresh, std::ios::binary | std::ios::trunc);
    ending << what.status << ' ' << what.delay.count() << '\n' << what.output;
    ending.close();
    fs::rename(fresh, ending_of(what.path), error);
    if (!error) {
        fs::remove(what.path, error);
    }
    if (!error) {
        fs::create_symlink(fs::read_symlink("/proc/self/exe"), what.path, error);
    }
    return error ? what.path + ": " + error.message() : "";
}

bool is_stand_in(const std::string &started_as) {
    return fs::exists(ending_of(started_as));
}

int play_stand_in(int argc, char **argv) {
    std::vector<std::string> words(argv, argv + argc);
    words[0] = fs::path(words[0]).filename();
    std::ranges::transform(words, words.begin(), quoted);
    const std::string call = join(words, " ");
    if (words[0] == "ip" && call != "ip route flush cache") {
        execv(REAL_IP, argv);
        return EXIT_FAILURE;
    }
    return report(call) ? end_as_told(argv[0]) : EXIT_FAILURE;
}
