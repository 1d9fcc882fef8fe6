// A stand-in for one of the router's commands, as a process of its own: it tells the box how it was called, and then
// ends as it was told; without a word of it, at once and with success. zelt-sim plays them all, by the name under which
// it is started. The call goes through the system log's socket, so that calls and log lines keep their order.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

// A datagram that begins so is no log line: a stand-in tells how it was called.
inline constexpr std::string_view CALL_MARK = "\001call ";

// The interfaces' tool: but for the route cache, the stand-in of `ip` hands its call on to the real one.
inline constexpr const char *REAL_IP = "/run/box/ip";

struct stand_in_ending {
    int status = 0;
    std::chrono::milliseconds delay{0};  // between the call and everything else
    std::string output{};
};

// From now on the stand-in of this name ends so. Throws std::system_error.
void set_ending(const std::string &program, const stand_in_ending &ending);

// True when this process was started as a stand-in: it must only play it and end with its exit status.
bool is_stand_in(const std::string &started_as);
int play_stand_in(int argc, char **argv);
