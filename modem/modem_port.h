// The AT port as a session: the lock file shared with other programs, then the serial device. A session serves one
// exchange and is closed before its answer is decoded; registration and subscriber are published, and a reset
// requested, while it is still open. Waits for the lock as long as another program holds it; logs nothing but an
// exception of its own.
#pragma once

inline constexpr const char *MODEM_DEVICE = "/dev/ttyQSB3";
inline constexpr const char *MODEM_LOCK_FILE = "/tmp/zelt.cli";

// Waits until no other program holds the lock file, then creates it. Returns without it when the daemon is stopping.
void acquire_modem_lock();

// Takes the lock and opens the device. The descriptor belongs to close_modem_port; negative, with the lock given back,
// when the device cannot be opened or the daemon is stopping.
int open_modem_port();

void close_modem_port(int fd);

// A session that ends with its scope, however the scope is left.
class modem_session {
public:
    modem_session() : fd_(open_modem_port()) {}
    ~modem_session() {
        if (is_open()) {
            close_modem_port(fd_);
        }
    }
    modem_session(const modem_session &) = delete;
    modem_session &operator=(const modem_session &) = delete;

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

private:
    int fd_;
};
