#include "host/own_writes.h"

#include <algorithm>
#include <utility>
#include <variant>

void own_writes::note(const std::string &named_database, std::string_view key, const sysdb_value *value) {
    const bool is_first = std::ranges::none_of(pending_, [=](const own_write &write) { return write.key == key; });
    if (!is_first || !is_committed(named_database, key, value)) {
        pending_.push_back({std::string(key), value == nullptr ? std::nullopt : std::optional(*value)});
    }
}

// Not of a real: two that are equal may have other bytes, as 0 and -0 have.
bool own_writes::is_committed(const std::string &named_database, std::string_view key, const sysdb_value *value) const {
    const auto database = committed_.find(named_database);
    if (database == committed_.end() || !database->second.contains(key)) {
        return value == nullptr;
    }
    return value != nullptr && !std::holds_alternative<double>(*value) && database->second.find(key)->second == *value;
}

void own_writes::commit(const std::string &named_database) {
    for (own_write &write : pending_) {
        if (write.value) {
            committed_[named_database][write.key] = *std::move(write.value);
        } else {
            committed_[named_database].erase(write.key);
        }
    }
    pending_.clear();
}
