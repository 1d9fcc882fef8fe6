#include "view/line.h"

#include "view/picture.h"
#include "view/words.h"

namespace view {

namespace {

std::string short_facts(const std::vector<fact> &facts) {
    std::string text;
    for (const fact &one : facts) {
        if (one.shown == showing::always && one.known()) {
            text += (text.empty() ? "" : "  ") + std::string(one.label) + ' ' + words(one);
            text += *one.numbering == '\0' ? "" : " (" + std::string(one.numbering) + ')';
        }
    }
    return text;
}

std::string heads(const std::vector<leg> &legs) {
    std::string text;
    for (const leg &one : legs) {
        const std::string facts = short_facts(one.facts);
        text += (text.empty() ? "" : " + ") + std::string(one.heading) + (facts.empty() ? "" : ' ' + facts);
    }
    return text;
}

// Empty when no leg tells.
std::string side_by_side(const std::vector<leg> &legs, quantity what) {
    std::string text = scale_of(what).label;
    const char *before = " ";
    bool told = false;
    for (const leg &one : legs) {
        if (const signal_value *found = one.find(what)) {
            text += before + words(*found);
            before = " + ";
            told = told || found->value.told();
        }
    }
    return told ? text : "";
}

std::string registration(const picture &known) {
    if (!known.registered.known()) {
        return {};
    }
    return !known.registered.value ? "not registered" : known.roaming.value ? "registered, roaming" : "registered";
}

}  // namespace

std::string line_of(const snapshot &cell) {
    reading database;
    database.cell = cell;
    const picture known = build_picture(database, {}, {});
    std::string line = known.technology.empty() ? "no cell" : known.technology;
    const auto add = [&line](const std::string &part) { line += part.empty() ? "" : "  " + part; };
    if (!known.technology.empty()) {
        add(short_facts(known.radio));
        add(heads(known.legs));
        for (const signal_value &one : known.legs.front().signals) {
            add(one.shown == showing::in_full ? "" : side_by_side(known.legs, one.what));
        }
    }
    add(registration(known));
    return line;
}

}  // namespace view
