#include "host/port_watch.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <sys/inotify.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

using clock_type = std::chrono::steady_clock;
using std::chrono::seconds;

// Nobody is expected: another node of the same device is all that the watch does not see.
constexpr seconds LOOK_ANYWAY{60};
// Somebody is there, may be there, or would not be told of: once in a cycle of 4 s, not with each of its exchanges.
constexpr seconds LOOK_AGAIN{3};

struct {
    descriptor notices;
    int watch = -1;  // on the node of the device
    std::string device;
    bool our_close_is_due = false;  // the next notice of a close is about ours
    bool opened = false;            // another program opened it since the last look
    bool unclosed = false;          // and no close was told since
    bool shared = false;            // another program opened it since we did
    bool doubted = false;
    clock_type::time_point last_look;
    std::vector<device_holder> users;  // found by the last look
} port;

struct counted {
    int opens = 0;
    int closes = 0;
};

// A queue that ran over has lost opens.
void take_notice(std::uint32_t what, counted &all) {
    if ((what & (IN_OPEN | IN_Q_OVERFLOW)) != 0) {
        ++all.opens;
        port.unclosed = true;
    } else if ((what & IN_CLOSE) != 0) {
        ++all.closes;
        port.unclosed = port.unclosed && port.our_close_is_due;
        port.our_close_is_due = false;
    }
}

// All that the kernel has told since the last call.
counted read_notices() {
    counted all;
    std::array<char, 64 * sizeof(inotify_event)> bytes;
    ssize_t size = static_cast<ssize_t>(bytes.size());
    while (size == static_cast<ssize_t>(bytes.size())) {  // a queue that filled less is empty
        size = read(port.notices.get(), bytes.data(), bytes.size());
        for (std::size_t at = 0; size > 0 && at < static_cast<std::size_t>(size);) {
            inotify_event notice = {};
            std::memcpy(&notice, bytes.data() + at, sizeof notice);
            if (notice.wd == port.watch || notice.wd < 0) {
                take_notice(notice.mask, all);
            }
            at += sizeof notice + notice.len;
        }
    }
    return all;
}

// The kernel gives the same number for the node that is watched already. A port that came back has a new node.
void watch_node(const std::string &device) {
    if (!port.notices.is_open()) {
        port.notices = descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    }
    const int watch = inotify_add_watch(port.notices.get(), device.c_str(), IN_OPEN | IN_CLOSE);
    if (watch == port.watch && device == port.device) {
        return;
    }
    if (port.watch >= 0 && port.watch != watch) {
        inotify_rm_watch(port.notices.get(), port.watch);
    }
    port.watch = watch;
    port.device = device;
    port.users.clear();
    port.our_close_is_due = port.unclosed = false;
    port.opened = true;  // perhaps: nobody watched
}

// A process of the first namespace, with the rights to see them.
bool sees_all_programs() {
    constexpr std::string_view FIRST = "pid:[4026531836]";
    std::array<char, 64> name = {};
    const ssize_t size = readlink("/proc/self/ns/pid", name.data(), name.size());
    return geteuid() == 0 && size > 0 && std::string_view(name.data(), static_cast<std::size_t>(size)) == FIRST;
}

}  // namespace

std::vector<device_holder> look_for_users_of_port() {
    port.opened = port.doubted = false;
    port.users = holders_of_device(port.device);
    const bool opened_meanwhile = read_notices().opens > 0;
    if (port.users.empty() && opened_meanwhile) {
        port.users.push_back({0, "a program that comes and goes"});
    } else if (port.users.empty() && port.unclosed && !sees_all_programs()) {
        port.users.push_back({0, "a program that cannot be seen from here"});
    }
    port.last_look = clock_type::now();
    return port.users;
}

std::vector<device_holder> users_of_port(const std::string &device) {
    watch_node(device);
    port.opened = read_notices().opens > 0 || port.opened;
    port.shared = false;
    const bool expects_nobody = port.users.empty() && port.watch >= 0 && !port.doubted;
    const bool is_due = clock_type::now() - port.last_look >= (expects_nobody ? LOOK_ANYWAY : LOOK_AGAIN);
    return is_due || (port.opened && port.users.empty()) ? look_for_users_of_port() : port.users;
}

void port_is_open() {
    port.shared = read_notices().opens > 1;
    port.opened = port.opened || port.shared;
    port.unclosed = false;  // what lies before ours: between two notices of an open stands one of a close
    port.our_close_is_due = true;
}

bool port_was_shared() {
    port.shared = read_notices().opens > 0 || port.shared;
    port.opened = port.opened || port.shared;
    return port.shared;
}

int port_watch_descriptor() {
    return port.notices.get();
}

void doubt_port() {
    port.doubted = true;
}
