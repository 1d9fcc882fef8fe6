// The simulated cell module: bytes in, bytes out, by a table of answers. Knows no port and no clock of its own; silent.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/scenario/router.h"

class simulated_module {
public:
    using clock = std::chrono::steady_clock;

    void set_answer(const module_answer &answer);
    void set_silence(const std::string &command);
    void set_echo(bool on) { echo_ = on; }

    // Takes bytes from the port. Returns the commands that they complete; each is answered when its turn comes.
    std::vector<std::string> receive(std::string_view bytes);

    // When the module has something to say; nothing while it has not.
    std::optional<clock::time_point> next_time(clock::time_point now);

    // What the module says by `now`: one piece, empty when nothing is due. Call until it is empty.
    std::string next_output(clock::time_point now);

    // As without power: commands and half an answer are lost.
    void forget();

private:
    struct reply {
        std::string bytes;
        std::size_t torn;
        clock::time_point due;
    };
    void begin_reply(clock::time_point now);

    std::map<std::string, module_answer> answers_;  // by command in lower case; silent ones have no bytes
    bool echo_ = true;
    std::string partial_;              // of the command that is being received
    std::deque<std::string> waiting_;  // commands in order
    std::string echoed_;               // not yet said
    std::optional<reply> current_;
};
