#include "tools/zelt_top/antenna.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

#include "tools/zelt_top/columns.h"
#include "view/words.h"

namespace zelt_top {

namespace {

constexpr std::size_t NARROWEST = 40;  // two panels side by side
constexpr std::size_t ROWS = 5;        // of a large digit
constexpr std::size_t PANEL_ROWS = ROWS + 2;

using glyph = std::array<std::string_view, ROWS>;

// Nothing for what is in no usual number.
const glyph *glyph_of(char sign) {
    static constexpr std::array<std::pair<char, glyph>, 12> GLYPHS{{
        {'0', {"###", "# #", "# #", "# #", "###"}},
        {'1', {"  #", "  #", "  #", "  #", "  #"}},
        {'2', {"###", "  #", "###", "#  ", "###"}},
        {'3', {"###", "  #", "###", "  #", "###"}},
        {'4', {"# #", "# #", "###", "  #", "  #"}},
        {'5', {"###", "#  ", "###", "  #", "###"}},
        {'6', {"###", "#  ", "###", "# #", "###"}},
        {'7', {"###", "  #", "  #", "  #", "  #"}},
        {'8', {"###", "# #", "###", "# #", "###"}},
        {'9', {"###", "# #", "###", "  #", "###"}},
        {'-', {"   ", "   ", "###", "   ", "   "}},
        {'.', {" ", " ", " ", " ", "#"}},
    }};
    const auto *const found = std::ranges::find(GLYPHS, sign, &std::pair<char, glyph>::first);
    return found == GLYPHS.end() ? nullptr : &found->second;
}

// A row of the large digits; empty where one of them has no large form.
std::string large_row(const std::string &number, std::size_t row, const page &on) {
    std::string text;
    for (const char sign : number) {
        const glyph *drawn = glyph_of(sign);
        if (drawn == nullptr) {
            return {};
        }
        for (const char dot : drawn->at(row)) {
            text += dot == '#' && on.utf8 ? "█" : std::string(1, dot);
        }
        text += ' ';
    }
    return text;
}

// The strength first, then the quality: RSRP and SINR, or what the technology has in their place.
std::vector<view::signal_value> aims_of(const view::leg &of) {
    using view::quantity;
    std::vector<view::signal_value> aims;
    std::ranges::copy_if(of.signals, std::back_inserter(aims), [](const view::signal_value &one) {
        return one.what == quantity::rsrp || one.what == quantity::sinr;
    });
    return aims.empty() ? std::vector(of.signals.begin(),
                                      of.signals.begin() + std::min<std::ptrdiff_t>(std::ssize(of.signals), 2))
                        : aims;
}

struct panel {
    std::string leg;  // empty where there is one, as its short form
    std::string short_leg;
    view::signal_value value;
    std::optional<double> best;
    bool is_strength;
};

std::vector<panel> panels_of(const view::picture &known, const best_signals &best) {
    std::vector<panel> panels;
    for (const view::leg &of : known.legs) {
        const bool alone = known.legs.size() == 1;
        bool is_strength = true;
        for (const view::signal_value &one : aims_of(of)) {
            panels.push_back(
                {of.heading, alone ? "" : of.name, one, best.of(of, one.what), std::exchange(is_strength, false)});
        }
    }
    return panels;
}

std::string name_of(const std::string &leg, const panel &one) {
    return leg + (leg.empty() ? "" : " ") + view::scale_of(one.value.what).label;
}

// " (-12)": how much the value of the moment differs from the best.
std::string difference_text(const panel &one) {
    return one.best && one.value.value.known() ? " (" + view::digits(one.value.value.value - *one.best) + ')' : "";
}

std::string best_text(const panel &one) {
    return one.best ? "best " + view::digits(*one.best) + difference_text(one) : "";
}

// The first line names it, the last one has the best.
void add_panel_row(line &to, const panel &one, std::size_t row, const page &on) {
    if (row == 0) {
        to.add(name_of(one.leg, one), style::strong)
            .add(std::string(" ") + view::scale_of(one.value.what).unit, style::dim);
    } else if (row == PANEL_ROWS - 1) {
        to.add(best_text(one));
    } else if (one.value.value.known()) {
        to.add(large_row(view::digits(one.value.value.value), row - 1, on), look_of(one.value));
    } else if (row == 1 + ROWS / 2) {
        to.add(view::word(one.value.value.state), style::dim);
    }
}

// Nothing when one of them is too wide.
std::vector<line> large_panels(const std::vector<panel> &panels, const page &on) {
    const std::size_t abreast = panels.size() > 2 && on.width >= 2 * NARROWEST ? 4 : 2;
    const std::size_t each = on.width / abreast;
    std::vector<line> lines;
    for (std::size_t first = 0; first < panels.size(); first += abreast) {
        for (std::size_t row = 0; row < PANEL_ROWS; ++row) {
            line next;
            for (std::size_t i = first; i < std::min(first + abreast, panels.size()); ++i) {
                next.add_to_column((i - first) * each + 1);
                add_panel_row(next, panels[i], row, on);
                if (next.width() > (i - first + 1) * each) {
                    return {};
                }
            }
            lines.push_back(std::move(next));
        }
    }
    return lines;
}

// " NR leg RSRP -104 dBm  best -92 (-12)"
line plain_row(const panel &one) {
    line row(' ' + name_of(one.leg, one) + ' ');
    if (one.value.value.known()) {
        row.add(view::digits(one.value.value.value) + ' ', look_of(one.value))
            .add(view::scale_of(one.value.what).unit, style::dim);
    } else {
        row.add(view::word(one.value.value.state), style::dim);
    }
    return row.add("  ").add(best_text(one));
}

// " NR RSRP -104 (-12)"
line short_row(const panel &one) {
    line row(' ' + name_of(one.short_leg, one) + ' ');
    return row.add(one.value.value.known() ? view::digits(one.value.value.value) : "-", look_of(one.value))
        .add(difference_text(one));
}

// Where not all of them fit, the strength of each leg comes first.
std::vector<line> plain_panels(std::vector<panel> panels, std::size_t head, const page &on) {
    const std::size_t room = on.height == 0 ? panels.size() : on.height - std::min(on.height, head);
    if (panels.size() > room) {
        // Not the one of std::ranges, which clang 14 cannot compile with the library of g++ 12.
        std::stable_partition(panels.begin(), panels.end(), [](const panel &one) { return one.is_strength; });
    }
    std::vector<line> rows;
    std::ranges::transform(panels, std::back_inserter(rows), plain_row);
    if (std::ranges::any_of(rows, [&on](const line &one) { return one.width() > on.width; })) {
        std::ranges::transform(panels, rows.begin(), short_row);
    }
    const auto strengths = static_cast<std::size_t>(std::ranges::count_if(panels, &panel::is_strength));
    if (rows.size() > room && room > strengths) {
        rows.resize(room);
        rows.back() = more_in("taller", on);
    }
    return rows;
}

}  // namespace

bool best_signals::note(const view::picture &known) {
    bool is_better = false;
    for (const view::leg &of : known.legs) {
        const std::vector<view::signal_value> aims = aims_of(of);
        for (std::size_t i = 0; known.current() && i < aims.size(); ++i) {
            const double value = aims[i].value.value;
            if (!aims[i].value.known()) {
                continue;
            }
            const auto [best, is_first] = best_.try_emplace(course_key(of, aims[i].what), value);
            is_better = is_better || (i == 0 && !is_first && value > best->second);
            best->second = std::max(best->second, value);
        }
    }
    return is_better;
}

std::optional<double> best_signals::of(const view::leg &one, view::quantity what) const {
    const auto found = best_.find(course_key(one, what));
    return found == best_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<line> lay_out_antenna(const view::picture &known, const best_signals &best, const page &on) {
    const auto fits = [&on](const std::string &text) { return columns(text) <= on.width; };
    const std::vector<panel> panels = panels_of(known, best);
    std::vector<line> lines = lay_out_head(known, panels.size(), on);
    std::vector<line> values = on.width >= NARROWEST ? large_panels(panels, on) : std::vector<line>();
    if (values.empty() || (on.height != 0 && lines.size() + values.size() + 1 > on.height)) {
        values = plain_panels(panels, lines.size(), on);
    }
    if (panels.empty()) {
        values.emplace_back(" No signal values yet.", style::dim);
    }
    if (!known.current()) {
        dim(values);
    }
    std::ranges::move(values, std::back_inserter(lines));
    const std::string period = " A new value every 4 to 5 s.";
    const std::string bell = period + " The bell rings for a better " +
                             (panels.empty() ? "one" : view::scale_of(panels.front().value.what).label) + ".";
    const std::array<std::string, 3> forms{bell, period, " New every 4 to 5 s."};
    if (const auto *form = std::ranges::find_if(forms, fits); form != forms.end()) {
        lines.emplace_back(*form, style::dim);
    }
    cut_to(lines, on);
    return lines;
}

}  // namespace zelt_top
