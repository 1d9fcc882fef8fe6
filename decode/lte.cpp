#include "decode/lte.h"

#include <exception>

#include <syslog.h>

#include "decode/network_type.h"
#include "decode/signal_quality.h"
#include "decode/wire_columns.h"

namespace {

// +QENG: "servingcell","NOCONN","LTE","FDD",310,260,1A2D001,123,5230,2,5,5,7B0C,-95,-11,-65,12,37
// column                            0     1   2   3       4   5    6 7 8 9   10  11  12  13 14 15
//
// 2 country code, 3 network code, 4 cell identity (hexadecimal, 28 bits), 5 physical cell id, 6 EARFCN, 7 band, 8 and 9
// bandwidth codes up and down, 10 tracking area code (hexadecimal), 11 RSRP dBm, 12 RSRQ dB, 13 RSSI dBm, 14 SINR.
// Newer modules add columns behind 14.
constexpr wire_column LTE_COLUMNS[] = {
    {2, as_it_stands, {"CELL_MCC"}},
    {3, as_it_stands, {"CELL_MNC"}},
    {4, stol_hex_to_decimal, {"CELL_CID"}},
    {5, as_it_stands, {"CELL_PCID"}},
    {6, as_it_stands, {"CELL_EARFCN", "CELL_CHANNEL"}},
    {7, as_it_stands, {"CELL_BAND", "CELL_LTE_BAND"}},
    {8, lte_bandwidth_mhz, {"CELL_CHAN_BW_UL"}},
    {9, lte_bandwidth_mhz, {"CELL_CHAN_BW_DL"}},
    {10, stoi_hex_to_decimal, {"CELL_TAC"}},
    {11, as_it_stands, {"CELL_RSRP", "CELL_LTE_RSRP"}},
    {11, rsrp_field_to_sqi, {"CELL_SQI", "CELL_LTE_SQI"}},
    {12, as_it_stands, {"CELL_RSRQ", "CELL_LTE_RSRQ"}},
    {13, as_it_stands, {"CELL_RSSI", "CELL_LTE_RSSI"}},
    {14, as_it_stands, {"CELL_SINR", "CELL_LTE_SINR"}},
};
static_assert(columns_ascend(LTE_COLUMNS));

}  // namespace

void parse_lte_catm(const char *line, bool is_lte) {
    int column = 0;
    try {
        syslog(LOG_DEBUG, "Parsing LTE:%s", line);
        decode_columns(LTE_COLUMNS, line, &column);
        syslog(LOG_DEBUG, is_lte ? "%s: update cell net type LTE" : "%s: update cell net type CAT-M", __func__);
        update_network_type(is_lte ? NETWORK_LTE : NETWORK_CAT_M);
    } catch (const std::exception &e) {
        syslog(LOG_ALERT, "exception %s in %s LTE string: %s, column number:%d", e.what(), __func__, line, column);
    }
}
