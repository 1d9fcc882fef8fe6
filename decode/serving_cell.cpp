#include "decode/serving_cell.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <optional>

#include <syslog.h>

#include "base/exception_log.h"
#include "decode/follow_up_queries.h"
#include "decode/gsm.h"
#include "decode/lte.h"
#include "decode/nr.h"
#include "decode/wcdma.h"
#include "modem/at_exchange.h"
#include "platform/module_access.h"
#include "stats/cell_stats_map.h"

namespace {

constexpr const char *SERVING_CELL_COMMAND = "at+qeng=\"servingcell\"\r";

struct technology {
    const char *tag;
    void (*decode)(const char *line);  // begins at the tag's opening quote
};

void decode_lte(const char *line) {
    parse_lte_catm(line, true);
}

void decode_catm(const char *line) {
    parse_lte_catm(line, false);
}

void decode_wcdma(const char *line) {
    parse_wcdma(line);
    get_band_for_wcdma();
}

void decode_gsm(const char *line) {
    parse_gsm(line);
    get_rssi_for_gsm();
}

// The first that is found anywhere in a single-technology answer wins.
constexpr std::array<technology, 4> SINGLE_TECHNOLOGIES{{
    {"\"LTE\"", decode_lte},
    {"\"CAT-M\"", decode_catm},
    {"\"WCDMA\"", decode_wcdma},
    {"\"GSM\"", decode_gsm},
}};

// LTE before NR: with both up, the NR values replace the anchor's under the generic keys.
constexpr std::array<technology, 3> EN_DC_TECHNOLOGIES{{
    {"\"LTE\"", decode_lte},
    {"\"NR5G-NSA\"", parse_5g_nsa},
    {"\"NR5G-SA\"", parse_5g_sa},
}};

}  // namespace

void parse_rm5XX_stats() try {
    syslog(LOG_INFO, "Parsing RM5XX stats");
    std::array<char, 512> answer{};  // an LTE and an NR line, of some 100 characters each, and the final result
    const std::optional<unsigned int> result = exchange_for_all_lines(SERVING_CELL_COMMAND, answer);
    if (!result) {
        return;
    }
    reset_nr5g_values();
    syslog(LOG_DEBUG, "SERVINGCELL:%s", answer.data());
    if (*result > SER_ANSWER_COMPLETE_MAX) {
        syslog(LOG_DEBUG, "Failed to get servingcell");
    } else if (answer.front() == '\0') {
        syslog(LOG_DEBUG, "Error in servingcell response");
    } else if (std::strstr(answer.data(), "NR5G") != nullptr) {
        parse_servingcell_en_dc_mode(answer.data());
    } else {
        parse_servingcell_none_5g_mode(answer.data());
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_4g_module_stats() try {
    syslog(LOG_INFO, "Parsing non-5G module stats");
    std::array<char, 256> answer{};  // one line of some 100 characters
    const std::optional<unsigned int> result = exchange_for_line(SERVING_CELL_COMMAND, "+QENG:", answer);
    if (!result) {
        return;
    }
    syslog(LOG_DEBUG, "SERVINGCELL:%s", answer.data());
    if (*result == SER_PORT_CLOSED) {
        syslog(LOG_NOTICE, "Port closed!");
    } else if (*result == SER_LINE_FOUND) {
        parse_servingcell_none_5g_mode(answer.data());
    } else {
        syslog(LOG_DEBUG, "Failed to get QENG servingcell");
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_servingcell_en_dc_mode(char *response) try {
    std::array<bool, EN_DC_TECHNOLOGIES.size()> decoded{};
    char *state = nullptr;
    for (const char *line = strtok_r(response, "\n", &state); line != nullptr; line = strtok_r(nullptr, "\n", &state)) {
        for (std::size_t i = 0; i < EN_DC_TECHNOLOGIES.size(); ++i) {
            const char *found = decoded[i] ? nullptr : std::strstr(line, EN_DC_TECHNOLOGIES[i].tag);
            if (found != nullptr) {
                decoded[i] = true;
                EN_DC_TECHNOLOGIES[i].decode(found);
            }
        }
        if (std::ranges::all_of(decoded, std::identity{})) {
            return;
        }
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void parse_servingcell_none_5g_mode(const char *response) try {
    for (const technology &candidate : SINGLE_TECHNOLOGIES) {
        const char *found = std::strstr(response, candidate.tag);
        if (found != nullptr) {
            candidate.decode(found);
            return;
        }
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
