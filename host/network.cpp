// The network operations of the device, by one system call each. Never log, never wait for a remote end.
#include "platform/device_utils.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "posix/descriptor.h"

namespace {

bool can_name_an_interface(const char *name) {
    return name != nullptr && *name != '\0' && std::strlen(name) < IFNAMSIZ;
}

// An address with a label is listed under its label, "wwan0:data". The name of an interface has no colon.
std::string_view interface_of(std::string_view name_or_label) {
    return name_or_label.substr(0, name_or_label.find(':'));
}

bool is_ipv4_of(const ifaddrs &entry, const char *interface_name) {
    return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET &&
           interface_of(entry.ifa_name) == interface_name;
}

// 0 or an errno value.
int set_administrative_state(const char *interface_name, bool up) {
    if (!can_name_an_interface(interface_name)) {
        return ENODEV;
    }
    const descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!any_socket.is_open()) {
        return errno;
    }
    ifreq request = {};
    std::memcpy(request.ifr_name, interface_name, std::strlen(interface_name));
    if (ioctl(any_socket.get(), SIOCGIFFLAGS, &request) != 0) {
        return errno;
    }
    const int flags = request.ifr_flags;
    request.ifr_flags = static_cast<short>(up ? flags | IFF_UP : flags & ~IFF_UP);
    return ioctl(any_socket.get(), SIOCSIFFLAGS, &request) == 0 ? 0 : errno;
}

}  // namespace

// The first IPv4 address that the kernel lists for the interface, its primary one.
int check_interface_ip(const char *interface_name, char *ip) {
    ifaddrs *entries = nullptr;
    if (!can_name_an_interface(interface_name) || getifaddrs(&entries) != 0) {
        return -1;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(entries, &freeifaddrs);
    for (const ifaddrs *entry = entries; entry != nullptr; entry = entry->ifa_next) {
        if (is_ipv4_of(*entry, interface_name)) {
            sockaddr_in address = {};
            std::memcpy(&address, entry->ifa_addr, sizeof address);
            inet_ntop(AF_INET, &address.sin_addr, ip, INET_ADDRSTRLEN);
            return 0;
        }
    }
    return -1;
}

int ip_link_set_interface_down(const char *interface_name) {
    return set_administrative_state(interface_name, false);
}

int ip_link_set_interface_up(const char *interface_name) {
    return set_administrative_state(interface_name, true);
}
