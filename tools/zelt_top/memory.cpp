#include "tools/zelt_top/memory.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zelt_top {

namespace {

std::optional<double> since(const std::optional<double> &then, double now) {
    return then ? std::optional(now - *then) : std::nullopt;
}

bool link_differs(const view::snapshot &before, const view::snapshot &after) {
    const view::maybe<bool> was = view::find_flag(before, "CELL_CONNECTED");
    const view::maybe<bool> is = view::find_flag(after, "CELL_CONNECTED");
    return was.known() && is.known() && was.value != is.value;
}

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();

// The commits of one cycle lie closer together, two cycles 4 s and their exchanges apart.
constexpr double SHORTEST_CYCLE = 3;

// Differs from one cycle of the daemon to the next; without a record of the answers any commit counts.
std::optional<double> mark_of(const view::reading &database) {
    return database.port.knows() ? std::optional<double>(database.port.answered_at)
                                 : static_cast<double>(database.commits);
}

}  // namespace

std::string course_key(const view::leg &of, view::quantity what) {
    return std::string(of.name) + '/' + view::scale_of(what).name;
}

view::ages memory::note(const view::reading &database, const view::runtime_state &around, double now) {
    if (database.cell) {
        if (!started_ || database.commits != last_.commits) {
            // Without a commit of its own to go by, the first reading relies on what the file system recorded.
            written_at_ = started_ ? std::optional(now) : std::nullopt;
            if (!started_ && database.seconds_since_commit) {
                written_at_ = now - *database.seconds_since_commit;
            }
        }
        if (started_ && last_.cell && *last_.cell != *database.cell) {
            changed_at_ = now;
            if (link_differs(*last_.cell, *database.cell)) {
                link_changed_at_ = now;
            }
        }
        last_ = database;
        started_ = true;
    }
    // The daemon's own record is right also for what happened before the view began.
    return {since(written_at_, now), since(changed_at_, now),
            around.seconds_since_link_change ? around.seconds_since_link_change : since(link_changed_at_, now)};
}

void memory::begin_point(double now) {
    const auto append = [](std::deque<double> &to, double value) {
        to.push_back(value);
        if (to.size() > LONGEST) {
            to.pop_front();
        }
    };
    append(begins_, now);
    // All move on by one, so that the same column is the same moment in each.
    for (auto &[key, values] : courses_) {
        append(values, MISSING);
    }
}

void memory::leave_gap(double now) {
    last_look_ = now;
    if (!is_gap_) {
        begin_point(now);
        is_gap_ = true;
    }
}

void memory::note_signals(const view::picture &known, const view::reading &database, double now) {
    if (!known.current()) {  // an old value repeated would look like a steady signal
        leave_gap(now);
        return;
    }
    last_look_ = now;
    const std::optional<double> mark = mark_of(database);
    if (is_gap_ || (mark != last_mark_ && now - begins_.back() >= SHORTEST_CYCLE)) {
        begin_point(now);
        is_gap_ = false;
    }
    last_mark_ = mark;
    for (const view::leg &of : known.legs) {
        for (const view::signal_value &one : of.signals) {
            course &values = courses_[course_key(of, one.what)];
            if (values.empty()) {
                values.push_back(MISSING);
            }
            values.back() = one.value.known() ? one.value.value : MISSING;
        }
    }
}

double memory::seconds_of_last(std::size_t points) const {
    const std::size_t count = std::min(points, begins_.size());
    return count == 0 ? 0 : last_look_ - begins_[begins_.size() - count];
}

const course &memory::course_of(const view::leg &of, view::quantity what) const {
    static const course none;
    const auto found = courses_.find(course_key(of, what));
    return found == courses_.end() ? none : found->second;
}

}  // namespace zelt_top
