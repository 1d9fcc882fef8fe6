#include "modem/registration.h"

#include <exception>

#include <syslog.h>

#include "base/exception_log.h"
#include "modem/modem_port.h"
#include "platform/module_access.h"
#include "platform/sysdb.h"

void update_registration_and_roaming() try {
    syslog(LOG_INFO, "Updating registration and roaming");
    const modem_session port;
    if (!port.is_open()) {
        return;
    }
    bool roaming = false;
    if (zelt_at_cmd_get_registration_and_roaming(port.fd(), &cell_registered, &roaming) == 0) {
        sysdb_namedb_write_int(nullptr, "CELL", "CELL_REGISTERED", cell_registered ? 1 : 0, 0);
        sysdb_namedb_write_int(nullptr, "CELL", "CELL_ROAMING", roaming ? 1 : 0, 0);
    }
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
