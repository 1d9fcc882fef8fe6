#include "sim/inside/interfaces.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>

#include "posix/descriptor.h"
#include "posix/failure.h"
#include "posix/process.h"

namespace {

// True on success. `request` names the interface.
bool control(unsigned long what, ifreq &request) {
    const descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return ioctl(any_socket.get(), what, &request) == 0;
}

ifreq request_for(const std::string &name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
    return request;
}

void bring_loopback_up() {
    ifreq request = request_for("lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    throw_unless(control(SIOCSIFFLAGS, request), "loopback interface");
}

// Runs the program of this name, silent and out of reach of the terminal; its exit status.
int ip(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "ip");
    return run_process(arguments, {.streams = {NULL_DEVICE, NULL_DEVICE, NULL_DEVICE}, .group = process_group::own});
}

// A kernel without this kind of interface still runs everything that needs no address.
void make_interface(const std::string &name, const std::string &far_end) {
    ip({"link", "add", name, "type", "veth", "peer", "name", far_end});
    ip({"link", "set", far_end, "up"});
}

// The real folder shows the host's interfaces, and an interface of this kind has no such setting.
void make_raw_ip_setting() {
    throw_unless(mount("box", "/sys/class/net", "tmpfs", 0, nullptr) == 0, "/sys/class/net");
    std::filesystem::create_directories("/sys/class/net/wwan0/qmi");
    std::ofstream("/sys/class/net/wwan0/qmi/raw_ip") << "N\n";
}

}  // namespace

void make_interfaces() {
    bring_loopback_up();
    make_interface("wwan0", "tower0");
    for (const std::string port : {"eth0", "eth1"}) {
        make_interface(port, "lan_" + port);
        ip({"link", "set", port, "up"});
    }
    make_raw_ip_setting();
}

std::string set_address(const std::string &address) {
    if (ip({"-4", "address", "flush", "dev", "wwan0"}) != 0) {
        return "wwan0: no such interface: `ip` is missing, or this kernel has no veth interfaces";
    }
    if (!address.empty() && ip({"address", "add", address, "dev", "wwan0"}) != 0) {
        return "wwan0: the address was refused";
    }
    return "";
}

std::optional<bool> is_interface_up(const std::string &name) {
    ifreq request = request_for(name);
    if (!control(SIOCGIFFLAGS, request)) {
        return std::nullopt;
    }
    return (request.ifr_flags & IFF_UP) != 0;
}
