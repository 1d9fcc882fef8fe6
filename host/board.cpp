// Who made this machine, as the kernel knows it: the device tree of a board, else the firmware tables of a PC. Read
// once, at the first question. Never logs, never blocks.
#include "platform/board.h"

#include <array>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

struct machine {
    pellow_dev_type type;
    std::string name;  // empty when the machine has a type but no printable name
};

// A model's name is a few words; whatever is longer is cut.
constexpr std::size_t LONGEST_NAME = 127;

bool is_printable(char c) {
    return c >= ' ' && c <= '~';
}

// The printable characters of the file's first line: a device tree ends its texts with NUL, DMI with a newline.
std::string printable_text(const char *data, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size && data[i] != '\0' && data[i] != '\n'; ++i) {
        if (is_printable(data[i])) {
            text += data[i];
        }
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

bool read_name(const char *path, std::string *name) {
    const descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    std::array<char, LONGEST_NAME> data = {};
    const ssize_t size = file.is_open() ? read(file.get(), data.data(), data.size()) : -1;
    if (size < 0) {
        return false;
    }
    *name = printable_text(data.data(), static_cast<std::size_t>(size));
    return true;
}

machine identify() {
    std::string name;
    if (read_name("/proc/device-tree/model", &name)) {
        return {PELLOW_DEV_ROUTER, name};
    }
    if (read_name("/sys/class/dmi/id/product_name", &name)) {
        return {PELLOW_DEV_WORKSTATION, name};
    }
    return {PELLOW_DEV_UNKNOWN, ""};
}

const machine &this_machine() {
    static const machine identified = identify();
    return identified;
}

const char *type_name(pellow_dev_type type) {
    switch (type) {
    case PELLOW_DEV_ROUTER:
        return "router";
    case PELLOW_DEV_WORKSTATION:
        return "workstation";
    case PELLOW_DEV_UNKNOWN:
        break;
    }
    return "unknown";
}

}  // namespace

pellow_dev_type get_pellow_dev_type_as_enum() {
    return this_machine().type;
}

// This machine's own type is told by its model name; any other type by its general name.
const char *pellow_dev_type_enum_to_string(pellow_dev_type type) {
    const machine &own = this_machine();
    return type == own.type && !own.name.empty() ? own.name.c_str() : type_name(type);
}
