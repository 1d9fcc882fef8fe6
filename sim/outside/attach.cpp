#include "sim/outside/attach.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sched.h>
#include <system_error>

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "posix/process.h"
#include "sim/handover.h"
#include "sim/outside/terminal_guard.h"
#include "sim/powers.h"
#include "sim/scenario/line_text.h"
#include "store/value_text.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

struct running_box {
    pid_t pid;  // of its inner half, whose namespaces are the box's
    uid_t user;
    gid_t group;
    std::string folder;  // of its programs
    std::string plays;   // the scenario, or the real module's port
};

words command_line(const fs::path &process) {
    std::ifstream file(process / "cmdline", std::ios::binary);
    words found;
    for (std::string word; std::getline(file, word, '\0');) {
        found.push_back(word);
    }
    return found;
}

// "Uid:	1000	1000 ...": the first is the process's own. Who owns its folder in /proc is root for many.
std::optional<id_t> owner_of(const fs::path &process, const std::string &which) {
    std::ifstream file(process / "status");
    for (std::string word; file >> word;) {
        if (word == which) {
            id_t owner = 0;
            return file >> owner ? std::optional(owner) : std::nullopt;
        }
    }
    return std::nullopt;
}

// A box leaves no record that could outlive it: its inner half is known by its command line.
std::optional<running_box> box_of(const fs::path &process) {
    const auto pid = to_number<pid_t>(process.filename().string());
    const words line = pid ? command_line(process) : words{};
    const auto user = owner_of(process, "Uid:");
    const auto group = owner_of(process, "Gid:");
    if (line.size() < 3 || fs::path(line[0]).filename() != "zelt-sim" || line[1] != INSIDE || !user || !group) {
        return std::nullopt;
    }
    try {
        const play_request request = from_words({line.begin() + 2, line.end()});
        return running_box{*pid, *user, *group, fs::path(line[0]).parent_path(),
                           request.port.empty() ? request.scenario : request.port};
    } catch (const request_error &) {
        return std::nullopt;  // of another version
    }
}

std::vector<running_box> running_boxes() {
    std::vector<running_box> found;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator("/proc", error)) {
        if (auto box = box_of(entry.path())) {
            found.push_back(*std::move(box));
        }
    }
    return found;
}

running_box choose(int wanted) {
    std::string others;
    std::vector<running_box> own;
    for (const running_box &box : running_boxes()) {
        if (wanted != 0 ? box.pid == wanted : box.user == geteuid()) {
            own.push_back(box);
        } else {
            others += "\n  " + std::to_string(box.pid) + "  " + escaped(box.plays) +
                      (box.user == geteuid() ? "" : "  (of user " + std::to_string(box.user) + ")");
        }
    }
    if (own.size() == 1) {
        return own[0];
    }
    if (own.empty()) {
        throw request_error{(wanted != 0
                                 ? "no box has the process number " + std::to_string(wanted)
                                 : "no box of yours runs; start one with ./run, zelt-sim run or zelt-sim module") +
                            (others.empty() ? "" : "\nThese run:" + others)};
    }
    std::string all;
    for (const running_box &box : own) {
        all += "\n  --box " + std::to_string(box.pid) + "  " + escaped(box.plays);
    }
    throw request_error{"several boxes run; say which one:" + all};
}

// Joining keeps the user: root would run what the box's owner has put there.
bool become_user(const running_box &box) {
    return box.user == geteuid() || (setgroups(0, nullptr) == 0 && setresgid(box.group, box.group, box.group) == 0 &&
                                     setresuid(box.user, box.user, box.user) == 0);
}

// All at once: the box's other namespaces belong to its user namespace.
bool enter(const descriptor &box) {
    return setns(box.get(), CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWIPC | CLONE_NEWUTS) ==
               0 &&
           chdir("/") == 0;
}

[[noreturn]] void become(const words &command, pid_t parent) try {
    prctl(PR_SET_PDEATHSIG, SIGHUP);
    if (getppid() != 0 && getppid() != parent) {
        _exit(EXIT_NO_BOX);
    }
    give_up_powers();
    for (const int number : {SIGINT, SIGQUIT, SIGTSTP, SIGTTOU, SIGPIPE}) {
        std::signal(number, SIG_DFL);
    }
    execvp(command[0].c_str(), argument_vector(command).data());
    const std::string text = command[0] + ": " + std::strerror(errno);
    _exit(refuse(text, errno == ENOENT ? 127 : 126));
} catch (const std::system_error &e) {
    _exit(refuse(std::string("cannot join the box: ") + e.what(), EXIT_NO_BOX));
}

// A stopped command stops this program too, behind it, so that the user's shell takes the terminal back. By SIGTSTP:
// without a shell that could let it go on, it does not stop at all.
void stop_with_command(pid_t pid) {
    std::signal(SIGTSTP, SIG_DFL);
    raise(SIGTSTP);
    std::signal(SIGTSTP, SIG_IGN);
    if (const pid_t group = getpgid(pid); group > 0 && group != getpgrp()) {
        tcsetpgrp(STDIN_FILENO, group);  // a shell leads the terminal
    }
    kill(pid, SIGCONT);
}

int wait_for_command(pid_t pid, const descriptor &box) {
    int status = 0;
    while (waitpid(pid, &status, WUNTRACED) == pid && WIFSTOPPED(status)) {
        stop_with_command(pid);
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    pollfd end{box.get(), POLLIN, 0};
    constexpr int MOMENT = 500;  // the box takes the command with it before it is gone itself
    if (WTERMSIG(status) == SIGKILL && poll(&end, 1, MOMENT) > 0) {
        return refuse("the box has ended, and the command with it", EXIT_NO_BOX);
    }
    return 128 + WTERMSIG(status);
}

// Enters the box with this process: it is of no other use then.
int run_inside(const running_box &chosen, const words &command) {
    const terminal_guard terminal;
    const descriptor box = end_of_process(chosen.pid);
    if (!box.is_open() || !become_user(chosen) || !enter(box)) {
        return refuse("cannot join the box " + std::to_string(chosen.pid) + ": " + std::strerror(errno) +
                          (chosen.user == geteuid() ? "" : "; it belongs to another user, try sudo"),
                      EXIT_NO_BOX);
    }
    set_box_environment(chosen.folder);
    for (const int number : {SIGINT, SIGQUIT, SIGTSTP, SIGTTOU}) {
        std::signal(number, SIG_IGN);  // the terminal's keys are for the command
    }
    const pid_t self = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        return refuse("no new process can be made in the box; it may be about to end", EXIT_NO_BOX);
    }
    if (pid == 0) {
        become(command, self);
    }
    return wait_for_command(pid, box);
}

}  // namespace

void attach_to_box(int wanted, const words &command) {
    const int status = run_inside(choose(wanted), command.empty() ? shell_in_box() : command);
    // Nothing that wants a thread, as the search of a sanitizer for leaks does: this process can make none any more.
    _exit(status);
}
