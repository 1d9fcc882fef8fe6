// Everything that one refresh of the view is made of. Knows no meaning; never logs.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "view/port.h"
#include "view/snapshot.h"

namespace view {

// One consistent reading of the database.
struct reading {
    std::string folder;
    std::optional<snapshot> cell;           // nothing: problem is a sentence that says why
    std::vector<std::string> foreign_keys;  // their values are of no type that the database knows
    std::string problem;
    port_report port;                            // as of the same commit
    std::size_t commits = 0;                     // changes with every commit
    std::optional<double> seconds_since_commit;  // nothing: cannot be told
    double taken_at = 0;                         // when it was read, in seconds since 1970
};

// What the run-time files and the running programs tell of the daemon and of the module.
struct runtime_state {
    enum class process { running, no_pid_file, gone };
    process daemon = process::running;
    bool paused = false;
    bool module_present = true;
    std::optional<double> seconds_since_link_change;  // nothing: not recorded
    std::optional<double> seconds_locked = {};        // the port, by whomever; nothing: it is not
    std::string holder = {};  // another program that has the port open, as far as it was looked for
    bool sees_all_programs = false;
    bool module_in_box = false;  // a real one beside the simulated router: its data link is not here
};

// What only somebody who watches can know, in seconds; nothing: not seen yet.
struct ages {
    std::optional<double> written;  // since the last commit
    std::optional<double> changed;  // since a value of the database was last seen to change
    std::optional<double> link;     // since the link went up or down
};

}  // namespace view
