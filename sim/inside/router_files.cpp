#include "sim/inside/router_files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>

#include "host/descriptor.h"
#include "sim/child.h"
#include "sim/stand_ins/stand_ins.h"

namespace {

namespace fs = std::filesystem;

void fail_unless(bool fine, const std::string &what) {
    if (!fine) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

std::string problem(const std::string &path, const std::error_code &error) {
    return error ? path + ": " + error.message() : "";
}

// The daemon writes below both names of the folder.
void join_run_folders() {
    std::error_code ignored;
    if (!fs::equivalent("/var/run", "/run", ignored)) {
        fail_unless(mount("/run", "/var/run", nullptr, MS_BIND, nullptr) == 0, "/var/run");
    }
}

void bring_loopback_up() {
    const descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    request.ifr_name[0] = 'l';
    request.ifr_name[1] = 'o';
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    fail_unless(ioctl(any_socket.get(), SIOCSIFFLAGS, &request) == 0, "loopback interface");
}

// A kernel without this kind of interface still runs everything that needs no address.
void make_interface(const std::string &name, const std::string &far_end) {
    run_helper({"ip", "link", "add", name, "type", "veth", "peer", "name", far_end});
    run_helper({"ip", "link", "set", far_end, "up"});
}

void make_interfaces() {
    make_interface("wwan0", "tower0");
    for (const std::string port : {"eth0", "eth1"}) {
        make_interface(port, "lan_" + port);
        run_helper({"ip", "link", "set", port, "up"});
    }
}

// The real folder shows the host's interfaces, and an interface of this kind has no such setting.
void make_raw_ip_setting() {
    fail_unless(mount("box", "/sys/class/net", "tmpfs", 0, nullptr) == 0, "/sys/class/net");
    fs::create_directories("/sys/class/net/wwan0/qmi");
    std::ofstream("/sys/class/net/wwan0/qmi/raw_ip") << "N\n";
}

std::string write_whole(const std::string &path, const std::string &bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    return file ? "" : path + ": cannot be written";
}

}  // namespace

void prepare_surroundings() {
    join_run_folders();
    bring_loopback_up();
    make_interfaces();
    make_raw_ip_setting();
    make_stand_ins();
    fs::create_directories(fs::path(BOX_CONFIG_FILE).parent_path());
    setenv("ZELT_CONFIG", BOX_CONFIG_FILE, 1);
    unsetenv("SYSDB_DIR");
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

std::string apply(const write_config &what) {
    // Readers see the old file or the new one, never half of it.
    const std::string fresh = std::string(BOX_CONFIG_FILE) + ".new";
    if (std::string wrong = write_whole(fresh, what.json); !wrong.empty()) {
        return wrong;
    }
    std::error_code error;
    fs::rename(fresh, BOX_CONFIG_FILE, error);
    return problem(BOX_CONFIG_FILE, error);
}

std::string apply(const touch_file &what) {
    std::ofstream file(what.path, std::ios::app);
    return file ? "" : what.path + ": cannot be created";
}

std::string apply(const remove_file &what) {
    std::error_code error;
    fs::remove_all(what.path, error);
    return problem(what.path, error);
}

std::string apply(const make_directory &what) {
    std::error_code error;
    fs::create_directories(what.path, error);
    return problem(what.path, error);
}

std::string apply(const write_file &what) {
    std::error_code ignored;
    fs::create_directories(fs::path(what.path).parent_path(), ignored);
    return write_whole(what.path, what.bytes);
}

std::string apply(const write_uptime &what) {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return write_whole(what.path, std::to_string(now.tv_sec + what.offset_seconds));
}

std::string apply(const set_address &what) {
    if (run_helper({"ip", "-4", "address", "flush", "dev", "wwan0"}) != 0) {
        return "wwan0: no such interface: `ip` is missing, or this kernel has no veth interfaces";
    }
    if (!what.address.empty() && run_helper({"ip", "address", "add", what.address, "dev", "wwan0"}) != 0) {
        return "wwan0: the address was refused";
    }
    return "";
}

std::optional<bool> is_interface_up(const std::string &name) {
    const descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
    if (ioctl(any_socket.get(), SIOCGIFFLAGS, &request) != 0) {
        return std::nullopt;
    }
    return (request.ifr_flags & IFF_UP) != 0;
}
