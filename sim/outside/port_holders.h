// Which programs have a device open. Reads "/proc"; silent, never touches the device.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

struct port_holder {
    pid_t pid;
    std::string name;  // as the kernel knows it: at most 15 characters
};

// But for this process. Only root sees the programs of other users.
std::vector<port_holder> holders_of(const std::string &device);
