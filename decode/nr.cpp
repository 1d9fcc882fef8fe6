#include "decode/nr.h"

#include <cstring>

#include <syslog.h>

#include "base/exception_log.h"
#include "decode/network_type.h"
#include "decode/signal_quality.h"
#include "decode/wire_columns.h"

namespace {

// +QENG: "NR5G-NSA",310,260,501,-95,20,-11,529950,77,12,1
// column          0   1   2   3   4  5   6      7  8  9 10
//
// 1 country code, 2 network code, 3 physical cell id, 4 RSRP dBm, 5 SINR dB, 6 RSRQ dB, 7 ARFCN, 8 band. Old firmware
// ends the line after column 6.
constexpr wire_column NSA_COLUMNS[] = {
    {1, as_it_stands, {"CELL_MCC"}},
    {2, as_it_stands, {"CELL_MNC"}},
    {3, as_it_stands, {"CELL_PCID"}},
    {4, as_it_stands, {"CELL_RSRP", "CELL_NR5G_RSRP"}},
    {4, rsrp_field_to_sqi, {"CELL_SQI", "CELL_NR5G_SQI"}},
    {5, as_it_stands, {"CELL_SINR", "CELL_NR5G_SINR"}},  // SINR stands before RSRQ here, behind it in SA
    {6, as_it_stands, {"CELL_RSRQ", "CELL_NR5G_RSRQ"}},
    {8, as_it_stands, {"CELL_BAND", "CELL_NR5G_BAND"}},
};
static_assert(columns_ascend(NSA_COLUMNS));

// +QENG: "servingcell","NOCONN","NR5G-SA","TDD",310,260,105FB012D,153,A80000,501390,41,12,-76,-10,26,1,-
// column                                0     1   2   3         4   5      6      7  8  9  10  11 12 13 14
//
// 2 country code, 3 network code, 4 cell identity (36 bits), 5 physical cell id, 6 tracking area code, 7 ARFCN, 8 band,
// 9 bandwidth code, 10 RSRP dBm, 11 RSRQ dB, 12 SINR dB.
constexpr wire_column SA_COLUMNS[] = {
    {2, as_it_stands, {"CELL_MCC"}},
    {3, as_it_stands, {"CELL_MNC"}},
    {5, as_it_stands, {"CELL_PCID"}},
    {8, as_it_stands, {"CELL_BAND", "CELL_NR5G_BAND"}},
    {10, as_it_stands, {"CELL_RSRP", "CELL_NR5G_RSRP"}},
    {10, rsrp_field_to_sqi, {"CELL_SQI", "CELL_NR5G_SQI"}},
    {11, as_it_stands, {"CELL_RSRQ", "CELL_NR5G_RSRQ"}},
    {12, as_it_stands, {"CELL_SINR", "CELL_NR5G_SINR"}},
};
static_assert(columns_ascend(SA_COLUMNS));

}  // namespace

void parse_5g_nsa(const char *line) try {
    syslog(LOG_DEBUG, "Parsing 5G-NSA:%s", line);
    // The module lists the NR line also while the NR leg is down; 65535 is its "no such cell".
    if (std::strstr(line, ",65535,") != nullptr) {
        syslog(LOG_DEBUG, "PCID is 65535, not actually on 5G-NSA");
        return;
    }
    decode_columns(NSA_COLUMNS, line);
    update_network_type(NETWORK_5G_NSA);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_5g_sa(const char *line) try {
    syslog(LOG_DEBUG, "Parsing 5G-SA:%s", line);
    decode_columns(SA_COLUMNS, line);
    update_network_type(NETWORK_5G_SA);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
