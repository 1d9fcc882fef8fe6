// The one driver of all serving-cell decoders: it walks a decoder's table over the comma-separated columns of a line.
// Knows no technology, no module and no log.
#pragma once

#include <array>
#include <span>

#include "decode/conversions.h"
#include "stats/cell_catalogue.h"

// What to do with one column. A column that yields two different values has two rows in a row.
struct wire_column {
    int column;  // counted from 0; column 0 is the quoted tag
    column_conversion convert;
    std::array<cell_key, 2> keys;  // written in this order; the second may be missing
};

// A line is cut to this length before it is split; columns beyond are not seen. The last column that any table uses
// ends before the 100th character, whatever its values.
inline constexpr std::size_t DECODED_LINE_MAX = 127;

// Splits the line (empty columns keep their place) and writes the columns of the table in the line's order. Columns
// that the line lacks are not written. *column follows the column at work, for the caller's log when a conversion
// throws.
void decode_columns(std::span<const wire_column> table, const char *line, int *column);

inline void decode_columns(std::span<const wire_column> table, const char *line) {
    int column = 0;
    decode_columns(table, line, &column);
}

// What every table promises: columns in the line's order.
constexpr bool columns_ascend(std::span<const wire_column> table) {
    for (std::size_t i = 1; i < table.size(); ++i) {
        if (table[i].column < table[i - 1].column) {
            return false;
        }
    }
    return true;
}
