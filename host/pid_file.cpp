// The pid file tells a second instance of the daemon from the only one. Never logs; who runs already is said on
// standard error.
#include "host/pid_file.h"

#include <array>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "host/say_once.h"
#include "platform/device_utils.h"
#include "posix/descriptor.h"

namespace {

// Empty until create_pidfile() was refused.
std::string &refused_path() {
    static std::string path;
    return path;
}

// Enough for a process number, and for the first fields of its status.
std::string beginning_of(const std::string &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    std::array<char, 128> text = {};
    const ssize_t size = file.is_open() ? read(file.get(), text.data(), text.size()) : 0;
    return {text.data(), static_cast<std::size_t>(size > 0 ? size : 0)};
}

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

// The process that the pid file names, when it runs this program and is not this process. Old pid files are normal: the
// daemon leaves its own behind, and the number may be any program's now. The name and not the file of the program: that
// is another one after an update.
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

}  // namespace

int create_pidfile(const char *path) {
    const std::string own = std::to_string(getpid());
    const std::string other = other_instance(path);
    if (other.empty()) {
        return write_str_to_file(path, own.c_str());
    }
    refused_path() = path;
    say_once(
        "zelt: " + running_program("self") + " runs already as process " + other + " (" + path +
        "): the two clear each other's values and take turns at the module; end one of them, best this one, process " +
        own);
    return -1;
}

bool is_left_to_another_instance(const char *path) {
    return path == refused_path() && !other_instance(path).empty();
}
