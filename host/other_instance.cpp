#include "host/other_instance.h"

#include <array>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

// Enough for a process number, and for the first fields of its status.
std::string beginning_of(const std::string &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    std::array<char, 128> text = {};
    const ssize_t size = file.is_open() ? read(file.get(), text.data(), text.size()) : 0;
    return {text.data(), static_cast<std::size_t>(size > 0 ? size : 0)};
}

}  // namespace

// 4711 (zelt-stats) S 1 ...    the name may hold blanks and brackets; Z is a process that has ended and is not reaped
// yet
std::string running_program(const std::string &process) {
    const std::string status = beginning_of("/proc/" + process + "/stat");
    const std::size_t begin = status.find('(');
    const std::size_t end = status.rfind(") ");
    if (begin == std::string::npos || end == std::string::npos || status.compare(end, 3, ") Z") == 0) {
        return {};
    }
    return status.substr(begin + 1, end - begin - 1);
}

// By the name and not the file of the program: that is another one after an update.
std::string other_instance(const char *path) {
    std::string process = beginning_of(path);
    process.erase(process.find_last_not_of('\n') + 1);
    if (process.empty() || process.find_first_not_of("0123456789") != std::string::npos ||
        process == std::to_string(getpid())) {
        return {};
    }
    const std::string program = running_program(process);
    return !program.empty() && program == running_program("self") ? process : std::string();
}
