// run_each_case FILE CASE...: runs each case but those that are named, in a process of its own, those of the test
// source FILE first, up to the first that fails. Prints the case and what became of it; the exit status is 0 when all
// passed, 1 after a failure, 2 when a case ran out of time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct test_case {
    std::string name;
    bool first;
};

std::vector<test_case> all_cases(const std::string &first_file) {
    std::vector<test_case> cases;
    const testing::UnitTest &program = *testing::UnitTest::GetInstance();
    for (int i = 0; i < program.total_test_suite_count(); ++i) {
        const testing::TestSuite &suite = *program.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo &info = *suite.GetTestInfo(j);
            cases.push_back({std::string(suite.name()) + "." + info.name(),
                             !first_file.empty() && std::string_view(info.file()).ends_with("/" + first_file)});
        }
    }
    std::stable_partition(cases.begin(), cases.end(), [](const test_case &each) { return each.first; });
    return cases;
}

// The processor's time is what a busy machine does not change; the clock's bounds a case that waits for nothing. The
// memory bounds a loop that only fills the journal.
void limit_resources() {
    constexpr rlimit PROCESSOR_SECONDS{.rlim_cur = 3, .rlim_max = 4};
    constexpr rlimit MEMORY_BYTES{.rlim_cur = rlim_t{1} << 30, .rlim_max = rlim_t{1} << 30};
    constexpr rlimit NO_CORE_FILE{.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_CPU, &PROCESSOR_SECONDS);
    setrlimit(RLIMIT_AS, &MEMORY_BYTES);
    setrlimit(RLIMIT_CORE, &NO_CORE_FILE);
    alarm(30);
}

[[noreturn]] void run_case(const std::string &name) {
    limit_resources();
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    GTEST_FLAG_SET(filter, name);
    _exit(RUN_ALL_TESTS());
}

int outcome_of(const std::string &name) {
    const pid_t child = fork();
    if (child == 0) {
        run_case(name);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        std::perror("run_each_case");
        _exit(3);
    }
    if (WIFSIGNALED(status) &&
        (WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL || WTERMSIG(status) == SIGALRM)) {
        return 2;
    }
    return status == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    testing::InitGoogleMock(&argc, argv);
    const std::set<std::string> left_out(argv + std::min(argc, 2), argv + argc);
    int count = 0;
    for (const test_case &each : all_cases(argc > 1 ? argv[1] : "")) {
        if (left_out.contains(each.name)) {
            continue;
        }
        const int outcome = outcome_of(each.name);
        ++count;
        if (outcome != 0) {
            std::printf("%s %s\n", outcome == 1 ? "failed" : "timeout", each.name.c_str());
            return outcome;
        }
    }
    std::printf("passed %d cases\n", count);
    return count > 0 ? 0 : 3;
}
