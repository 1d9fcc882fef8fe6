#include "sim/handover.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "sim/scenario/line_text.h"
#include "store/value_text.h"

namespace {

unsigned int number(const std::string &word) {
    const auto found = to_number<unsigned int>(word);
    return found ? *found : throw request_error{NOT_FOR_PEOPLE};
}

}  // namespace

std::vector<std::string> to_words(const play_request &request) {
    std::vector<std::string> all{request.scenario,
                                 request.port,
                                 request.model,
                                 std::to_string(request.seconds),
                                 std::to_string(static_cast<int>(request.level)),
                                 std::to_string(request.speed),
                                 std::to_string(static_cast<int>(request.beside))};
    all.insert(all.end(), request.command.begin(), request.command.end());
    return all;
}

play_request from_words(const std::vector<std::string> &words) {
    constexpr std::size_t FIELDS = 7;
    if (words.size() <= FIELDS) {
        throw request_error{NOT_FOR_PEOPLE};
    }
    return {.scenario = words[0],
            .port = words[1],
            .model = words[2],
            .seconds = number(words[3]),
            .level = static_cast<journal_level>(number(words[4])),
            .speed = number(words[5]),
            .beside = static_cast<companion>(number(words[6])),
            .command = {words.begin() + FIELDS, words.end()}};
}

void set_box_environment(const std::string &folder) {
    unsetenv("SYSDB_DIR");
    setenv("ZELT_CONFIG", BOX_CONFIG, 1);
    setenv("PATH", ((folder.empty() ? "" : folder + ":") + "/usr/sbin:/usr/bin:/sbin:/bin").c_str(), 1);
}

std::vector<std::string> shell_in_box() {
    std::vector<std::string> command{"/usr/bin/env", "PS1=box:\\w# ", "HISTFILE="};
    // Without the user's own settings: they belong to a system that can be written.
    access("/bin/bash", X_OK) == 0 ? command.insert(command.end(), {"/bin/bash", "--norc"})
                                   : command.insert(command.end(), "/bin/sh");
    return command;
}

int refuse(const std::string &message, int status) {
    std::fprintf(stderr, "zelt-sim: %s\n", shown(message).c_str());
    return status;
}

std::filesystem::path own_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}
