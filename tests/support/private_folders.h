// "/tmp" and "/dev" of this process's own, empty but for what a test puts there: the daemon's paths are absolute.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include "tests/support/private_namespace.h"

class private_folders : public testing::Test {
protected:
    static void SetUpTestSuite() {
        is_private_ = unshare_as_root(CLONE_NEWNS) && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }
    void SetUp() override {
        if (!is_private_) {
            GTEST_SKIP() << "the kernel forbids private mounts here: run as root or allow user namespaces";
        }
        for (const char *folder : {"/tmp", "/dev"}) {
            ASSERT_EQ(mount("tmpfs", folder, "tmpfs", 0, "mode=1777"), 0) << folder;
        }
    }
    void TearDown() override {
        if (is_private_) {
            umount2("/tmp", MNT_DETACH);
            umount2("/dev", MNT_DETACH);
        }
    }

private:
    inline static bool is_private_ = false;
};
