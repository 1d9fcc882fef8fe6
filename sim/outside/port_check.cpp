#include "sim/outside/port_check.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "posix/descriptor.h"

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
    // A modem line that drops as the port is closed makes modules end the data call.
    termios settings{};
    if (tcgetattr(port.get(), &settings) == 0) {
        settings.c_cflag &= ~static_cast<tcflag_t>(HUPCL);
        tcsetattr(port.get(), TCSANOW, &settings);
    }
    if (!S_ISCHR(found.st_mode) || isatty(port.get()) == 0) {
        return host_name + " is no serial port.\n" + WHERE_TO_LOOK;
    }
    return "";
}
