#include "tools/zelt_top/memory.h"

#include <limits>
#include <utility>

namespace zelt_top {

namespace {

std::optional<double> since(const std::optional<double> &then, double now) {
    return then ? std::optional(now - *then) : std::nullopt;
}

const view::any_value *find(const view::snapshot &cell, const std::string &key) {
    const auto found = cell.find(key);
    return found == cell.end() ? nullptr : &found->second;
}

bool link_differs(const view::snapshot &before, const view::snapshot &after) {
    const view::any_value *was = find(before, "CELL_CONNECTED");
    const view::any_value *is = find(after, "CELL_CONNECTED");
    return was != nullptr && is != nullptr && *was != *is;
}

std::string course_key(const view::leg &of, view::quantity what) {
    return std::string(of.name) + '/' + view::scale_of(what).name;
}

}  // namespace

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

void memory::note_signals(const view::picture &known) {
    const double missing = std::numeric_limits<double>::quiet_NaN();
    // All move on by one, so that the same column is the same moment in each.
    for (auto &[key, values] : courses_) {
        values.push_back(missing);
        if (values.size() > LONGEST) {
            values.pop_front();
        }
    }
    for (const view::leg &of : known.legs) {
        for (const view::signal_value &one : of.signals) {
            course &values = courses_[course_key(of, one.what)];
            if (values.empty()) {
                values.push_back(missing);
            }
            // An old value repeated would look like a steady signal.
            if (known.current() && one.value.known()) {
                values.back() = one.value.value;
            }
        }
    }
}

const course &memory::course_of(const view::leg &of, view::quantity what) const {
    static const course none;
    const auto found = courses_.find(course_key(of, what));
    return found == courses_.end() ? none : found->second;
}

}  // namespace zelt_top
