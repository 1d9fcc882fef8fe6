#include "decode/carrier_aggregation.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>

#include <syslog.h>

#include "base/exception_log.h"
#include "base/not_reported.h"
#include "base/target_arithmetic.h"
#include "modem/at_exchange.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"
#include "stats/carriers.h"

namespace {

std::int32_t digits_of(char *field) {
    strip_not_in_range_list(field, "09", 1);
    return leading_int32(field);
}

std::string bandwidth_mhz(std::int32_t resource_blocks) {
    struct row {
        std::int32_t resource_blocks;
        const char *mhz;
    };
    static constexpr std::array<row, 6> TABLE{{{6, "1.4"}, {15, "3"}, {25, "5"}, {50, "10"}, {75, "15"}, {100, "20"}}};
    for (const row &candidate : TABLE) {
        if (candidate.resource_blocks == resource_blocks) {
            return candidate.mhz;
        }
    }
    return NOT_REPORTED_TEXT;
}

// +QCAINFO: "SCC",1350,100,"LTE BAND 3",1,240,-95,-18,-68,-10,0,-,-
// column       0   1    2        3      4  5   6   7   8   9  10
//
// 1 EARFCN, 2 bandwidth in resource blocks, 3 band, 4 state, 5 physical cell id, 6 RSRP dBm, 7 RSRQ dB, 8 RSSI dBm, 9
// SINR.
struct scc_column {
    int column;
    void (*store)(scc_info &scc, char *field);
};

constexpr std::array<scc_column, 7> SCC_COLUMNS{{
    {1, [](scc_info &scc, char *field) { scc.channel = leading_int32(field); }},
    {2, [](scc_info &scc, char *field) { scc.bw_dl = bandwidth_mhz(leading_int32(field)); }},
    {3, [](scc_info &scc, char *field) { scc.band = digits_of(field); }},
    {6, [](scc_info &scc, char *field) { scc.rsrp = leading_int32(field); }},
    {7, [](scc_info &scc, char *field) { scc.rsrq = leading_int32(field); }},
    {8, [](scc_info &scc, char *field) { scc.rssi = leading_int32(field); }},
    {9, [](scc_info &scc, char *field) { scc.sinr = leading_int32(field); }},
}};

bool is_lte_scc(const char *line) {
    const bool scc = std::strstr(line, "\"SCC\"") != nullptr || std::strstr(line, "\"scc\"") != nullptr;
    const bool lte = std::strstr(line, "LTE") != nullptr || std::strstr(line, "lte") != nullptr;
    return scc && lte;
}

// Nothing when every decoded column of the line is empty.
std::optional<scc_info> decode_scc(char *line) {
    scc_info scc;
    bool any_column = false;
    auto next = SCC_COLUMNS.begin();
    char *state = nullptr;
    int column = 0;
    for (char *field = strtok_consecutive_r(line, ",", &state); field != nullptr && next != SCC_COLUMNS.end();
         field = strtok_consecutive_r(nullptr, ",", &state), ++column) {
        if (column != next->column) {
            continue;
        }
        if (*field != '\0') {
            next->store(scc, field);
            any_column = true;
        }
        ++next;
    }
    return any_column ? std::optional(scc) : std::nullopt;
}

}  // namespace

void save_carrier_aggregation_to_sysdb() try {
    syslog(LOG_INFO, "Getting carrier aggregation");
    std::array<char, 512> answer{};  // seven lines of some 65 characters; what does not fit is not seen
    const std::optional<unsigned int> result = exchange_for_all_lines("at+qcainfo\r", answer);
    if (!result) {
        return;
    }
    syslog(LOG_DEBUG, "QCAINFO:%s", answer.data());
    if (*result > SER_ANSWER_COMPLETE_MAX) {
        syslog(LOG_DEBUG, "Failed to get qcainfo");
        return;
    }
    if (answer.front() == '\0') {
        return;
    }
    const int count = parse_ca_values_and_return_num_of_scc_info(answer.data());
    save_ca_values_to_sysdb(count);
    clear_carrier_aggregation_values(count + 1);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

int parse_ca_values_and_return_num_of_scc_info(char *answer) try {
    int count = 0;
    char *state = nullptr;
    for (char *line = strtok_consecutive_r(answer, "\r\n", &state); line != nullptr;
         line = strtok_consecutive_r(nullptr, "\r\n", &state)) {
        if (!is_lte_scc(line)) {
            continue;
        }
        syslog(LOG_DEBUG, "Found SCC %d:%s", count + 1, line);
        if (const std::optional<scc_info> scc = decode_scc(line)) {
            ca_vector.at(static_cast<std::size_t>(count)) = *scc;
            if (++count == MOST_CARRIERS) {
                return count;
            }
        }
    }
    return count;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    throw;
}
