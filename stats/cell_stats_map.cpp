#include "stats/cell_stats_map.h"

#include <cstdlib>
#include <map>
#include <vector>

#include "base/exception_log.h"
#include "base/target_arithmetic.h"
#include "stats/cell_catalogue.h"
#include "stats/sysdb_transaction.h"

namespace {

struct cell_stat {
    explicit cell_stat(const cell_key &key) : kind(key.kind), default_number(key.default_number) {}

    value_kind kind;
    double default_number;
    std::string default_text;
    bool updated = false;  // since the last publication
    int int_value = 0;
    double real_value = 0.0;
    std::string text_value;
};

using stats_map = std::map<std::string, cell_stat>;

stats_map build_from_catalogue() {
    stats_map map;
    for (const cell_key &key : CELL_CATALOGUE) {
        map.emplace(key.name, key);
    }
    return map;
}

struct cell_stats_state {
    stats_map map = build_from_catalogue();  // the keys never change
    std::vector<cell_stat *> written;        // in a transaction that is not committed yet
} cell_stats;

void set_value(cell_stat &stat, const std::string &value) {
    switch (stat.kind) {
    case VALUE_INTEGER:
        stat.int_value = value.empty() ? static_cast<int>(stat.default_number) : leading_int32(value.c_str());
        break;
    case VALUE_REAL:
        stat.real_value = value.empty() ? stat.default_number : std::strtod(value.c_str(), nullptr);
        break;
    case VALUE_STRING:
        stat.text_value = value.empty() ? stat.default_text : value;
        break;
    }
    stat.updated = true;
}

// A transaction that was lost, by an exception too, takes its marks along; without them the values would never go out.
struct lost_marks_return {
    lost_marks_return() { cell_stats.written.clear(); }
    lost_marks_return(const lost_marks_return &) = delete;
    lost_marks_return &operator=(const lost_marks_return &) = delete;
    ~lost_marks_return() {
        for (cell_stat *stat : cell_stats.written) {
            stat->updated = true;
        }
    }
};

void write_value(sysdb_handle *handle, const std::string &key, const cell_stat &stat) {
    switch (stat.kind) {
    case VALUE_INTEGER:
        sysdb_write_int(handle, key.c_str(), stat.int_value, 0);
        break;
    case VALUE_REAL:
        sysdb_write_dbl(handle, key.c_str(), stat.real_value, 0);
        break;
    case VALUE_STRING:
        sysdb_write_str(handle, key.c_str(), stat.text_value.c_str(), 0);
        break;
    }
}

}  // namespace

void update_cell_stats_map(const char *key, const char *value) try {
    const auto found = cell_stats.map.find(std::string(key));
    if (found != cell_stats.map.end()) {
        set_value(found->second, std::string(value));
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_cell_stats_map_to_sysdb_atomic(sysdb_handle *handle) try {
    for (auto &[key, stat] : cell_stats.map) {
        if (stat.updated) {
            cell_stats.written.push_back(&stat);
            stat.updated = false;
            write_value(handle, key, stat);
        }
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_cell_stats_map_to_sysdb() try {
    save_cell_stats_map_to_sysdb_after([](sysdb_handle *) {});
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_cell_stats_map_to_sysdb_after(void (*write_first)(sysdb_handle *handle)) {
    const lost_marks_return keeper;
    const bool committed = in_sysdb_transaction("CELL", 0, [write_first](sysdb_handle *handle) {
        write_first(handle);
        save_cell_stats_map_to_sysdb_atomic(handle);
    });
    if (committed) {
        cell_stats.written.clear();
    }
}

void reset_lte_values() {
    for (const char *key :
         {"CELL_LTE_RSRP", "CELL_LTE_SQI", "CELL_LTE_SINR", "CELL_LTE_RSRQ", "CELL_LTE_BAND", "CELL_LTE_RSSI"}) {
        update_cell_stats_map(key, "");
    }
}

void reset_nr5g_values() {
    for (const char *key : {"CELL_NR5G_RSRP", "CELL_NR5G_SQI", "CELL_NR5G_SINR", "CELL_NR5G_RSRQ", "CELL_NR5G_BAND"}) {
        update_cell_stats_map(key, "");
    }
}

void reset_signal_values() {
    for (const char *key : {"CELL_RSRP", "CELL_RSRQ", "CELL_RSSI", "CELL_SQI", "CELL_SINR", "CELL_BAND"}) {
        update_cell_stats_map(key, "");
    }
}
