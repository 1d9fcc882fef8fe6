#include "stats/clear_sysdb_values.h"

#include "base/exception_log.h"
#include "platform/sysdb.h"
#include "stats/carriers.h"
#include "stats/cell_stats_map.h"

namespace {

void write_cleared_state(sysdb_handle *handle) {
    for (const char *key : {"CELL_REGISTERED", "CELL_ROAMING", "CELL_CONNECTED"}) {
        sysdb_write_int(handle, key, 0, 0);
    }
    for (const char *key : {"CELL_IPV4", "CELL_MASK", "CELL_GATEWAY", "CELL_BCAST"}) {
        sysdb_write_str(handle, key, "0.0.0.0", 0);
    }
}

}  // namespace

void clear_sysdb_values() try {
    reset_lte_values();
    reset_nr5g_values();
    reset_signal_values();
    save_cell_stats_map_to_sysdb_after(write_cleared_state);
    clear_carrier_aggregation_values(1);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
