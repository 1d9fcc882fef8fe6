// What every program of ours begins with: descriptors 0 to 2 are open, whatever its parent has closed. A file that is
// opened later would become a standard stream, and messages would land in it; in the database, for one.
//
// A constructor function and not a call from main: some descriptors are opened before main. Nobody names the function,
// so posix/CMakeLists.txt makes the linker take it.
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

// 101 is the first place that programs may take.
extern "C" [[gnu::constructor(101)]] void zelt_open_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            // The wrong way round on purpose: writing to a closed output stays an error.
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}
