#include "tests/unit/update_record.h"

#include <utility>

#include "stats/cell_catalogue.h"

namespace {

std::vector<std::string> updates;

}  // namespace

// The linker leads the decoders' calls of update_cell_stats_map here, under its mangled name.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void __real__Z21update_cell_stats_mapPKcS0_(const char *key, const char *value);

void __wrap__Z21update_cell_stats_mapPKcS0_(const char *key, const char *value) {
    if (in_cell_catalogue(key)) {
        updates.push_back(std::string(key) + " " + value);
    }
    __real__Z21update_cell_stats_mapPKcS0_(key, value);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

std::vector<std::string> taken_updates() {
    return std::exchange(updates, {});
}
