#include "store/fault_guard.h"

#include <array>
#include <csetjmp>
#include <csignal>
#include <cstring>

namespace {

constexpr std::array<int, 2> FAULTS = {SIGSEGV, SIGBUS};

// Where the running guarded call began, in the stack of its thread.
struct guard {
    sigjmp_buf begin;
    int result;
    guard *outer;
};
thread_local guard *innermost = nullptr;

std::array<struct sigaction, FAULTS.size()> &handlers_before() {
    static std::array<struct sigaction, FAULTS.size()> handlers = {};
    return handlers;
}

// Not ours to handle: the old handler, or the end of the process, gets the instruction that is tried again.
void give_back(int number) {
    for (std::size_t i = 0; i < FAULTS.size(); ++i) {
        if (FAULTS[i] == number) {
            sigaction(number, &handlers_before()[i], nullptr);
        }
    }
}

void on_fault(int number, siginfo_t *info, void *) {
    const bool is_sent = info->si_code <= 0;  // by kill() and its like
    if (!is_sent) {
        leave_guarded_call(SYSDB_FAULT);
    }
    give_back(number);
    if (is_sent) {
        raise(number);  // nothing would try again
    }
}

// Kept for the life of the process: setting them for each call would be four system calls. SA_NODEFER, since the signal
// would stay blocked after the jump, and saving the mask costs a system call too.
void set_handlers() {
    [[maybe_unused]] static const bool done = [] {
        struct sigaction action = {};
        action.sa_sigaction = on_fault;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        for (std::size_t i = 0; i < FAULTS.size(); ++i) {
            sigaction(FAULTS[i], &action, &handlers_before()[i]);
        }
        return true;
    }();
}

}  // namespace

void leave_guarded_call(int result) {
    if (innermost != nullptr) {
        innermost->result = result;
        siglongjmp(innermost->begin, 1);
    }
}

// Coming back from here, LMDB says what failed and aborts.
void leave_at_assertion(MDB_env *, const char *) {
    leave_guarded_call(SYSDB_FAULT);
}

int run_guarded(int (*call)(void *) noexcept, void *context) {
    set_handlers();
    guard here = {};
    here.outer = innermost;
    if (sigsetjmp(here.begin, 0) != 0) {
        innermost = here.outer;
        return here.result;
    }
    innermost = &here;
    const int result = call(context);
    innermost = here.outer;
    return result;
}

int guarded_copy(void *to, const void *from, std::size_t bytes) {
    if (bytes == 0 || from == nullptr) {  // neither is for memcpy()
        return bytes == 0 ? 0 : SYSDB_FAULT;
    }
    return guarded_call([=] {
        std::memcpy(to, from, bytes);
        return 0;
    });
}
