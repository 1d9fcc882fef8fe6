#include "sim/inside/inside.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "posix/failure.h"
#include "sim/handover.h"
#include "sim/inside/interfaces.h"
#include "sim/inside/module_check.h"
#include "sim/inside/player.h"
#include "sim/inside/router_files.h"
#include "sim/inside/router_programs.h"
#include "sim/inside/terminal_program.h"
#include "sim/powers.h"
#include "sim/scenario/signal_names.h"
#include "sim/text_file.h"

namespace {

using words = std::vector<std::string>;

std::unique_ptr<terminal_program> make_companion(companion which) {
    if (which == companion::view) {
        return std::make_unique<terminal_program>(words{own_folder() / "zelt-top"}, false);
    }
    if (which == companion::none) {
        return nullptr;
    }
    std::puts("A shell in the box, beside the running daemon. Look around with:  sysdb list CELL   zelt-top\n"
              "ip address show wwan0   cat /run/wwan_ipv4   ls /run /tmp        exit ends the box.");
    std::fflush(stdout);
    words command = shell_in_box();
    command.insert(command.begin() + 1, "PATH=" + own_folder().string() + ":" + std::getenv("PATH"));
    return std::make_unique<terminal_program>(command, isatty(STDIN_FILENO) != 0);
}

// While a program has the terminal, what the box prints is kept, and printed at the end.
class kept_output {
public:
    kept_output() {
        std::fflush(stdout);
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
            dup2(kept_.get(), fd);
        }
    }
    ~kept_output() {
        std::fflush(stdout);
        dup2(stdout_.get(), STDOUT_FILENO);
        dup2(stderr_.get(), STDERR_FILENO);
        std::array<char, 4096> piece{};
        lseek(kept_.get(), 0, SEEK_SET);
        for (ssize_t size = 0; (size = read(kept_.get(), piece.data(), piece.size())) > 0;) {
            std::fwrite(piece.data(), 1, static_cast<std::size_t>(size), stdout);
        }
        std::fflush(stdout);
    }
    kept_output(const kept_output &) = delete;
    kept_output &operator=(const kept_output &) = delete;

private:
    descriptor kept_{memfd_create("journal", MFD_CLOEXEC)};
    descriptor stdout_{fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)};
    descriptor stderr_{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
};

int play_beside(const scenario &story, play_request request) {
    const std::unique_ptr<terminal_program> beside = make_companion(request.beside);
    if (!beside) {
        return play(story, request, nullptr);
    }
    request.level = journal_level::quiet;
    const std::string what = request.beside == companion::view ? "the view" : "the shell";
    int status = 0;
    {
        const kept_output kept;
        status = play(story, request, beside.get());
        beside->end();  // before anything is printed
    }
    if (beside->killed_by() != 0) {
        refuse(what + " was ended by signal " + signal_name(beside->killed_by()));
    }
    return status;
}

void prepare_router() {
    // What the host mounts while the box stands would appear here, and could be written.
    throw_unless(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    join_run_folders();
    make_interfaces();
    make_router_programs();
    prepare_config();
    set_box_environment("");  // the daemon's own: as on the router, without the programs for people
    give_up_powers();
}

}  // namespace

int inside(const words &arguments) try {
    for (const int fd : {BOX_TEXT, BOX_CONTROL, BOX_READY}) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    const play_request request = from_words(arguments);
    const auto text = read_text(BOX_TEXT);
    if (!text || fcntl(BOX_READY, F_GETFD) < 0) {
        return refuse(NOT_FOR_PEOPLE);
    }
    std::signal(SIGPIPE, SIG_IGN);
    prepare_router();
    const scenario story = parse_scenario(*text, request.scenario);
    if (write(BOX_READY, &BOX_STANDS, 1) != 1) {
        return EXIT_NO_BOX;
    }
    if (!request.port.empty()) {
        if (const std::string wrong = why_no_module(MODULE_PORT, request.port); !wrong.empty()) {
            return refuse(wrong);
        }
        touch_file(MODULE_IN_BOX);
    }
    return play_beside(story, request);
} catch (const std::system_error &e) {
    return refuse(std::string("cannot go on in the box: ") + e.what(), EXIT_NO_BOX);
}
