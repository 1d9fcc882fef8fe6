#include "tests/decode/update_record.h"

#include <utility>

#include "stats/cell_stats_map.h"

namespace {

std::vector<std::string> updates;

// Of an inline function that was not inlined the linker keeps the first copy, which must be one whose call it leads
// here: that of this file comes before all of the library.
[[gnu::used]] void (*const first_copy)(cell_key, const std::string &) = update_cell_stat;

}  // namespace

// The linker leads the decoders' calls of update_cell_stats_map here, under its mangled name.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void __real__Z21update_cell_stats_mapPKcS0_(const char *key, const char *value);

void __wrap__Z21update_cell_stats_mapPKcS0_(const char *key, const char *value) {
    if (*value != '\0') {
        updates.push_back(std::string(key) + " " + value);
    }
    __real__Z21update_cell_stats_mapPKcS0_(key, value);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

std::vector<std::string> taken_updates() {
    return std::exchange(updates, {});
}
