#include "modem/modem_port.h"

#include <exception>
#include <utility>

#include <unistd.h>

#include "base/exception_log.h"
#include "base/run_flag.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"

namespace {

// From the creation of the lock file by this process to its removal.
bool lock_is_ours = false;

void give_lock_back() {
    if (std::exchange(lock_is_ours, false)) {
        delete_file(MODEM_LOCK_FILE);
    }
}

}  // namespace

void acquire_modem_lock() try {
    lock_is_ours = false;  // a lock that the health check has left counts as another program's
    if (!keep_running) {
        return;
    }
    while (access(MODEM_LOCK_FILE, F_OK) == 0) {
        usleep(50000);  // 50 ms: the other users of the port poll alike
        if (!keep_running) {
            return;
        }
    }
    if (!keep_running) {  // a stop during the last look
        return;
    }
    // The other users wait and then create in the same two steps; there is no exclusive creation to agree on.
    create_empty_file(MODEM_LOCK_FILE);
    lock_is_ours = true;
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

int open_modem_port() try {
    acquire_modem_lock();
    // Both: a stop may come right after the lock was taken.
    const int fd = lock_is_ours && keep_running ? ser_open(MODEM_DEVICE) : -1;
    if (fd < 0) {
        give_lock_back();
    }
    return fd;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    give_lock_back();
    return -1;
}

void close_modem_port(int fd) try {
    ser_close(fd);
    lock_is_ours = false;
    delete_file(MODEM_LOCK_FILE);
} catch (const std::exception &e) {
    log_exception(e, __func__);
    give_lock_back();
}
