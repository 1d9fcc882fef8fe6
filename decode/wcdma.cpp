#include "decode/wcdma.h"

#include <syslog.h>

#include "base/exception_log.h"
#include "decode/network_type.h"
#include "decode/signal_quality.h"
#include "decode/wire_columns.h"

namespace {

// +QENG: "servingcell","NOCONN","WCDMA",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-
// column                              0   1   2    3     4    5  6   7   8  9
//
// 1 country code, 2 network code, 3 location area code and 4 cell identity (hexadecimal), 5 UARFCN, 6 scrambling code,
// 7 routing area code, 8 RSCP dBm, 9 Ec/Io dB.
constexpr wire_column WCDMA_COLUMNS[] = {
    {1, as_it_stands, {"CELL_MCC"}},
    {2, as_it_stands, {"CELL_MNC"}},
    {3, stoi_hex_to_decimal, {"CELL_LAC"}},
    {4, stol_hex_to_decimal, {"CELL_CID"}},
    {5, as_it_stands, {"CELL_UARFCN", "CELL_CHANNEL"}},
    {7, as_it_stands, {"CELL_RAC"}},
    {8, as_it_stands, {"CELL_RSCP"}},  // outside the catalogue, so never published: see UNPUBLISHED_KEY
    {8, rscp_field_to_sqi, {"CELL_SQI"}},
    {9, as_it_stands, {"CELL_ECIO"}},
};
static_assert(columns_ascend(WCDMA_COLUMNS));

}  // namespace

void parse_wcdma(const char *line) try {
    syslog(LOG_DEBUG, "Parsing WCDMA:%s", line);
    decode_columns(WCDMA_COLUMNS, line);
    update_network_type(NETWORK_WCDMA);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
