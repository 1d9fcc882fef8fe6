#include "decode/wire_columns.h"

#include <string>
#include <string_view>

#include "platform/device_utils.h"
#include "stats/cell_stats_map.h"

namespace {

void write_column(const wire_column &row, const char *field) {
    const std::string value = row.convert(field);
    for (const cell_key key : row.keys) {
        update_cell_stat(key, value);
    }
}

}  // namespace

void decode_columns(std::span<const wire_column> table, const char *line, int *column) {
    std::array<char, DECODED_LINE_MAX + 1> copy{};
    std::string_view(line).copy(copy.data(), DECODED_LINE_MAX);

    auto row = table.begin();
    char *state = nullptr;
    int number = 0;
    for (const char *field = strtok_consecutive_r(copy.data(), ",", &state); field != nullptr;
         field = strtok_consecutive_r(nullptr, ",", &state), ++number) {
        *column = number;
        for (; row != table.end() && row->column == number; ++row) {
            write_column(*row, field);
        }
    }
}
