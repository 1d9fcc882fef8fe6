#include "modem/modem_port.h"

#include <unistd.h>

#include "base/run_flag.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"

void acquire_modem_lock() {
    if (!keep_running) {
        return;
    }
    while (access(MODEM_LOCK_FILE, F_OK) == 0) {
        usleep(50000);  // 50 ms: the other users of the port poll alike
        if (!keep_running) {
            return;
        }
    }
    // The other users wait and then create in the same two steps; there is no exclusive creation to agree on.
    create_empty_file(MODEM_LOCK_FILE);
}

int open_modem_port() {
    acquire_modem_lock();
    if (!keep_running) {
        return -1;
    }
    const int fd = ser_open(MODEM_DEVICE);
    if (fd < 0) {
        delete_file(MODEM_LOCK_FILE);
    }
    return fd;
}

void close_modem_port(int fd) {
    ser_close(fd);
    delete_file(MODEM_LOCK_FILE);
}
