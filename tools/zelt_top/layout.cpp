#include "tools/zelt_top/layout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>

#include "tools/zelt_top/columns.h"
#include "view/duration.h"
#include "view/words.h"

namespace zelt_top {

namespace {

constexpr std::size_t LABEL = 9;       // " Carrier" and a blank
constexpr std::size_t VALUE = 13;      // "not reported" and a blank
constexpr std::size_t WORD = 4;        // "good", "fair", "weak", "bad"
constexpr std::size_t GAP = 3;         // between facts of a line
constexpr std::size_t NARROWEST = 56;  // two legs side by side, each with a bar of a few cells
constexpr std::size_t LOWEST = 12;     // title, state, three lines of facts, the signals, two more
constexpr std::size_t SMALL_NAME = 6;  // "Ec/Io" and a blank

std::string shown(const std::string &text, const page &on) {
    return on.utf8 ? text : ascii_only(text);
}

// Facts one after the other; a new line where the next one does not fit.
class flow {
public:
    flow(const char *label, std::size_t width) : width_(width) {
        lines_.emplace_back();
        lines_.back().add(" " + std::string(label), style::dim).add_to_column(LABEL);
    }
    void add(const std::string &label, const std::string &what, style look = style::plain) {
        const std::size_t length = columns(label) + (label.empty() ? 0 : 1) + columns(what);
        if (!fresh_ && lines_.back().width() + GAP + length > width_) {
            lines_.emplace_back();
            lines_.back().add_to_column(LABEL);
            fresh_ = true;
        }
        if (!fresh_) {
            lines_.back().add(std::string(GAP, ' '));
        }
        fresh_ = false;
        if (!label.empty()) {
            lines_.back().add(label + " ", style::dim);
        }
        lines_.back().add(what, look);
    }
    std::vector<line> take() { return std::move(lines_); }

private:
    std::size_t width_;
    bool fresh_ = true;
    std::vector<line> lines_;
};

std::string title_text(const view::picture &known, const page &on) {
    if (known.state == view::condition::no_database) {
        return "zelt-top";
    }
    std::string title = known.technology.empty() ? "Technology unknown" : known.technology;
    if (known.carrier_name.known()) {
        title += "   " + known.carrier_name.value;
    }
    return shown(title, on);
}

// The longest that leaves half of the line to the title; empty when there is none.
std::string keys_text(const page &on) {
    using forms = std::array<const char *, 2>;
    constexpr forms USUAL{"a antenna  h help  p pause  q quit ", "h help  q quit "};
    constexpr forms PAUSED{"paused: p goes on  q quit ", "paused: p "};
    constexpr forms ANTENNA{"a back  p pause  q quit ", "a back  q quit "};
    for (std::string keys : on.paused ? PAUSED : on.antenna ? ANTENNA : USUAL) {
        if (on.keys && columns(keys) * 2 <= on.width) {
            return keys;
        }
    }
    return {};
}

// Says so where it is cut.
std::string shortened(const std::string &text, std::size_t width) {
    return columns(text) <= width || width < 4 ? fit(text, width) : fit(text, width - 3) + "...";
}

line title_line(const view::picture &known, const page &on) {
    constexpr std::size_t APART = 2;
    const std::string keys = keys_text(on);
    const std::size_t room = on.width - std::min(on.width, columns(keys));
    const std::string title = " " + shortened(title_text(known, on), room - std::min(room, 1 + APART));
    line result;
    if (!on.keys) {
        return result.add(title, style::strong);
    }
    return result.add(pad_right(title, room), style::title).add(keys, style::title);
}

// The sentence itself says how old all is.
bool says_its_age(view::condition state) {
    using view::condition;
    return state == condition::no_database || state == condition::stale || state == condition::hung_up ||
           state == condition::no_port || state == condition::no_answer;
}

std::string state_text(const view::picture &known, const page &on) {
    std::string sentence = known.sentence;
    if (known.updated && !says_its_age(known.state)) {
        sentence += " Updated " + view::duration(*known.updated) + " ago.";
    }
    return shown(sentence, on);
}

// What may cost money is to be seen.
style look_of_state(const view::picture &known) {
    return !known.current() || known.roaming.value ? style::warning : style::plain;
}

// All of the state where that takes no line from the `below` ones, else what fits into one.
std::vector<std::string> state_texts(const view::picture &known, std::size_t width, std::size_t below, const page &on) {
    std::vector<std::string> all = wrap(state_text(known, on), width);
    const bool fits = on.height == 0 || 1 + all.size() + below <= on.height;
    if (known.state == view::condition::no_database || all.size() == 1 || fits) {
        return all;
    }
    return {known.current() ? shown(known.sentence, on) : view::name_of(known.state)};
}

// Without the blanks at both sides of a page.
std::size_t inner_width(const page &on) {
    return on.width - std::min<std::size_t>(on.width, 2);
}

void add_facts(flow &to, const std::vector<view::fact> &facts, const page &on) {
    for (const view::fact &one : facts) {
        to.add(one.label, shown(words(one), on), one.known() ? style::plain : style::dim);
    }
}

std::vector<line> fact_lines(const view::picture &known, const page &on) {
    flow cell("Cell", on.width);
    const bool network_known = known.mcc.known() || known.mnc.known();
    cell.add("network",
             network_known ? shown(words(known.mcc) + "-" + words(known.mnc), on) : view::word(known.mcc.state),
             network_known ? style::plain : style::dim);
    add_facts(cell, known.cell, on);
    if (known.lte_station) {
        cell.add("eNodeB", words(*known.lte_station));
    }

    flow radio("Radio", on.width);
    add_facts(radio, known.radio, on);
    for (const view::leg &of : known.legs) {
        if (std::ranges::any_of(of.signals, &view::signal_value::derived)) {
            radio.add("RSCP", "from SQI", style::dim);
        }
    }

    flow link("Link", on.width);
    const char *state = known.link_up.value ? "up" : "down";
    const style look = known.link_up.value ? style::good : style::bad;
    link.add("",
             known.link_up.known() ? state
             : known.link_watched  ? "unknown"
                                   : "not watched in the box",
             known.link_up.known() ? look : style::dim);
    if (known.address.known()) {
        link.add("address", shown(known.address.value, on));
    }
    if (known.link_up.known() && known.age.link) {
        link.add("for", view::duration(*known.age.link));
    }

    flow owner("SIM", on.width);
    if (known.owner) {
        owner.add("IMSI", shown(words(known.owner->imsi), on));
        owner.add("number", shown(words(known.owner->directory_number), on));
        owner.add("ICCID", shown(words(known.owner->iccid), on));
    }

    std::vector<line> lines;
    for (flow *part : {&cell, &radio, &link, &owner}) {
        if ((part != &radio || !known.radio.empty()) && (part != &owner || known.owner)) {
            std::ranges::move(part->take(), std::back_inserter(lines));
        }
    }
    return lines;
}

// Eight steps a cell where the terminal has the characters, else whole cells.
void add_bar(line &to, const view::signal_value &one, std::size_t cells, const page &on) {
    constexpr std::array<const char *, 8> EIGHTHS{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const double share = view::fill(one.what, one.value.value);
    const auto steps = static_cast<std::size_t>(std::lround(share * static_cast<double>(cells * 8)));
    const std::size_t full = on.utf8 ? steps / 8 : (steps + 4) / 8;
    std::string filled;
    for (std::size_t i = 0; i < full; ++i) {
        filled += on.utf8 ? "█" : "#";
    }
    if (on.utf8 && steps % 8 != 0) {
        filled += EIGHTHS.at(steps % 8);
    }
    std::string rest;
    for (std::size_t i = columns(filled); i < cells; ++i) {
        rest += on.utf8 ? "·" : ".";
    }
    to.add(filled, look_of(one)).add(rest, style::dim);
}

struct range {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    bool is_empty() const { return low > high; }
};

range range_of_last(const course &values, std::size_t count) {
    range seen;
    for (std::size_t i = values.size() - std::min(count, values.size()); i < values.size(); ++i) {
        if (!std::isnan(values.at(i))) {
            seen.low = std::min(seen.low, values.at(i));
            seen.high = std::max(seen.high, values.at(i));
        }
    }
    return seen;
}

// The last values as a line. Its range is what was seen, but never so small that a mere decibel looks like a fall.
std::string sparkline(const course &values, view::quantity what, std::size_t cells, const page &on) {
    constexpr std::array<const char *, 8> BLOCKS{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array<const char *, 8> SIGNS{"_", ".", "-", "~", "=", "+", "*", "#"};
    const std::size_t count = std::min(cells, values.size());
    const range seen = range_of_last(values, count);
    const double least = (view::scale_of(what).full - view::scale_of(what).empty) / 4;
    const double middle = (seen.low + seen.high) / 2;
    const double height = std::max(seen.high - seen.low, least);
    std::string result(cells - count, ' ');
    for (std::size_t i = values.size() - count; i < values.size(); ++i) {
        const double share = (values.at(i) - middle) / height + 0.5;
        const auto step = static_cast<std::size_t>(std::isnan(share) ? 0 : std::clamp(share * 8, 0.0, 7.0));
        result += std::isnan(share) ? " " : (on.utf8 ? BLOCKS : SIGNS).at(step);
    }
    return result;
}

// Of a meter in this width; 0: there is no room for one, or nothing to show.
std::size_t sparkline_cells(std::size_t width, const page &on) {
    const std::size_t rest = width - std::min(width, VALUE + 1 + WORD);
    return on.history && rest > 6 ? std::min((rest - 2) / 2, memory::LONGEST) : 0;
}

// No wider than two columns: "<=-120" fills the column of the numbers.
std::string limit_sign(view::bound limit, const page &on) {
    return limit == view::bound::none      ? ""
           : limit == view::bound::at_most ? (on.utf8 ? "≤ " : "<=")
           : on.utf8                       ? "≥ "
                                           : ">=";
}

// "   -95 dBm   ######......  fair  ..--==" in exactly the width; a value that is missing says so instead.
void add_meter(line &to, const view::signal_value &one, const course &past, std::size_t width, const page &on) {
    const std::size_t begin = to.width();
    const std::size_t rest = width - std::min(width, VALUE + 1 + WORD);
    const std::size_t spark = sparkline_cells(width, on);
    const std::size_t bar = std::min<std::size_t>(spark == 0 ? rest : rest - spark - 2, 60);
    if (!one.value.known()) {
        to.add(view::word(one.value.state), style::dim);
        to.add_to_column(begin + VALUE + bar + 1 + WORD);
    } else {
        to.add(pad_left(limit_sign(one.limit, on) + view::digits(one.value.value), 6) + " ", style::strong);
        to.add(view::scale_of(one.what).unit, style::dim).add_to_column(begin + VALUE);
        add_bar(to, one, bar, on);
        to.add(" ").add(pad_right(view::rating_word(one), WORD), look_of(one));
    }
    if (spark != 0) {
        to.add("  ").add(sparkline(past, one.what, spark, on), style::dim);
    }
    to.add_to_column(begin + width);
}

// Nothing where this form of the bands is too long for one of the legs.
std::optional<line> leg_heads(const view::picture &known, std::size_t each, view::band_form form, const page &on) {
    line heads;
    heads.add_to_column(LABEL);
    for (const view::leg &of : known.legs) {
        const std::size_t begin = heads.width();
        heads.add(of.heading, style::strong);
        for (const view::fact &one : of.facts) {
            heads.add("  " + std::string(one.label) + " ", style::dim);
            heads.add(one.known() ? shown(words(one, form), on) : "-");
        }
        const bool last = &of == &known.legs.back();
        if (form != view::band_form::bare && heads.width() > (last ? on.width : begin + each)) {
            return std::nullopt;
        }
        heads.add_to_column(begin + each + 1);
    }
    return heads;
}

line leg_heads(const view::picture &known, std::size_t each, const page &on) {
    for (const view::band_form form : {view::band_form::full, view::band_form::frequency}) {
        if (std::optional<line> heads = leg_heads(known, each, form, on)) {
            return *std::move(heads);
        }
    }
    return *leg_heads(known, each, view::band_form::bare, on);
}

std::size_t width_of_leg(const view::picture &known, const page &on) {
    return (on.width - LABEL) / known.legs.size() - 1;
}

// "last 5 min 20 s: RSRP -103 to -91   RSRQ ...": the scale of the sparklines above, as far as it fits.
std::string scale_text(const view::leg &of, const memory &past, std::size_t width, const page &on) {
    const std::size_t cells = sparkline_cells(width, on);
    const std::size_t points = std::min(cells, past.course_of(of, of.signals.front().what).size());
    std::string text = "last " + view::duration(past.seconds_of_last(points)) + ":";
    const std::size_t bare = text.size();
    for (const view::signal_value &one : of.signals) {
        const range seen = range_of_last(past.course_of(of, one.what), cells);
        const std::string next = (text.size() == bare ? " " : "   ") + std::string(view::scale_of(one.what).label) +
                                 ' ' + view::digits(seen.low) + " to " + view::digits(seen.high);
        if (!seen.is_empty() && text.size() + next.size() <= width) {
            text += next;
        }
    }
    return points < 2 || text.size() == bare ? "" : text;
}

std::optional<line> scale_line(const view::picture &known, const memory &past, const page &on) {
    const std::size_t each = width_of_leg(known, on);
    line scales;
    for (std::size_t i = 0; i < known.legs.size(); ++i) {
        if (!known.legs[i].signals.empty()) {
            const std::string text = scale_text(known.legs[i], past, each, on);
            scales.add_to_column(LABEL + i * (each + 1)).add(text, style::dim);
        }
    }
    return scales.plain_text().empty() ? std::nullopt : std::optional(scales);
}

std::vector<line> signal_lines(const view::picture &known, const memory &past, const page &on) {
    const std::size_t each = width_of_leg(known, on);
    std::vector<line> lines;
    if (known.legs.size() > 1) {
        lines.push_back(leg_heads(known, each, on));
    }
    // The first leg has every quantity that another one has.
    for (const view::signal_value &row : known.legs.front().signals) {
        line next;
        next.add(" " + std::string(view::scale_of(row.what).label)).add_to_column(LABEL);
        std::size_t begin = LABEL;
        for (const view::leg &of : known.legs) {
            next.add_to_column(begin);
            if (const view::signal_value *found = of.find(row.what)) {
                add_meter(next, *found, past.course_of(of, row.what), each, on);
            }
            begin += each + 1;
        }
        lines.push_back(std::move(next));
    }
    if (lines.empty()) {
        lines.emplace_back(" No signal values yet.", style::dim);
    }
    return lines;
}

// A column of the carriers' table; a missing value is a dash there: the words would tear the columns.
std::string cell_text(const view::number &stored) {
    const std::string written = view::digits(stored.value);
    return stored.told() && written.size() <= 10 ? written : "-";
}

std::string cell_text(const view::phrase &stored) {
    return stored.known() ? stored.value : "-";
}

// In the order of the columns.
std::vector<std::string> cell_texts(const view::carrier &of) {
    std::vector<std::string> texts;
    for (const view::fact &one : of.facts) {
        texts.push_back(std::visit([](const auto &stored) { return cell_text(stored); }, one.value));
    }
    for (const view::signal_value &one : of.signals) {
        texts.push_back(cell_text(one.value));
    }
    return texts;
}

void add_carrier_bar(line &row, const view::signal_value &rsrp, std::size_t cells, const page &on) {
    row.add("  ");
    if (rsrp.value.known()) {
        add_bar(row, rsrp, cells, on);
        row.add(" ");
    }
    row.add(view::rating_word(rsrp), look_of(rsrp));
}

std::vector<line> carrier_lines(const view::picture &known, const page &on) {
    if (known.carriers.empty()) {
        return {};
    }
    struct column {
        const char *head;
        std::size_t width;
    };
    constexpr std::array<column, 7> COLUMNS{
        {{"Band", 5}, {"Channel", 9}, {"MHz", 6}, {"RSRP", 7}, {"RSRQ", 7}, {"SINR", 7}, {"RSSI", 7}}};
    std::vector<line> lines(1);
    lines.front().add(" Carrier", style::dim).add_to_column(LABEL);
    for (const column &each : COLUMNS) {
        lines.front().add(pad_left(each.head, each.width), style::dim);
    }
    const std::size_t table = lines.front().width();
    const std::size_t bar =
        on.width < table + 3 + WORD + 5 ? 0 : std::min<std::size_t>(on.width - table - 4 - WORD, 40);
    for (const view::carrier &one : known.carriers) {
        line row;
        row.add(" " + one.name).add_to_column(LABEL);
        const std::vector<std::string> texts = cell_texts(one);
        for (std::size_t i = 0; i < COLUMNS.size(); ++i) {
            row.add(pad_left(shown(texts.at(i), on), COLUMNS.at(i).width));
        }
        if (bar != 0) {
            add_carrier_bar(row, one.signals.front(), bar, on);
        }
        lines.push_back(std::move(row));
    }
    return lines;
}

// It may hold values of another technology, which the page leaves out.
std::vector<line> summary_lines(const view::picture &known, const page &on) {
    const std::string whole = known.summary.known() ? "As published: " + shown(known.summary.value, on) : "";
    std::vector<line> lines;
    for (const std::string &part : wrap_fields(whole, ", ", inner_width(on))) {
        lines.emplace_back(" " + part, style::dim);
    }
    return lines;
}

std::size_t lines_in(const std::vector<std::vector<line>> &blocks) {
    return std::accumulate(blocks.begin(), blocks.end(), std::size_t{0},
                           [](std::size_t sum, const std::vector<line> &block) { return sum + block.size(); });
}

// With all blank lines between the blocks, too.
bool has_room_for_one_more(const std::vector<std::vector<line>> &blocks, const page &on) {
    const auto empty = static_cast<std::size_t>(std::ranges::count_if(blocks, &std::vector<line>::empty));
    return on.height == 0 || lines_in(blocks) + blocks.size() - empty <= on.height;
}

// Blank lines between the blocks as long as there is room for them; then the end is cut, and says so.
std::vector<line> stack(std::vector<std::vector<line>> blocks, const page &on) {
    std::erase_if(blocks, [](const std::vector<line> &block) { return block.empty(); });
    const std::size_t total = lines_in(blocks);
    std::size_t blanks = blocks.size() - 1;
    if (on.height != 0) {
        blanks = std::min(blanks, on.height - std::min(on.height, total));
    }
    std::vector<line> lines;
    // Where there is room for some only: first around the signals, which the eye looks for.
    constexpr std::array<std::size_t, 5> RANKS{5, 2, 0, 1, 3};
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i != 0 && (blanks == blocks.size() - 1 || RANKS.at(i) < blanks)) {
            lines.emplace_back();
        }
        std::ranges::move(blocks.at(i), std::back_inserter(lines));
    }
    if (on.height != 0 && lines.size() > on.height) {
        lines.resize(on.height);
        lines.back() = more_in("taller", on);
    }
    return lines;
}

void add_small_value(line &to, const view::signal_value &one) {
    if (one.value.known()) {
        to.add(view::word(one.limit) + view::digits(one.value.value) + ' ');
        to.add(view::scale_of(one.what).unit, style::dim).add(" ");
    }
    to.add(view::rating_word(one), look_of(one));
}

// "RSRP -95 + -85 dBm": both legs where there is no room for more than the numbers.
std::vector<line> joined_values(const view::picture &known) {
    std::vector<line> values(1);
    for (const view::leg &of : known.legs) {
        values.front().add(&of == &known.legs.front() ? "" : " + ").add(of.heading, style::strong);
    }
    for (const view::signal_value &row : known.legs.front().signals) {
        line next(pad_right(view::scale_of(row.what).label, 5));
        for (const view::leg &of : known.legs) {
            const view::signal_value *found = of.find(row.what);
            const bool is_known = found != nullptr && found->value.known();
            next.add(&of == &known.legs.front() ? "" : "+ ")
                .add(is_known ? view::digits(found->value.value) : "-", is_known ? look_of(*found) : style::dim)
                .add(" ");
        }
        values.push_back(std::move(next.add(view::scale_of(row.what).unit, style::dim)));
    }
    return values;
}

// Without bars. Several legs stand side by side, or one below the other where that is too wide.
std::vector<line> small_values(const view::picture &known, const page &on) {
    constexpr std::size_t EACH = 16;  // "<= -120 dBm bad" and a blank
    const std::size_t abreast = SMALL_NAME + known.legs.size() * EACH - 1 <= on.width ? known.legs.size() : 1;
    std::vector<line> values;
    for (auto first = known.legs.begin(); first != known.legs.end(); first += static_cast<std::ptrdiff_t>(abreast)) {
        const std::span legs(first, abreast);
        line heads;
        for (std::size_t i = 0; i < legs.size(); ++i) {
            heads.add_to_column(abreast == 1 ? 0 : SMALL_NAME + i * EACH).add(legs[i].heading, style::strong);
        }
        if (known.legs.size() > 1) {
            values.push_back(std::move(heads));
        }
        for (const view::signal_value &row : legs.front().signals) {
            line next(view::scale_of(row.what).label);
            for (std::size_t i = 0; i < legs.size(); ++i) {
                next.add_to_column(SMALL_NAME + i * EACH);
                if (const view::signal_value *found = legs[i].find(row.what)) {
                    add_small_value(next, *found);
                }
            }
            values.push_back(std::move(next));
        }
    }
    const bool fits = on.height == 0 || 2 + values.size() <= on.height;  // below title and state
    return fits || abreast == known.legs.size() ? values : joined_values(known);
}

// What a very small window can hold.
std::vector<line> lay_out_small(const view::picture &known, const page &on) {
    std::vector<line> lines;
    lines.emplace_back(shortened(title_text(known, on), on.width), style::strong);
    std::vector<line> values;
    if (known.state != view::condition::no_database) {
        values = small_values(known, on);
    }
    if (!known.current()) {
        dim(values);
    }
    for (const std::string &part : state_texts(known, on.width, values.size(), on)) {
        lines.emplace_back(part, look_of_state(known));
    }
    std::ranges::move(values, std::back_inserter(lines));
    return lines;
}

std::vector<line> lay_out_large(const view::picture &known, const memory &past, const page &on) {
    std::vector<std::vector<line>> blocks;
    blocks.push_back(lay_out_head(known, 0, on));
    if (known.state == view::condition::no_database) {
        return stack(std::move(blocks), on);
    }
    blocks.push_back(fact_lines(known, on));
    blocks.push_back(signal_lines(known, past, on));
    blocks.push_back(carrier_lines(known, on));
    blocks.push_back(summary_lines(known, on));
    if (std::optional<line> scales = scale_line(known, past, on); scales && has_room_for_one_more(blocks, on)) {
        blocks[2].push_back(*std::move(scales));
    }
    if (!known.current()) {
        std::for_each(blocks.begin() + 1, blocks.end(), dim);
    }
    return stack(std::move(blocks), on);
}

}  // namespace

line &line::add(std::string text, style look) {
    if (!text.empty()) {
        spans.push_back({std::move(text), look});
    }
    return *this;
}

line &line::add_to_column(std::size_t column) {
    return add(std::string(column - std::min(column, width()), ' '));
}

std::size_t line::width() const {
    std::size_t total = 0;
    for (const span &part : spans) {
        total += columns(part.text);
    }
    return total;
}

std::string line::plain_text() const {
    std::string result;
    for (const span &part : spans) {
        result += part.text;
    }
    return result.substr(0, result.find_last_not_of(' ') + 1);
}

style look_of(const view::signal_value &one) {
    constexpr std::array<style, 4> LOOKS{style::bad, style::weak, style::fair, style::good};
    return one.value.known() ? LOOKS.at(static_cast<std::size_t>(view::rate(one.what, one.value.value))) : style::dim;
}

void dim(std::vector<line> &lines) {
    for (line &one : lines) {
        for (span &part : one.spans) {
            part.look = style::dim;
        }
    }
}

void cut_to(std::vector<line> &lines, const page &on) {
    if (on.height != 0 && lines.size() > on.height) {
        lines.resize(on.height);
    }
    for (line &one : lines) {
        std::size_t room = on.width;
        for (span &part : one.spans) {
            part.text = fit(part.text, room);
            room -= columns(part.text);
        }
    }
}

line more_in(const char *window, const page &on) {
    const std::string text = " ... more in a " + std::string(window) + " window";
    return line(columns(text) <= on.width ? text : " ... more", style::dim);
}

std::vector<line> lay_out_head(const view::picture &known, std::size_t below, const page &on) {
    std::vector<line> head{title_line(known, on)};
    for (const std::string &part : state_texts(known, inner_width(on), below, on)) {
        head.emplace_back(" " + part, look_of_state(known));
    }
    return head;
}

std::vector<line> lay_out(const view::picture &known, const memory &past, const page &on) {
    const bool small = on.width < NARROWEST || (on.height != 0 && on.height < LOWEST);
    std::vector<line> lines = small ? lay_out_small(known, on) : lay_out_large(known, past, on);
    cut_to(lines, on);
    return lines;
}

namespace {

void say_that_it_is_cut(std::vector<line> &lines, const page &on) {
    const bool too_wide = std::ranges::any_of(lines, [&on](const line &one) { return one.width() > on.width; });
    if (on.height != 0 && (lines.size() > on.height || (too_wide && lines.size() == on.height))) {
        lines.resize(on.height - 1);
    } else if (!too_wide) {
        return;
    }
    lines.push_back(more_in("larger", on));
}

}  // namespace

std::vector<line> lay_out_help(const page &on) {
    const std::string title = " zelt-top: the radio and the link at a glance";
    std::vector<line> lines;
    lines.emplace_back(pad_right(columns(title) <= on.width ? title : " zelt-top: help", on.width), style::title);
    const auto say = [&lines](const std::vector<std::string> &parts, style look = style::plain) {
        for (const std::string &part : parts) {
            lines.emplace_back(" " + part, look);
        }
    };
    say(wrap_fields("q quit   p or space: hold the picture   a: antenna, and back   h or ?: this page, and back", "   ",
                    inner_width(on)),
        style::strong);
    lines.emplace_back();
    lines.emplace_back(" Value   Unit    good    fair    weak   What it is", style::dim);
    for (const view::scale &one : view::scales()) {
        lines.emplace_back(" " + pad_right(one.label, 8) + pad_right(one.unit, 4));
        lines.back()
            .add(pad_left(view::digits(one.good), 8), style::good)
            .add(pad_left(view::digits(one.fair), 8), style::fair)
            .add(pad_left(view::digits(one.weak), 8), style::weak)
            .add(std::string("   ") + one.meaning + (one.what == view::quantity::gsm_rssi ? " (GSM)" : ""));
    }
    lines.emplace_back();
    say(wrap("At least so much; below weak it is bad. The line at the right shows the last cycles of the daemon. "
             "Antenna: large values, in brackets the difference to the best; a bell for a better one.",
             inner_width(on)));
    say(wrap("not reported: the module does not tell; a dash in the table of carriers. unknown: nobody has published "
             "it yet. Dimmed values without colour are old: the second line of the view says why.",
             inner_width(on)));
    say_that_it_is_cut(lines, on);
    cut_to(lines, on);
    return lines;
}

}  // namespace zelt_top
