// One key of a snapshot, as far as a person may believe it.
#pragma once

#include <string>
#include <string_view>

#include "view/quantity.h"
#include "view/snapshot.h"

namespace view {

// What the daemon publishes where the module told nothing: this number, or its digits as a text.
inline constexpr int NOT_REPORTED = -999;
inline constexpr std::string_view NOT_REPORTED_TEXT = "-999";

enum class presence {
    unknown,       // nobody has published the key, or with a type that is not its own
    not_reported,  // the module did not tell
    out_of_range,  // a number that no receiver measures: a module's mark, or a column that was none
    known,
};

// "unknown", "not reported", "out of range", "known".
const char *word(presence state);

template <typename T>
struct maybe {
    presence state = presence::unknown;
    T value{};

    bool known() const { return state == presence::known; }
    bool told() const { return known() || state == presence::out_of_range; }
};
using number = maybe<double>;
using phrase = maybe<std::string>;

bool is_not_reported(const any_value &stored);

number find_number(const snapshot &cell, const std::string &key);
number find_signal(const snapshot &cell, const std::string &key, quantity what);
phrase find_text(const snapshot &cell, const std::string &key);  // harmless; an empty one is unknown
maybe<bool> find_flag(const snapshot &cell, const std::string &key);

}  // namespace view
