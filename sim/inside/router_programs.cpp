#include "sim/inside/router_programs.h"

#include <filesystem>
#include <system_error>

#include <sys/mount.h>

#include "posix/failure.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *PROGRAMS[] = {
    "/usr/bin/cmd_ddns",      "/usr/bin/cmd_firewall", "/usr/bin/cmd_ipsec",
    "/usr/bin/cmd_netgen",    "/usr/bin/cmd_pproxy",   "/usr/sbin/conntrack",
    "/etc/init.d/cell-agent", "/usr/sbin/iptables",    "/sbin/ip",
};

constexpr const char *REAL = "/run/box/real";  // the host's own folders are moved below it

void mount_or_throw(const char *source, const fs::path &target, const char *type, unsigned long flags) {
    throw_unless(mount(source, target.c_str(), type, flags, nullptr) == 0, "mount on " + target.string());
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

}  // namespace

void make_router_programs() {
    for (const char *folder : {"/usr/bin", "/usr/sbin", "/sbin", "/etc/init.d"}) {
        if (fs::is_directory(folder) && !fs::is_symlink(folder)) {
            make_writable(folder);
        }
    }
    keep_real_ip();
    for (const char *path : PROGRAMS) {
        install_program(path, {});
    }
    install_program("/usr/bin/qmicli", {.status = 1});  // no connection, no settings
}

std::string install_program(const std::string &path, const stand_in_ending &ending) try {
    set_ending(path, ending);
    fs::remove(path);
    fs::create_symlink(fs::read_symlink("/proc/self/exe"), path);
    return "";
} catch (const fs::filesystem_error &e) {
    return path + ": " + e.code().message();
}
