// Which other programs have a device open. Reads "/proc", some milliseconds for a machine full of programs; never
// touches the device, never waits for a file system that does not answer. Never logs.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

struct device_holder {
    pid_t pid;         // 0: not known
    std::string name;  // as the kernel knows it: at most 15 bytes, of any kind
};

// Neither this process is meant, nor one that has the other end of the pseudo-terminal open as well: that one plays the
// device, and takes none of what comes from it. None when there is no such device. Only root sees the programs of other
// users, and nobody those outside of the container.
std::vector<device_holder> holders_of_device(const std::string &device);

// Whether both names lead to one device.
bool is_same_device(const std::string &one, const std::string &other);

// "minicom, process 4711", one behind the other; with the name's bytes as they are.
std::string in_words(const std::vector<device_holder> &holders);
