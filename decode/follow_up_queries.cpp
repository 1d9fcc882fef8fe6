#include "decode/follow_up_queries.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include <syslog.h>

#include "base/exception_log.h"
#include "base/not_reported.h"
#include "base/target_arithmetic.h"
#include "decode/signal_quality.h"
#include "modem/at_exchange.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"
#include "stats/cell_stats_map.h"

namespace {

// True when the line is in `answer`. `name` is the command's name in the logs.
bool line_received(std::optional<unsigned int> result, const char *name, const char *answer) {
    if (!result) {
        return false;
    }
    if (*result == SER_PORT_CLOSED) {
        syslog(LOG_NOTICE, "Port closed!");
        return false;
    }
    if (*result != SER_LINE_FOUND) {
        syslog(LOG_DEBUG, "Failed to get %s", name);
        return false;
    }
    syslog(LOG_DEBUG, "%s:%s", name, answer);
    return true;
}

// The comma field with this number, counted from 0, of the text behind the first `prefix_length` characters.
// Null when there are fewer fields. Splits the text in place.
char *field_after_prefix(std::span<char> line, std::size_t prefix_length, int number) {
    if (std::string_view(line.data()).size() < prefix_length) {
        return nullptr;
    }
    char *state = nullptr;
    char *field = strtok_consecutive_r(line.data() + prefix_length, ",", &state);
    for (int i = 0; i < number && field != nullptr; ++i) {
        field = strtok_consecutive_r(nullptr, ",", &state);
    }
    return field;
}

// 3GPP 27.007 +CSQ: 0 to 31 in steps of 2 dB from -113 dBm; 99 stands for not known.
std::int32_t csq_to_rssi_dbm(std::int32_t csq) {
    return csq <= 98 ? clamp_int32(2 * std::int64_t{csq} - 113) : NOT_REPORTED;
}

}  // namespace

// +QNWINFO: "HSPA+","310410","WCDMA 850",4385
// field          0        1           2    3
void get_band_for_wcdma() try {
    syslog(LOG_INFO, "Getting band for WCDMA");
    std::array<char, 64> answer{};  // the line below, with longer names
    if (!line_received(exchange_for_line("at+qnwinfo\r", "+QNWINFO:", answer), "QNWINFO", answer.data())) {
        return;
    }
    char *band = field_after_prefix(answer, std::string_view("+QNWINFO:").size(), 2);
    if (band == nullptr) {
        return;
    }
    strip_not_in_range_list(band, "09", 1);
    syslog(LOG_DEBUG, "Parsed out %s", band);
    update_cell_stat("CELL_BAND", band);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

// +CSQ: 18,99
// field  0  1
void get_rssi_for_gsm() try {
    syslog(LOG_INFO, "Getting RSSI for GSM");
    std::array<char, 32> answer{};  // the line below
    if (!line_received(exchange_for_line("at+csq\r", "+CSQ:", answer), "CSQ", answer.data())) {
        return;
    }
    // Modules put a blank behind this prefix; without one the first digit is skipped with it.
    const char *csq = field_after_prefix(answer, std::string_view("+CSQ: ").size(), 0);
    if (csq == nullptr) {
        return;
    }
    syslog(LOG_DEBUG, "Parsed out %s", csq);
    const std::int32_t rssi_dbm = csq_to_rssi_dbm(leading_int32(csq));
    update_cell_stat("CELL_RSSI", std::to_string(rssi_dbm));
    update_cell_stat("CELL_SQI", std::to_string(gsm_rssi_to_sqi(rssi_dbm)));
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
