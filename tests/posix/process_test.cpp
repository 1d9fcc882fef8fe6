#include "posix/process.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/support/temporary_folder.h"

namespace {

bool no_child_is_left() {
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

int shell(const std::string &script, const process_settings &settings = {}) {
    return run_process({"/bin/sh", "-c", script}, settings);
}

// What the script prints.
std::string output_of(const std::string &script, process_settings settings = {}) {
    pipe_ends output;
    settings.streams[STDOUT_FILENO] = output.write_end.get();
    const int status = shell(script, settings);
    char text[256] = "";
    output.write_end.close();
    const ssize_t size = read(output.read_end.get(), text, sizeof text);
    return std::string(text, static_cast<std::size_t>(size > 0 ? size : 0)) + "status " + std::to_string(status);
}

TEST(process, ends_as_the_shell_says) {
    EXPECT_EQ(shell("exit 3"), 3);
    EXPECT_EQ(shell("kill -9 $$"), 128 + 9);
    EXPECT_EQ(run_process({"/nowhere/program"}), 127);
    EXPECT_EQ(run_process({"sh", "-c", "exit 4"}), 4) << "found through PATH";
    EXPECT_TRUE(no_child_is_left());
}

TEST(process, words_arrive_as_they_are) {
    EXPECT_EQ(run_process({"/bin/sh", "-c", "test \"$#|$1|$2\" = '2||a  b'", "name", "", "a  b"}), 0);
}

TEST(process, that_cannot_be_run_is_named_and_leaves_no_zombie) {
    struct row {
        const char *why;
        std::string program;
        int error;
    };
    const temporary_folder folder;
    const std::string of_another_machine = folder.write("arm", "\x7f"
                                                               "ELF\x01\x01\x01");
    chmod(of_another_machine.c_str(), 0755);
    const row rows[] = {
        {"absent", "/nowhere/program", ENOENT},
        {"absent from PATH", "no-such-program", ENOENT},
        {"not executable", "/dev/null", EACCES},
        {"no shell may try it as a script", of_another_machine, ENOEXEC},
    };
    for (const row &r : rows) {
        for (const bool inherits : {false, true}) {
            try {
                start_program({r.program}, {.inherits_descriptors = inherits});
                ADD_FAILURE() << r.why;
            } catch (const std::system_error &e) {
                EXPECT_EQ(e.code().value(), r.error) << r.why;
                EXPECT_TRUE(std::string(e.what()).starts_with(r.program + ": ")) << e.what();
            }
        }
    }
    EXPECT_TRUE(no_child_is_left());
}

TEST(process, the_start_does_not_wait_for_the_end) {
    const pid_t child = start_program({"sleep", "1000"});
    const descriptor end = end_of_process(child);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    kill(child, SIGTERM);
    EXPECT_EQ(wait_for_end(child), 128 + SIGTERM);
    EXPECT_EQ(wait_for_end(child), 127) << "is known no more";
}

TEST(process, descriptors_are_inherited_only_when_wanted) {
    const descriptor open_on_exec(open("/dev/null", O_RDONLY));
    const descriptor closed_on_exec(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const auto is_there = [](const descriptor &one) { return "test -e /proc/$$/fd/" + std::to_string(one.get()); };
    EXPECT_NE(shell(is_there(open_on_exec)), 0);
    EXPECT_EQ(shell(is_there(open_on_exec), {.inherits_descriptors = true}), 0);
    EXPECT_NE(shell(is_there(closed_on_exec), {.inherits_descriptors = true}), 0);
}

TEST(process, streams_are_the_null_device_or_one_of_ours) {
    EXPECT_EQ(output_of("readlink /proc/$$/fd/0 /proc/$$/fd/2", {.streams = {NULL_DEVICE, NULL_DEVICE, NULL_DEVICE}}),
              "/dev/null\n/dev/null\nstatus 0");
    const descriptor zeros(open("/dev/zero", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(output_of("readlink /proc/$$/fd/0", {.streams = {zeros.get(), 1, 2}}), "/dev/zero\nstatus 0");
}

TEST(process, a_group_of_its_own_is_its_own_at_once) {
    const pid_t child = start_process({"sleep", "1000"}, {.group = process_group::own});
    EXPECT_EQ(kill(-child, SIGTERM), 0);
    EXPECT_EQ(wait_for_end(child), 128 + SIGTERM);
}

TEST(process, a_signal_that_is_ignored_here_is_not_there) {
    const auto old_hup = std::signal(SIGHUP, SIG_IGN);
    EXPECT_EQ(shell("kill -HUP $$"), 128 + SIGHUP);
    std::signal(SIGHUP, old_hup);
}

TEST(process, a_stop_key_before_it_runs_does_not_hang_the_start) {
    // Pressed right behind the fork: the child is still in the group of the one that starts it.
    pthread_atfork(nullptr, nullptr, [] {
        for (const int stop : {SIGTSTP, SIGTTIN, SIGTTOU}) {
            raise(stop);
        }
    });
    for (const process_group group : {process_group::ours, process_group::own}) {
        EXPECT_EQ(wait_for_end(start_program({"true"}, {.group = group})), 0);
    }
}

}  // namespace
