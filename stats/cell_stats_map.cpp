#include "stats/cell_stats_map.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <vector>

#include "base/exception_log.h"
#include "base/target_arithmetic.h"
#include "stats/cell_catalogue.h"
#include "stats/sysdb_transaction.h"

namespace {

std::array<cell_stat, CELL_CATALOGUE.size()> build_from_catalogue() {
    std::array<cell_stat, CELL_CATALOGUE.size()> map;
    std::ranges::transform(CELL_CATALOGUE, map.begin(), [](const catalogue_row &row) { return cell_stat(row); });
    return map;
}

// In a transaction that is not committed yet.
std::vector<cell_stat *> written;

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
    default:
        return;
    }
    stat.updated = true;
}

// A transaction that was lost, by an exception too, takes its marks along; without them the values would never go out.
struct lost_marks_return {
    lost_marks_return() { written.clear(); }
    lost_marks_return(const lost_marks_return &) = delete;
    lost_marks_return &operator=(const lost_marks_return &) = delete;
    ~lost_marks_return() {
        for (cell_stat *stat : written) {
            stat->updated = true;
        }
    }
};

void write_value(sysdb_handle *handle, const cell_stat &stat) {
    switch (stat.kind) {
    case VALUE_INTEGER:
        sysdb_write_int(handle, stat.key, stat.int_value, 0);
        break;
    case VALUE_REAL:
        sysdb_write_dbl(handle, stat.key, stat.real_value, 0);
        break;
    case VALUE_STRING:
        sysdb_write_str(handle, stat.key, stat.text_value.c_str(), 0);
        break;
    }
}

void reset(std::initializer_list<cell_key> keys) {
    for (const cell_key key : keys) {
        update_cell_stat(key, "");
    }
}

}  // namespace

std::array<cell_stat, CELL_CATALOGUE.size()> cell_stats_map = build_from_catalogue();

void update_cell_stats_map(const char *key, const char *value) try {
    const std::size_t index = cell_catalogue_index(std::string(key));
    if (index < cell_stats_map.size()) {
        set_value(cell_stats_map.at(index), value);
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void update_cell_stat(cell_key key, const std::string &value) try {
    if (key.is_published()) {
        set_value(cell_stats_map.at(key.index()), value);
    }
} catch (const std::exception &e) {
    log_exception(e, "update_cell_stats_map");
}

void save_cell_stats_map_to_sysdb_atomic(sysdb_handle *handle) try {
    for (cell_stat &stat : cell_stats_map) {
        if (stat.updated) {
            written.push_back(&stat);
            stat.updated = false;
            write_value(handle, stat);
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
        written.clear();
    }
}

void reset_lte_values() try {
    reset({"CELL_LTE_RSRP", "CELL_LTE_SQI", "CELL_LTE_SINR", "CELL_LTE_RSRQ", "CELL_LTE_BAND", "CELL_LTE_RSSI"});
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void reset_nr5g_values() try {
    reset({"CELL_NR5G_RSRP", "CELL_NR5G_SQI", "CELL_NR5G_SINR", "CELL_NR5G_RSRQ", "CELL_NR5G_BAND"});
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void reset_signal_values() try {
    reset({"CELL_RSRP", "CELL_RSRQ", "CELL_RSSI", "CELL_SQI", "CELL_SINR", "CELL_BAND"});
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
