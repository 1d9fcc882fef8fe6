#include "sim/inside/key_changes.h"

#include "view/keys.h"

namespace {

bool is_not_reported(const typed_value &value) {
    return value.text == "-999" || value.text == "-999.0";
}

std::string was(const typed_value &value) {
    constexpr std::size_t READABLE = 24;  // two long texts beside each other help nobody
    return value.text.size() > READABLE ? "" : "  (was " + value.text + ")";
}

}  // namespace

cell_values without_subscriber(cell_values values) {
    for (const char *key : view::SUBSCRIBER_KEYS) {
        if (const auto found = values.find(key); found != values.end()) {
            found->second.text = "(not shown)";
        }
    }
    return values;
}

std::vector<key_change> key_changes(const cell_values &before, const cell_values &now) {
    std::vector<key_change> changes;
    for (const auto &[key, value] : now) {
        const auto old = before.find(key);
        if (old == before.end()) {
            changes.push_back({key + " = " + value.text, !is_not_reported(value)});
        } else if (old->second != value) {
            changes.push_back({key + " = " + value.text + was(old->second), true});
        }
    }
    for (const auto &[key, value] : before) {
        if (!now.contains(key)) {
            changes.push_back({key + " deleted" + was(value), true});
        }
    }
    return changes;
}
