// One exchange with the module: a command out, its answer in, under a deadline. The one engine below all AT
// operations. Blocks until the end of the answer, the deadline or stop_libzelt_funcs(). Not for several threads.
//
// Answers carry no number: one that comes too late looks like the answer to the next command. An exchange that ended
// without its final result therefore leaves the port "out of step", for the whole process and also when the device
// is opened again. The next exchange gets in step before it sends its command:
//
//   1. It sends a mark, "at+cmee?", whose answer cannot be confused with another, and drops what comes before it. The
//      module answers in the order of the commands, so nothing old can follow.
//   2. Where that is no proof (the mark was not answered, or its answer may belong to an earlier mark), the exchange
//      goes on "in doubt": only the last answer before a silence counts, and never one that the mark's answer follows.
//   3. The mark's answer in an exchange that believed itself in step shows the error: the exchange fails, and the next
//      one gets in step again. So a wrong belief never lasts.
//
// What another program reads from the port is missing in our answers. So the port is not opened while another one has
// it open, and an exchange during which one opened it has no answer (host/port_watch.h).
#pragma once

#include <chrono>
#include <string_view>

#include "host/at_text.h"

enum class at_ending {
    ok,
    error,            // "ERROR" or one of its families
    port_shared,      // another program opened the port meanwhile: pieces may be missing, so there are no lines
    port_closed,      // bad descriptor, hang-up, end of file, read or write error
    no_final_result,  // the deadline, a stop, or somebody else's answer
};

struct at_answer {
    at_ending ending = at_ending::no_final_result;
    at_lines lines;  // without the echo, the final result included; the first 256 when there are more

    bool is_complete() const { return ending == at_ending::ok || ending == at_ending::error; }
};

struct at_limits {
    using milliseconds = std::chrono::milliseconds;

    // For everything that one exchange does. A healthy module answers these queries in well below 1 s, and the link is
    // not watched meanwhile.
    milliseconds total{5000};
    // From the wanted line to the final result, which follows at once.
    milliseconds after_wanted_line{500};
    // For the mark, inside the total: enough for the rest of a slow answer before it, and it leaves time for the
    // command of a module that ignores the mark.
    milliseconds mark{2000};
    // No byte for so long: the module has nothing more to say. It answers the mark, which asks no network, in less.
    milliseconds silence{300};
};

// wanted_prefix: the answer's only line of interest begins so; empty when all lines are.
at_answer ask_module(int fd, std::string_view command, std::string_view wanted_prefix = "",
                     const at_limits &limits = {});
