#include "posix/failure.h"

#include <cerrno>
#include <system_error>

void throw_unless(bool fine, const std::string &what) {
    if (!fine) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}
