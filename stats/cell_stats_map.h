// The cell statistics: the current value of each key of the catalogue, and which of them changed since the last
// publication. Decoders write it as text; the query cycle publishes it. Knows the database, no module.
// Every operation but one catches and logs its own exceptions.
#pragma once

#include <array>
#include <string>

#include "platform/sysdb.h"
#include "stats/cell_catalogue.h"

// One statistic: the value that its kind selects.
struct cell_stat {
    cell_stat() = default;
    explicit cell_stat(const catalogue_row &row) : key(row.name), kind(row.kind), default_number(row.default_number) {}

    const char *key = nullptr;
    value_kind kind = VALUE_INTEGER;
    double default_number = 0.0;  // what an empty update puts in place
    std::string default_text;     // the same of a string
    bool updated = false;         // since the last publication
    int int_value = 0;
    double real_value = 0.0;
    std::string text_value;
};

// In the order of the catalogue, which never changes. Read and written through the operations below.
extern std::array<cell_stat, CELL_CATALOGUE.size()> cell_stats_map;

// Converts the text by the key's kind and marks the key for publication, also when the value stays the same.
// An integer or real takes the leading number, 0 without one; an empty text selects the catalogue's default.
// A key outside the catalogue is ignored without a trace.
void update_cell_stats_map(const char *key, const char *value);

// The same for a key that is known when the code is written.
void update_cell_stat(cell_key key, const std::string &value);

// Publishes the marked keys in bytewise key order, in one transaction on "CELL". When the database cannot be opened or
// committed they stay marked and go out with the next publication.
void save_cell_stats_map_to_sysdb();

// The same with further keys: write_first(handle) runs ahead of the map inside the same transaction. Catches nothing:
// its callers log under their own names.
void save_cell_stats_map_to_sysdb_after(void (*write_first)(sysdb_handle *handle));

// Writes the marked keys inside the caller's transaction and takes the marks away.
void save_cell_stats_map_to_sysdb_atomic(sysdb_handle *handle);

// Withdraw a technology's values: each key gets its default and is marked.
void reset_lte_values();
void reset_nr5g_values();
void reset_signal_values();
