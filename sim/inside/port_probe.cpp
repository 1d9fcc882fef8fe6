#include "sim/inside/port_probe.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "host/serial_port.h"
#include "platform/module_access.h"

namespace {

constexpr const char *WHERE_TO_LOOK = "`ls /dev/ttyUSB* /dev/ttyACM*` shows the serial ports, `dmesg | tail` what was "
                                      "plugged in last.";

}  // namespace

std::string why_no_port(const std::string &host_name) {
    struct stat found {};
    if (stat(host_name.c_str(), &found) != 0) {
        return host_name + ": " + std::strerror(errno) + ". Is the module plugged in?\n" + WHERE_TO_LOOK;
    }
    // Without waiting for a carrier.
    const descriptor port(open(host_name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!port.is_open() && errno == EACCES) {
        return host_name +
               " may not be used. Join the group that owns it (`ls -l` names it; sudo usermod -aG dialout $USER, then\n"
               "log in again), or use sudo.";
    }
    if (!port.is_open()) {
        return host_name + ": " + std::strerror(errno) + ".\nIf another program is using it, `sudo fuser -v " +
               host_name + "` names it.";
    }
    if (!S_ISCHR(found.st_mode) || isatty(port.get()) == 0) {
        return host_name + " is no serial port.\n" + WHERE_TO_LOOK;
    }
    return "";
}

std::string why_no_module(const std::string &device, const std::string &host_name) {
    // A module that was just switched on may swallow the first one.
    constexpr int TRIES = 2;
    constexpr at_limits LIMITS{.total = at_limits::milliseconds(2000)};

    const int fd = ser_open(device.c_str());
    if (fd < 0) {
        return host_name + " cannot be used as a serial port in the box; the reason stands above.";
    }
    at_answer answer;
    for (int i = 0; i < TRIES && !answer.is_complete(); ++i) {
        answer = at_exchange(fd, "at\r", "", LIMITS);
    }
    ser_close(fd);
    if (answer.is_complete()) {
        return "";
    }
    return host_name + " is no AT port: \"AT\" was sent " + std::to_string(TRIES) +
           " times, and no \"OK\" came back within 4 seconds.\n"
           "A module has several ports, and only one or two of them answer: try the next one, often ttyUSB2 or "
           "ttyUSB3.\n"
           "If it is the right one, another program may be using it: `sudo fuser -v " +
           host_name + "` names it.";
}
