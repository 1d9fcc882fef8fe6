#include "modem/subscriber.h"

#include <array>
#include <exception>

#include <syslog.h>

#include "base/exception_log.h"
#include "modem/modem_port.h"
#include "platform/module_access.h"
#include "platform/sysdb.h"

namespace {

using subscriber_query = int (*)(int fd, char *buffer, unsigned int size);

template <unsigned int size>
void publish_answer(subscriber_query query, const char *key) {
    const modem_session port;
    if (!port.is_open()) {
        return;
    }
    std::array<char, size> answer{};
    if (query(port.fd(), answer.data(), size) > 0) {
        sysdb_namedb_write_str(nullptr, "CELL", key, answer.data(), 0);
    }
}

}  // namespace

void save_carrier_name_to_sysdb() try {
    syslog(LOG_INFO, "Getting carrier name");
    publish_answer<64>(zelt_at_cmd_get_carrier_name, "CELL_CARRIER");  // names have up to some 30 characters
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_imsi_to_sysdb() try {
    syslog(LOG_INFO, "Getting IMSI");
    publish_answer<32>(zelt_at_cmd_get_imsi, "CELL_IMSI");  // at most 15 digits
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void save_mdn_to_sysdb() try {
    syslog(LOG_INFO, "Getting MDN");
    publish_answer<32>(zelt_at_cmd_get_mdn, "CELL_MDN");  // at most 15 digits and a plus sign
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
