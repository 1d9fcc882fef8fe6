#include "platform/board.h"

#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/other_process.h"
#include "tests/support/private_namespace.h"

namespace {

constexpr char absent[] = "(absent)";

void write_if_present(const std::string &folder, const char *name, const std::string &content) {
    if (content != absent) {
        [[maybe_unused]] const int status = std::system(("mkdir -p " + folder).c_str());
        std::ofstream(folder + "/" + name, std::ios::binary) << content;
    }
}

constexpr char no_private_mounts[] = "no private mounts";

// In a child: the answers are kept for the process, and so are the mounts.
std::string identify_in_this_process(const std::string &device_tree_model, const std::string &dmi_product) {
    if (!unshare_as_root(CLONE_NEWNS) || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0 || mount("tmpfs", "/sys", "tmpfs", 0, nullptr) != 0) {
        return no_private_mounts;
    }
    write_if_present("/proc/device-tree", "model", device_tree_model);
    write_if_present("/sys/class/dmi/id", "product_name", dmi_product);
    return std::to_string(get_pellow_dev_type_as_enum()) + " " +
           pellow_dev_type_enum_to_string(get_pellow_dev_type_as_enum());
}

std::string identify(const std::string &device_tree_model, const std::string &dmi_product) {
    pipe_ends pipe;
    other_process child([&] {
        const std::string answer = identify_in_this_process(device_tree_model, dmi_product);
        return write(pipe.write_end.get(), answer.data(), answer.size()) < 0 ? 1 : 0;
    });
    pipe.write_end.close();
    char answer[1024] = "";
    const ssize_t size = read(pipe.read_end.get(), answer, sizeof answer);
    child.wait();
    return {answer, static_cast<std::size_t>(size > 0 ? size : 0)};
}

TEST(board, is_identified_by_the_kernels_own_names) {
    struct row {
        const char *why;
        std::string device_tree_model, dmi_product, answer;
    };
    const row rows[] = {
        {"a device tree ends its text with NUL", std::string("Pellow R1\0", 10), absent, "1 Pellow R1"},
        {"a device tree comes before DMI", std::string("Pellow R1\0", 10), "PC\n", "1 Pellow R1"},
        {"DMI ends its text with a newline", absent, "OptiBox 7\n", "2 OptiBox 7"},
        {"blanks at the end are dropped", absent, "OptiBox 7  \n", "2 OptiBox 7"},
        {"neither", absent, absent, "0 unknown"},
        {"an empty model still tells the type", "", absent, "1 router"},
        {"an empty product too", absent, "\n", "2 workstation"},
        {"only printable characters pass", absent, "a\x1b[31m\xc3\xa4\tb\n", "2 a[31mb"},
        {"a very long name is cut", absent, std::string(500, 'x'), "2 " + std::string(127, 'x')},
    };
    if (identify(absent, absent) == no_private_mounts) {
        GTEST_SKIP() << "the kernel forbids private mounts here: run as root or allow user namespaces";
    }
    for (const row &r : rows) {
        EXPECT_EQ(identify(r.device_tree_model, r.dmi_product), r.answer) << r.why;
    }
}

TEST(board, every_type_has_a_text) {
    for (int type = PELLOW_DEV_UNKNOWN - 1; type <= PELLOW_DEV_WORKSTATION + 1; ++type) {
        const char *text = pellow_dev_type_enum_to_string(static_cast<pellow_dev_type>(type));
        ASSERT_NE(text, nullptr) << type;
        EXPECT_STRNE(text, "") << type;
    }
    EXPECT_STREQ(pellow_dev_type_enum_to_string(static_cast<pellow_dev_type>(99)), "unknown");
}

}  // namespace
