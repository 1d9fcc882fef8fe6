#include "modem/modem_port.h"

#include <exception>

#include <unistd.h>

#include "base/exception_log.h"
#include "base/run_flag.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"

namespace {

// True when the lock is ours to give back.
bool take_modem_lock() {
    if (!keep_running) {
        return false;
    }
    while (access(MODEM_LOCK_FILE, F_OK) == 0) {
        usleep(50000);  // 50 ms: the other users of the port poll alike
        if (!keep_running) {
            return false;
        }
    }
    if (!keep_running) {  // a stop during the last look
        return false;
    }
    // The other users wait and then create in the same two steps; there is no exclusive creation to agree on.
    create_empty_file(MODEM_LOCK_FILE);
    return true;
}

// Gives the lock back unless a session came of it.
class modem_lock {
public:
    modem_lock() : held_(take_modem_lock()) {}
    ~modem_lock() {
        if (held_) {
            delete_file(MODEM_LOCK_FILE);
        }
    }
    modem_lock(const modem_lock &) = delete;
    modem_lock &operator=(const modem_lock &) = delete;

    bool is_held() const { return held_; }
    void hand_over() { held_ = false; }

private:
    bool held_;
};

}  // namespace

void acquire_modem_lock() try { take_modem_lock(); } catch (const std::exception &e) {
    log_exception(e, __func__);
}

int open_modem_port() try {
    modem_lock lock;
    if (!lock.is_held() || !keep_running) {  // the latter: a stop since the lock was taken
        return -1;
    }
    const int fd = ser_open(MODEM_DEVICE);
    if (fd >= 0) {
        lock.hand_over();
    }
    return fd;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    return -1;
}

void close_modem_port(int fd) try {
    ser_close(fd);
    delete_file(MODEM_LOCK_FILE);
} catch (const std::exception &e) {
    log_exception(e, __func__);
}
