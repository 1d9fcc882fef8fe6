#include "tools/zelt_top/check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "tools/zelt_top/named_values.h"
#include "view/words.h"

namespace zelt_top {

namespace {

constexpr std::string_view AGE = "age";

struct state_name {
    std::string_view name;
    std::array<std::string_view, 2> words;  // when false, when true
};
constexpr std::array<state_name, 2> STATES{{{"link", {"down", "up"}}, {"roaming", {"no", "yes"}}}};

const state_name *find_state(std::string_view name) {
    const auto *const found = std::ranges::find(STATES, name, &state_name::name);
    return found == STATES.end() ? nullptr : found;
}

bool names_signal(std::string_view name) {
    name.remove_prefix(name.starts_with(NR_PREFIX) ? NR_PREFIX.size() : 0);
    return std::ranges::any_of(view::scales(), [name](const view::scale &one) { return one.name == name; });
}

// False when it is no number. An empty text is none to hold.
bool parse_limit(const std::string &text, std::optional<double> &limit) {
    if (text.empty()) {
        return true;
    }
    char *end = nullptr;
    limit = std::strtod(text.c_str(), &end);
    return *end == '\0' && std::isfinite(*limit);
}

bool parse_limits(const std::string &text, check_item &item) {
    const std::size_t colon = text.find(':');
    const bool both = colon != std::string::npos;
    return parse_limit(both ? text.substr(0, colon) : "", item.warning) &&
           parse_limit(both ? text.substr(colon + 1) : text, item.critical) && (item.warning || item.critical);
}

// A signal is bad below its limits, an age above them.
bool in_order(const check_item &item) {
    return !item.warning || !item.critical ||
           (item.name == AGE ? *item.warning < *item.critical : *item.warning > *item.critical);
}

// Empty when all is well.
std::string parse_item(const std::string &text, check_item &item) {
    const std::size_t equals = std::min(text.find('='), text.size());
    item.name = text.substr(0, equals);
    const std::string value = text.substr(std::min(equals + 1, text.size()));
    if (const state_name *state = find_state(item.name)) {
        item.expected = value;
        return std::ranges::find(state->words, value) != state->words.end()
                   ? ""
                   : item.name + " takes " + std::string(state->words[0]) + " or " + std::string(state->words[1]);
    }
    if (item.name != AGE && !names_signal(item.name)) {
        return "\"" + item.name + "\" cannot be checked";
    }
    if (!parse_limits(value, item)) {
        return item.name + " takes WARNING:CRITICAL, WARNING: or CRITICAL, not \"" + value + "\"";
    }
    return in_order(item) ? "" : "the warning of " + item.name + " comes after its critical limit";
}

bool is_wrong(const std::optional<double> &limit, double value, bool above) {
    return limit && (above ? value > *limit : value < *limit);
}

severity worse(severity one, severity other) {
    constexpr std::array<int, 4> RANKS{0, 2, 3, 1};  // in the order of the enumeration
    return RANKS.at(static_cast<std::size_t>(one)) < RANKS.at(static_cast<std::size_t>(other)) ? other : one;
}

// What one item comes to.
struct finding {
    severity grade = severity::unknown;
    std::string text;
    std::string measured{};  // for the plug-in's performance data; empty: nothing was
};

finding judge_number(const check_item &item, double value, const std::string &text, const char *unit) {
    const bool above = item.name == AGE;
    const bool critical = is_wrong(item.critical, value, above);
    const bool warning = !critical && is_wrong(item.warning, value, above);
    finding found{critical ? severity::critical : warning ? severity::warning : severity::ok, text};
    if (critical || warning) {
        found.text += (above ? " (above " : " (below ") + as_written(critical ? *item.critical : *item.warning) + ")";
    }
    // A range of what is right: "-110:" is from there on upwards, "30" from nothing to there.
    const auto range = [above](const std::optional<double> &limit) {
        return limit ? as_written(*limit) + (above ? "" : ":") : "";
    };
    found.measured =
        item.name + "=" + as_written(value) + unit + ";" + range(item.warning) + ";" + range(item.critical);
    return found;
}

finding judge_signal(const check_item &item, const view::picture &known, bool current) {
    const view::signal_value *const one = find_signal(known, item.name);
    if (one == nullptr) {
        return {severity::unknown, item.name + " not measured"};
    }
    const bool nr = item.name.starts_with(NR_PREFIX);
    const std::string text = (nr ? "NR " : "") + std::string(view::scale_of(one->what).label) + " " + words(*one);
    if (!one->value.known() || !current) {
        return {severity::unknown, text};
    }
    return judge_number(item, one->value.value, text, one->what == view::quantity::sqi ? "%" : "");
}

finding judge_age(const check_item &item, const view::picture &known) {
    if (!known.updated) {
        return {severity::unknown, "age unknown"};
    }
    const double seconds = std::floor(*known.updated);
    return judge_number(item, seconds, "age " + as_written(seconds) + " s", "s");
}

finding judge_state(const check_item &item, const view::picture &known, bool current) {
    const view::maybe<bool> &stored = item.name == "link" ? known.link_up : known.roaming;
    if (!stored.known()) {
        return {severity::unknown, item.name + " unknown"};
    }
    const std::string is(find_state(item.name)->words.at(stored.value ? 1 : 0));
    return {!current              ? severity::unknown
            : is == item.expected ? severity::ok
                                  : severity::critical,
            item.name + " " + is};
}

// Of the whole, before any item: where nothing current is known, no item can make it right.
severity judge_condition(const view::picture &known, bool age_decides) {
    const bool late = known.state == view::condition::stale || known.state == view::condition::no_answer;
    const bool counts = known.current() || known.state == view::condition::not_registered || (late && age_decides);
    if (!counts || !known.registered.known()) {
        return severity::unknown;
    }
    return known.registered.value ? severity::ok : severity::critical;
}

std::string radio_text(const view::picture &known) {
    std::string text = known.technology.empty() ? "technology unknown" : known.technology;
    const char *before = " band ";
    for (const char *name : {"band", "nr_band"}) {
        const view::fact *const band = find_fact(known, name);
        if (band != nullptr && band->known() && (name == std::string_view("band") || known.legs.size() > 1)) {
            text += before + words(*band);
            before = " + ";
        }
    }
    return text;
}

// The performance data begin at the only "|".
std::string without_bar(std::string text) {
    std::ranges::replace(text, '|', '/');
    return text;
}

std::string first_words(severity overall) {
    constexpr std::array<const char *, 4> WORDS{"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    return std::string("ZELT ") + WORDS.at(static_cast<std::size_t>(overall)) + " - ";
}

}  // namespace

std::optional<std::vector<check_item>> parse_check(const std::string &text, std::string &problem) {
    std::vector<check_item> items;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        check_item item;
        problem = parse_item(text.substr(begin, end - begin), item);
        if (problem.empty() && std::ranges::find(items, item.name, &check_item::name) != items.end()) {
            problem = item.name + " stands twice";
        }
        if (!problem.empty()) {
            return std::nullopt;
        }
        items.push_back(std::move(item));
        begin = end + 1;
    }
    return items;
}

verdict judge(const std::vector<check_item> &items, const view::picture &known) {
    const bool age_decides = std::ranges::find(items, AGE, &check_item::name) != items.end();
    verdict result{judge_condition(known, age_decides), {}};
    const bool current = result.overall == severity::ok;
    const bool registration_known = current || result.overall == severity::critical;
    std::string text = radio_text(known);
    std::string measured;
    for (const check_item &item : items) {
        const finding found = item.name == AGE        ? judge_age(item, known)
                              : find_state(item.name) ? judge_state(item, known, registration_known)
                                                      : judge_signal(item, known, current);
        result.overall = worse(result.overall, found.grade);
        text += ", " + found.text;
        measured += found.measured.empty() ? "" : " " + found.measured;
    }
    const std::string sentence = known.current() ? "" : known.sentence + " ";
    result.line =
        first_words(result.overall) + without_bar(sentence + text) + (measured.empty() ? "" : " |" + measured);
    return result;
}

verdict no_verdict(const std::string &why) {
    return {severity::unknown, first_words(severity::unknown) + without_bar(why)};
}

}  // namespace zelt_top
