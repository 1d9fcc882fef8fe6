// Real faults, in processes of their own where they are to end one.
#include "store/fault_guard.h"

#include <array>
#include <csignal>
#include <string>

#include <gtest/gtest.h>
#include <lmdb.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr std::size_t PAGE = 4096;

// Whoever reads there is in for SIGSEGV.
const char *forbidden_page() {
    return static_cast<char *>(mmap(nullptr, PAGE, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
}

int read_at(const char *from) {
    return *static_cast<const volatile char *>(from);
}

// The signal that ended it, or 0. Without what a sanitizer has set up: it would make an exit status of the signal.
int signal_that_ends(const std::function<void()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        for (const int number : {SIGSEGV, SIGBUS, SIGABRT}) {
            std::signal(number, SIG_DFL);
        }
        alarm(20);
        body();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(fault_guard, a_call_that_goes_well_gives_its_own_result) {
    EXPECT_EQ(guarded_call([] { return 0; }), 0);
    EXPECT_EQ(guarded_call([] { return MDB_NOTFOUND; }), MDB_NOTFOUND);
}

TEST(fault_guard, an_access_that_is_not_allowed_ends_the_call_each_time) {
    const char *page = forbidden_page();
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(guarded_call([=] { return read_at(page); }), SYSDB_FAULT) << time;
    }
    EXPECT_EQ(guarded_call([] { return 5; }), 5);
}

TEST(fault_guard, a_mapped_file_that_was_cut_short_ends_the_call) {
    temporary_folder folder;
    const std::string file = folder.path("file");
    const descriptor fd(open(file.c_str(), O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(ftruncate(fd.get(), 2 * PAGE), 0);
    const char *map = static_cast<char *>(mmap(nullptr, 2 * PAGE, PROT_READ, MAP_SHARED, fd.get(), 0));
    std::array<char, 16> bytes = {};
    EXPECT_EQ(guarded_copy(bytes.data(), map + PAGE, bytes.size()), 0);
    ASSERT_EQ(ftruncate(fd.get(), PAGE), 0);
    EXPECT_EQ(guarded_copy(bytes.data(), map + PAGE, bytes.size()), SYSDB_FAULT);
    EXPECT_EQ(guarded_copy(bytes.data(), map, bytes.size()), 0) << "the part that is still there";
}

TEST(fault_guard, copies_what_is_there) {
    const std::string from = "sAT&T";
    std::string to(from.size(), '\0');
    EXPECT_EQ(guarded_copy(to.data(), from.data(), from.size()), 0);
    EXPECT_EQ(to, from);
    EXPECT_EQ(guarded_copy(to.data(), nullptr, 0), 0) << "an empty value may lie nowhere";
    EXPECT_EQ(guarded_copy(to.data(), nullptr, 1), SYSDB_FAULT);
}

TEST(fault_guard, the_innermost_call_is_left) {
    const char *page = forbidden_page();
    int inner = 0;
    EXPECT_EQ(guarded_call([&] {
                  inner = guarded_call([=] { return read_at(page); });
                  return 7;
              }),
              7);
    EXPECT_EQ(inner, SYSDB_FAULT);
    EXPECT_EQ(guarded_call([&] {
                  inner = guarded_call([] { return 3; });
                  return read_at(page);
              }),
              SYSDB_FAULT)
        << "the outer one is guarded again behind it";
    EXPECT_EQ(inner, 3);
}

TEST(fault_guard, an_assertion_of_the_library_ends_the_call) {
    EXPECT_EQ(guarded_call([] {
                  leave_at_assertion(nullptr, "text");
                  return 0;
              }),
              SYSDB_FAULT);
    leave_at_assertion(nullptr, "outside of a call: it comes back, and the library aborts");
}

void end_the_wait(int) {
    leave_guarded_call(MDB_PANIC);
}

TEST(fault_guard, a_timer_ends_a_wait) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = end_the_wait;
    action.sa_flags = SA_NODEFER;  // behind the jump it would stay blocked
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    const pipe_ends never_written;
    const itimerval soon = {{0, 0}, {0, 20'000}};
    const int fd = never_written.read_end.get();
    EXPECT_EQ(guarded_call([&] {
                  char byte = 0;
                  setitimer(ITIMER_REAL, &soon, nullptr);
                  return static_cast<int>(read(fd, &byte, 1));
              }),
              MDB_PANIC);
    sigaction(SIGALRM, &before, nullptr);
}

TEST(fault_guard, a_fault_outside_of_a_call_ends_the_process) {
    const char *page = forbidden_page();
    EXPECT_EQ(signal_that_ends([=] {
                  guarded_call([] { return 0; });
                  read_at(page);
              }),
              SIGSEGV);
    EXPECT_EQ(signal_that_ends([=] {
                  guarded_call([=] { return read_at(page); });
                  read_at(page);
              }),
              SIGSEGV)
        << "behind one that was caught, too";
}

TEST(fault_guard, a_signal_that_somebody_sends_is_no_fault) {
    for (const int number : {SIGSEGV, SIGBUS}) {
        EXPECT_EQ(signal_that_ends([=] { guarded_call([=] { return kill(getpid(), number); }); }), number);
    }
}

void say_and_end(int) {
    kill(getpid(), SIGUSR1);
}

TEST(fault_guard, a_handler_of_before_gets_what_is_outside) {
    const char *page = forbidden_page();
    EXPECT_EQ(signal_that_ends([=] {
                  std::signal(SIGSEGV, say_and_end);
                  guarded_call([] { return 0; });
                  read_at(page);
              }),
              SIGUSR1);
}

}  // namespace
