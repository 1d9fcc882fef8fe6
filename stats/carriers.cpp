#include "stats/carriers.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "base/exception_log.h"
#include "platform/sysdb.h"
#include "stats/sysdb_transaction.h"

namespace {

// One of the seven keys of a carrier; the carrier's number stands behind the name.
struct scc_key {
    const char *name;
    void (*write)(sysdb_handle *handle, const char *key, const scc_info &scc);
};

template <std::int32_t scc_info::*member>
void write_integer(sysdb_handle *handle, const char *key, const scc_info &scc) {
    sysdb_write_int(handle, key, scc.*member, 0);
}

void write_bandwidth(sysdb_handle *handle, const char *key, const scc_info &scc) {
    sysdb_write_str(handle, key, scc.bw_dl.c_str(), 0);
}

// A real, like the serving cell's.
void write_sinr(sysdb_handle *handle, const char *key, const scc_info &scc) {
    sysdb_write_dbl(handle, key, static_cast<double>(scc.sinr), 0);
}

constexpr std::array<scc_key, 7> SCC_KEYS{{
    {"CELL_CHAN_BW_DL_SCC_", write_bandwidth},
    {"CELL_CHANNEL_SCC_", write_integer<&scc_info::channel>},
    {"CELL_BAND_SCC_", write_integer<&scc_info::band>},
    {"CELL_RSRP_SCC_", write_integer<&scc_info::rsrp>},
    {"CELL_RSRQ_SCC_", write_integer<&scc_info::rsrq>},
    {"CELL_RSSI_SCC_", write_integer<&scc_info::rssi>},
    {"CELL_SINR_SCC_", write_sinr},
}};

// On the stack: most of these keys are deleted in each cycle, and too long for a string without the heap.
std::array<char, 32> key_name(const scc_key &key, int scc_number) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "%s%d", key.name, scc_number);
    return name;
}

}  // namespace

void init_ca_vector() try { ca_vector.assign(MOST_CARRIERS, scc_info{}); } catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_ca_values_to_sysdb(int num_scc) try {
    for (int number = 1; number <= num_scc; ++number) {
        const scc_info &scc = ca_vector.at(static_cast<std::size_t>(number - 1));
        in_sysdb_transaction("CELL", 0, [&scc, number](sysdb_handle *handle) {
            for (const scc_key &key : SCC_KEYS) {
                key.write(handle, key_name(key, number).data(), scc);
            }
        });
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void clear_carrier_aggregation_values(int first) try {
    for (int number = first; number <= MOST_CARRIERS; ++number) {
        in_sysdb_transaction("CELL", 0, [number](sysdb_handle *handle) {
            for (const scc_key &key : SCC_KEYS) {
                sysdb_del(handle, key_name(key, number).data());
            }
        });
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
