#include "decode/gsm.h"

#include <syslog.h>

#include "base/exception_log.h"
#include "decode/network_type.h"
#include "decode/wire_columns.h"

namespace {

// +QENG: "servingcell","LIMSRV","GSM",432,11,587,293A,31,98,-,-63,255,255,0,43,43,1,-,-
// column                            0   1  2   3    4  5  6 7   8   9  10
//
// 1 country code, 2 network code, 3 location area code and 4 cell identity (hexadecimal), 5 base station identity code,
// 6 ARFCN, 7 band, 8 received level, 9 transmit power.
// clang-format off
constexpr wire_column GSM_COLUMNS[] = {
    {1, as_it_stands, {"CELL_MCC"}},
    {2, as_it_stands, {"CELL_MNC"}},
    {3, stoi_hex_to_decimal, {"CELL_LAC"}},
    {4, stol_hex_to_decimal, {"CELL_CID"}},
    {5, as_it_stands, {"CELL_BSIC"}},
    {6, as_it_stands, {"CELL_ARFCN", "CELL_CHANNEL"}},
    {7, as_it_stands, {"CELL_BAND"}},
    {8, as_it_stands, {"CELL_RXLEV"}},
    {9, as_it_stands, {"CELL_TXP"}},
};
// clang-format on
static_assert(columns_ascend(GSM_COLUMNS));

}  // namespace

void parse_gsm(const char *line) try {
    syslog(LOG_DEBUG, "Parsing GSM:%s", line);
    decode_columns(GSM_COLUMNS, line);
    update_network_type(NETWORK_GSM);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
