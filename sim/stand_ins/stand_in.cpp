#include "sim/stand_ins/stand_in.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "posix/descriptor.h"

namespace {

namespace fs = std::filesystem;

// How each stand-in ends, a file by its name: exit status, milliseconds until then, and behind the line what it prints.
constexpr const char *ENDINGS = "/run/box/endings";

fs::path ending_of(const fs::path &program) {
    return ENDINGS / program.filename();
}

// As the shell would need it, so that "a b" is told from two arguments.
std::string quoted(const std::string &argument) {
    return argument.empty() || argument.find_first_of(" \t\"") != std::string::npos ? '"' + argument + '"' : argument;
}

std::string call_text(int argc, char **argv) {
    std::string text = quoted(fs::path(argv[0]).filename());
    for (int i = 1; i < argc; ++i) {
        text += " " + quoted(argv[i]);
    }
    return text;
}

bool report(const std::string &text) {
    const std::string call = std::string(CALL_MARK) + text;
    const descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    const auto *to = reinterpret_cast<const sockaddr *>(&address);
    return sendto(log.get(), call.data(), call.size(), 0, to, sizeof address) >= 0;
}

// Waits and prints as the scenario wants; the exit status.
int end_as_told(const fs::path &program) {
    std::ifstream ending(ending_of(program), std::ios::binary);
    int status = 0;
    long milliseconds = 0;
    ending >> status >> milliseconds;
    ending.get();  // the end of the line
    const std::string output(std::istreambuf_iterator<char>(ending), {});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return std::fwrite(output.data(), 1, output.size(), stdout) == output.size() ? status : 1;
}

}  // namespace

void set_ending(const std::string &program, const stand_in_ending &ending) {
    // A call in between finds the old ending or the new one, never half of it.
    const fs::path fresh = fs::path(ENDINGS) / ".new";
    fs::create_directories(ENDINGS);
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    file << ending.status << ' ' << ending.delay.count() << '\n' << ending.output;
    file.close();
    fs::rename(fresh, ending_of(program));
}

bool is_stand_in(const std::string &started_as) {
    return fs::exists(ending_of(started_as));
}

int play_stand_in(int argc, char **argv) {
    const std::string call = call_text(argc, argv);
    if (fs::path(argv[0]).filename() == "ip" && call != "ip route flush cache") {
        execv(REAL_IP, argv);
        return EXIT_FAILURE;
    }
    return report(call) ? end_as_told(argv[0]) : EXIT_FAILURE;
}
