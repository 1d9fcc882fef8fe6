// What the view remembers from refresh to refresh: when something changed, and the course of the signal values.
// Knows no clock (the caller brings the time), no file and no terminal; never logs.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>

#include "view/observation.h"
#include "view/picture.h"

namespace zelt_top {

// One value a cycle of the daemon, the latest at the end; a missing one is "not a number".
using course = std::deque<double>;

// The same for a leg and a quantity whenever they are there.
std::string course_key(const view::leg &of, view::quantity what);

class memory {
public:
    // Takes a new reading; now is in seconds and never steps back.
    view::ages note(const view::reading &database, const view::runtime_state &around, double now);

    // The same reading as a picture. Begins a new point when the module answered again; until then, and for the further
    // commits of the same cycle, the last point follows the values.
    void note_signals(const view::picture &known, const view::reading &database, double now);
    void leave_gap(double now);  // nobody looked for a while, or there was nothing to see: one missing value
    const course &course_of(const view::leg &of, view::quantity what) const;
    double seconds_of_last(std::size_t points) const;  // from the oldest of them until the last look

    // More than the columns that any terminal has for it.
    static constexpr std::size_t LONGEST = 400;

private:
    bool started_ = false;
    view::reading last_;
    std::optional<double> written_at_;
    std::optional<double> changed_at_;
    std::optional<double> link_changed_at_;
    void begin_point(double now);

    std::map<std::string, course> courses_;  // as long as the points or shorter, with the same end
    std::deque<double> begins_;              // of the points
    double last_look_ = 0;
    bool is_gap_ = true;               // the last point, and where there is none yet
    std::optional<double> last_mark_;  // what told one cycle from the next
};

}  // namespace zelt_top
