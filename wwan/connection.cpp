#include "wwan/connection.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "base/exception_log.h"
#include "base/target_arithmetic.h"
#include "platform/device_utils.h"
#include "platform/sysdb.h"

namespace {

constexpr const char *CHANGE_TIME_FILE = "/tmp/cell_last_connect_changed_time";

// The state at the last logged event; -1 until the first. Never goes back to -1.
int last_cell_connected = -1;

constexpr mode_t CHANGE_TIME_MODE = 0644;  // whatever the umask: people and scripts read it

struct file_closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using time_stream = std::unique_ptr<std::FILE, file_closer>;

// "/tmp" belongs to everybody: what another user has put there may be a link to a file of the system's, or a FIFO at
// whose other end nobody is. Neither is followed, waited for or changed; only a regular file with this one name is
// used.
bool is_usable(int fd) {
    struct stat status = {};
    return fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink < 2;
}

// Not O_TRUNC: what is not usable must not lose its content either.
time_stream open_change_time_file(bool for_writing) {
    const int flags = for_writing ? O_WRONLY | O_CREAT : O_RDONLY;
    const int fd = open(CHANGE_TIME_FILE, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, CHANGE_TIME_MODE);
    const bool ready = is_usable(fd) && (!for_writing || (fchmod(fd, CHANGE_TIME_MODE) == 0 && ftruncate(fd, 0) == 0));
    std::FILE *file = ready ? fdopen(fd, for_writing ? "w" : "r") : nullptr;
    if (file == nullptr && fd >= 0) {
        close(fd);
    }
    return time_stream(file);
}

// Unsigned on purpose: a file from a later clock wraps round to a very long time instead of a negative one.
double minutes_between(std::uint32_t earlier, std::uint32_t later) {
    return static_cast<double>(wrapped_difference(later, earlier)) / 60.0;
}

}  // namespace

void check_connection() try {
    std::array<char, 16> ip{};
    cell_connected = check_interface_ip("wwan0", ip.data()) == 0 ? 1 : 0;
    syslog(LOG_DEBUG, "Check connection (ip:%s):%d", ip.data(), cell_connected);
    sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", cell_connected, 0);
    update_event_log();
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

void update_event_log() try {
    unsigned int last_change = 0;
    if (read_last_connect_change_time(&last_change) != 0) {
        last_change = 0;
    }
    if (cell_connected == last_cell_connected) {
        return;
    }
    const std::uint32_t now = fwtime_s(0);
    const double minutes = minutes_between(last_change, now);
    if (cell_connected != 0) {
        syslog(LOG_ALERT, "Cell connected (%0.2f minutes offline)", minutes);
        cell_new_connection = true;
    } else if (last_cell_connected == -1) {
        syslog(LOG_ALERT, "Cell disconnected");
    } else {
        syslog(LOG_ALERT, "Cell disconnected (%0.2f minutes online)", minutes);
    }
    write_last_connect_change_time(now);
    last_cell_connected = cell_connected;
} catch (const std::exception &e) {
    log_exception(e, __func__);
}

int read_last_connect_change_time(unsigned int *t) try {
    const time_stream file = open_change_time_file(false);
    // The text of the number, behind any number of blanks; what it amounts to in 32 bits is not for the C library of a
    // 64-bit machine to say.
    std::array<char, 256> text{};
    if (!file || std::fscanf(file.get(), " %255[-+0-9]", text.data()) != 1) {
        return -1;
    }
    const std::optional<std::uint32_t> time = leading_uint32(text.data());
    if (!time) {
        return -1;
    }
    *t = *time;
    return 0;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    return -1;
}

int write_last_connect_change_time(unsigned int t) try {
    const time_stream file = open_change_time_file(true);
    if (!file) {
        return -1;
    }
    std::fprintf(file.get(), "%u", t);
    std::fflush(file.get());
    return 0;
} catch (const std::exception &e) {
    log_exception(e, __func__);
    return -1;
}
