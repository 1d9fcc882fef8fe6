// A process with mounts of its own, so that a test may put one file system or file over another.
#pragma once

#include <functional>

#include <sched.h>
#include <sys/mount.h>

#include "tests/support/other_process.h"
#include "tests/support/private_namespace.h"

// The body's result; 77: the kernel does not let us have them.
inline int with_mounts_of_its_own(const std::function<int()> &body) {
    other_process child([&] {
        const bool ours =
            unshare_as_root(CLONE_NEWNS) && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        return ours ? body() : 77;
    });
    return child.wait();
}
