#include "tests/decode/update_record.h"

#include <utility>

#include "stats/cell_stats_map.h"

namespace {

std::vector<std::string> updates;

}  // namespace

// The linker leads the decoders' calls of update_cell_stat here, under its mangled name.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void __real__Z16update_cell_stat8cell_keyRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    cell_key key, const std::string &value);

void __wrap__Z16update_cell_stat8cell_keyRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    cell_key key, const std::string &value) {
    if (key.is_published() && !value.empty()) {
        updates.push_back(std::string(CELL_CATALOGUE.at(key.index()).name) + " " + value);
    }
    __real__Z16update_cell_stat8cell_keyRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(key, value);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

std::vector<std::string> taken_updates() {
    return std::exchange(updates, {});
}
