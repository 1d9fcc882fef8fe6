#include "sim/outside/box.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "posix/process.h"
#include "sim/scenario/signal_names.h"

namespace {

// Folders of the host that the box replaces by its own.
bool is_hidden(std::string_view path) {
    return path.starts_with("/tmp/") || path.starts_with("/run/") || path.starts_with("/dev/");
}

constexpr const char *FOLDER_SIZE = "268435456";  // bytes: they are the host's memory

descriptor text_descriptor(const std::string &text) {
    descriptor file(memfd_create("scenario", MFD_CLOEXEC));
    if (file.is_open() && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
        lseek(file.get(), 0, SEEK_SET);
    }
    return file;
}

// The signals that a terminal sends to every program in the foreground reach this process alone: it tells the box. With
// SIGTSTP, the stop key.
sigset_t stop_signals() {
    sigset_t signals{};
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Back when the user's shell lets it go on. By SIGTSTP: without a shell that could, it does not stop at all.
void stop_for_a_while() {
    sigset_t key{};
    sigemptyset(&key);
    sigaddset(&key, SIGTSTP);
    raise(SIGTSTP);
    sigprocmask(SIG_UNBLOCK, &key, nullptr);
    sigprocmask(SIG_BLOCK, &key, nullptr);
}

[[noreturn]] void become(const std::string &program, const box_request &request, int text, int control, int ready) {
    // Out of the way first: one of them may sit on the number that another is to get.
    constexpr int FREE = 10;
    const int moved[] = {fcntl(text, F_DUPFD, FREE), fcntl(control, F_DUPFD, FREE), fcntl(ready, F_DUPFD, FREE)};
    dup2(moved[0], BOX_TEXT);
    dup2(moved[1], BOX_CONTROL);
    dup2(moved[2], BOX_READY);
    // What our parent has left open is a way out of the box.
    if (!request.uses_terminal) {
        dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    }
    closefrom(BOX_READY + 1);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
        std::signal(number, SIG_IGN);
    }
    const sigset_t signals = stop_signals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    const std::vector<std::string> command = box_command(request);
    execv(program.c_str(), argument_vector(command).data());
    _exit(EXIT_NO_BOX);
}

constexpr int BY_SIGNAL = 128;  // as bubblewrap tells of the inner half, which itself never ends so

// What the box tells; false when it tells nothing any more. It stops before this process does: its programs leave the
// terminal in order, and nobody else can.
bool hear(int ready, const descriptor &control, bool &stands) {
    char byte = 0;
    if (read(ready, &byte, 1) != 1) {
        return false;
    }
    stands = stands || byte == BOX_STANDS;
    if (byte == BOX_HAS_STOPPED) {
        stop_for_a_while();
        static_cast<void>(!write(control.get(), &GO_ON, 1));
    }
    return true;
}

// Waits for the end of the box. The first stop signal asks it to end, a second one ends it at once.
int wait_for_box(pid_t pid, descriptor control, descriptor ready, bool &stands) {
    const sigset_t signals = stop_signals();
    const descriptor signal_source(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    const descriptor end = end_of_process(pid);
    std::chrono::steady_clock::time_point asked;
    for (;;) {
        pollfd watched[] = {{end.get(), POLLIN, 0}, {signal_source.get(), POLLIN, 0}, {ready.get(), POLLIN, 0}};
        poll(watched, 3, -1);
        if (watched[2].revents != 0 && !hear(ready.get(), control, stands)) {
            ready.close();
        }
        if (watched[0].revents != 0) {
            int status = 0;
            waitpid(pid, &status, 0);
            return WIFEXITED(status) ? WEXITSTATUS(status) : BY_SIGNAL + WTERMSIG(status);
        }
        signalfd_siginfo received{};
        if (watched[1].revents == 0 || read(signal_source.get(), &received, sizeof received) < 0) {
            continue;
        }
        if (received.ssi_signo == SIGTSTP) {
            static_cast<void>(!write(control.get(), &STOP_FOR_A_WHILE, 1));
            continue;
        }
        // Some senders signal a process and then its group: that is one request.
        const auto now = std::chrono::steady_clock::now();
        if (control.is_open()) {
            control.close();
            asked = now;
        } else if (now - asked > std::chrono::milliseconds(500)) {
            kill(pid, SIGKILL);
        }
    }
}

}  // namespace

std::vector<std::string> box_command(const box_request &request) {
    // clang-format off
    std::vector<std::string> command = {
        "bwrap", "--unshare-user", "--uid", "0", "--gid", "0",
        // To mount what bubblewrap cannot, and to give these powers up again (sim/powers).
        "--cap-drop", "ALL", "--cap-add", "CAP_SYS_ADMIN", "--cap-add", "CAP_NET_ADMIN",
        "--unshare-net", "--unshare-pid", "--unshare-ipc", "--unshare-uts", "--die-with-parent",
        "--ro-bind", "/", "/", "--dev", "/dev",
        // Root of the host is root here too, and owns the kernel's settings: none but the own network's can be written.
        "--proc", "/proc", "--bind", "/proc/sys/net", "/proc/sys/net", "--remount-ro", "/proc",
        "--size", FOLDER_SIZE, "--tmpfs", "/tmp", "--size", FOLDER_SIZE, "--tmpfs", "/run", "--chdir", "/"};
    // clang-format on
    if (!request.uses_terminal) {
        command.emplace_back("--new-session");
    }
    for (const std::string &path : request.visible) {
        if (is_hidden(path)) {
            command.insert(command.end(), {"--ro-bind", path, path});
        }
    }
    for (const box_device &device : request.devices) {
        command.insert(command.end(), {"--dev-bind", device.host_name, device.name});
    }
    command.emplace_back("--");
    command.insert(command.end(), request.command.begin(), request.command.end());
    return command;
}

int run_in_box(const box_request &request, const std::string &text) {
    const auto bwrap = find_program("bwrap");
    if (!bwrap) {
        return refuse("bwrap is missing; install it with: sudo apt-get install bubblewrap", EXIT_NO_BOX);
    }
    const descriptor text_file = text_descriptor(text);
    pipe_ends control;
    pipe_ends ready;
    const sigset_t signals = stop_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        return refuse("no new process can be made; end some programs and try again", EXIT_NO_BOX);
    }
    if (pid == 0) {
        become(*bwrap, request, text_file.get(), control.read_end.get(), ready.write_end.get());
    }
    ready.write_end.close();
    control.read_end.close();
    bool stands = false;
    const int status = wait_for_box(pid, std::move(control.write_end), std::move(ready.read_end), stands);
    if (stands) {
        return status <= BY_SIGNAL ? status
                                   : refuse("the box was ended by signal " + signal_name(status - BY_SIGNAL), 1);
    }
    return refuse(
        "the box could not be made (bwrap's own message stands above, if there is one). The kernel may forbid\n"
        "user namespaces: /proc/sys/kernel/unprivileged_userns_clone must be 1 where it exists,\n"
        "/proc/sys/kernel/apparmor_restrict_unprivileged_userns 0, and /proc/sys/user/max_user_namespaces\n"
        "not 0. Inside a container, the container must be allowed to make them.",
        EXIT_NO_BOX);
}
