#include "view/lookup.h"

#include <array>
#include <cstddef>

#include "view/characters.h"

namespace view {

const char *word(presence state) {
    // In the order of the enumeration.
    constexpr std::array<const char *, 4> WORDS{"unknown", "not reported", "out of range", "known"};
    return WORDS.at(static_cast<std::size_t>(state));
}

bool is_not_reported(const any_value &stored) {
    if (const auto *text = std::get_if<std::string>(&stored)) {
        return *text == NOT_REPORTED_TEXT;
    }
    const auto *integer = std::get_if<int>(&stored);
    return (integer != nullptr ? *integer : std::get<double>(stored)) == NOT_REPORTED;
}

number find_number(const snapshot &cell, const std::string &key) {
    const auto found = cell.find(key);
    if (found == cell.end() || std::holds_alternative<std::string>(found->second)) {
        return {};
    }
    if (is_not_reported(found->second)) {
        return {presence::not_reported, 0};
    }
    const auto *integer = std::get_if<int>(&found->second);
    return {presence::known, integer != nullptr ? *integer : std::get<double>(found->second)};
}

number find_signal(const snapshot &cell, const std::string &key, quantity what) {
    number stored = find_number(cell, key);
    if (stored.known() && !measurable(what, stored.value)) {
        stored.state = presence::out_of_range;
    }
    return stored;
}

phrase find_text(const snapshot &cell, const std::string &key) {
    const auto found = cell.find(key);
    if (found == cell.end() || !std::holds_alternative<std::string>(found->second)) {
        return {};
    }
    const std::string stored = harmless(std::get<std::string>(found->second));
    if (stored.empty()) {
        return {};
    }
    // The module's own word for "nothing to tell" is a lone dash; it passes through the daemon.
    return stored == NOT_REPORTED_TEXT || stored == "-" ? phrase{presence::not_reported, {}}
                                                        : phrase{presence::known, stored};
}

maybe<bool> find_flag(const snapshot &cell, const std::string &key) {
    const number stored = find_number(cell, key);
    return {stored.state, stored.value != 0};
}

}  // namespace view
