#include "sim/inside/module_check.h"

#include "host/serial_port.h"
#include "platform/module_access.h"

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
        answer = ask_module(fd, "at\r", "", LIMITS);
    }
    ser_close(fd);
    if (answer.is_complete()) {
        return "";
    }
    return host_name + " is no AT port: \"AT\" was sent " + std::to_string(TRIES) +
           " times, and no \"OK\" came back within 4 seconds.\n"
           "A module has several ports, and only one or two of them answer: `zelt-sim probe` tells which, or try the "
           "next "
           "one,\noften ttyUSB2 or ttyUSB3.\n"
           "If it is the right one, another program may be using it: `sudo fuser -v " +
           host_name + "` names it.";
}
