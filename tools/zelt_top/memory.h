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

// One value a refresh, the latest at the end; a missing one is "not a number".
using course = std::deque<double>;

class memory {
public:
    // Takes a new reading; now is in seconds and never steps back.
    view::ages note(const view::reading &database, const view::runtime_state &around, double now);

    void note_signals(const view::picture &known);
    const course &course_of(const view::leg &of, view::quantity what) const;

    // More than the columns that any terminal has for it.
    static constexpr std::size_t LONGEST = 400;

private:
    bool started_ = false;
    view::reading last_;
    std::optional<double> written_at_;
    std::optional<double> changed_at_;
    std::optional<double> link_changed_at_;
    std::map<std::string, course> courses_;
};

}  // namespace zelt_top
