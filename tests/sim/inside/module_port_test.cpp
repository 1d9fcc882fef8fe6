#include "sim/inside/module_port.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

// Many programs make the port their own alone and end without a word. A real one is anybody's again then.
TEST(module_port, is_open_to_others_after_a_user_that_wanted_it_alone) {
    const temporary_folder folder;
    module_port port(folder.path("port"));
    port.plug();
    const other_process user([&] {
        const int fd = open(folder.path("port").c_str(), O_RDWR | O_NOCTTY);
        return ioctl(fd, TIOCEXCL);
    });
    pollfd closes{port.closes_descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&closes, 1, 10000), 1);
    port.forget_user();
    EXPECT_EQ(poll(&closes, 1, 0), 0);
    const descriptor next(open(folder.path("port").c_str(), O_RDWR | O_NOCTTY));
    int exclusive = -1;
    EXPECT_EQ(ioctl(next.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_EQ(exclusive, 0);
    port.unplug();
    EXPECT_LT(port.closes_descriptor(), 0);
}

}  // namespace
