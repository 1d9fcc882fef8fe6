#include "sim/handover.h"

#include <cstdio>

#include "sim/scenario/line_text.h"

std::vector<std::string> to_words(const play_request &request) {
    std::vector<std::string> all{request.scenario,
                                 request.port,
                                 request.model,
                                 request.seconds,
                                 request.level,
                                 std::to_string(request.speed),
                                 std::to_string(static_cast<int>(request.beside))};
    all.insert(all.end(), request.command.begin(), request.command.end());
    return all;
}

play_request from_words(const std::vector<std::string> &words) {
    constexpr std::size_t FIELDS = 7;
    const auto speed = words.size() > FIELDS ? to_number<unsigned int>(words[5]) : std::nullopt;
    const auto beside = words.size() > FIELDS ? to_number<int>(words[6]) : std::nullopt;
    if (!speed || *speed == 0 || !beside) {
        throw request_error{"\"inside\" is for zelt-sim itself"};
    }
    return {.scenario = words[0],
            .port = words[1],
            .model = words[2],
            .seconds = words[3],
            .level = words[4],
            .speed = *speed,
            .beside = static_cast<companion>(*beside),
            .command = {words.begin() + FIELDS, words.end()}};
}

int refuse(const std::string &message, int status) {
    std::fprintf(stderr, "zelt-sim: %s\n", message.c_str());
    return status;
}

std::filesystem::path own_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}
