#include "base/exception_log.h"

#include <syslog.h>

void log_exception(const std::exception &e, const char *operation) {
    syslog(LOG_ALERT, "exception %s in %s", e.what(), operation);
}
