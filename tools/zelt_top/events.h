// Waiting for a key, a signal or the time, whichever comes first. Signals are taken as data: nothing ever runs inside a
// handler, so whatever ends the program, its destructors put the terminal back.
#pragma once

#include "posix/descriptor.h"

namespace zelt_top {

enum class event { time, key, resize, stop, suspend, resume, input_lost };

class events {
public:
    // From now on signals that would end, stop or tell the program come out of wait(). Keys come from standard input.
    explicit events(bool with_keys);

    // Several signals at once are one event: the weightiest.
    event wait(double seconds) const;

private:
    event take_signals() const;

    descriptor signals_;
    bool with_keys_;
};

}  // namespace zelt_top
