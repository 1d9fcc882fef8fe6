#include "sim/powers.h"

#include <array>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "posix/failure.h"

void give_up_powers() {
    // Without this, root would have all of them back with the next program.
    throw_unless(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no new privileges");
    static_assert(CAP_NET_ADMIN < 32, "stands in the first of the two words");
    constexpr __u32 KEPT = 1U << CAP_NET_ADMIN;
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
    sets[0] = {.effective = KEPT, .permitted = KEPT, .inheritable = 0};
    throw_unless(syscall(SYS_capset, &header, sets.data()) == 0, "capabilities");
}
