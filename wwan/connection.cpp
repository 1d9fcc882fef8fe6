#include "wwan/connection.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

#include <syslog.h>

#include "base/exception_log.h"
#include "base/target_arithmetic.h"
#include "platform/device_utils.h"
#include "platform/sysdb.h"

namespace {

constexpr const char *CHANGE_TIME_FILE = "/tmp/cell_last_connect_changed_time";

// The state at the last logged event; -1 until the first. Never goes back to -1.
int last_cell_connected = -1;

struct file_closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;

// Unsigned on purpose: a file from a later clock wraps round to a very long time instead of a negative one.
double minutes_between(std::uint32_t earlier, std::uint32_t later) {
    return static_cast<double>(static_cast<std::uint32_t>(later - earlier)) / 60.0;
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

int read_last_connect_change_time(unsigned int *t) {
    const file_handle file(std::fopen(CHANGE_TIME_FILE, "re"));
    if (!file) {
        return -1;
    }
    std::array<char, 256> text{};
    text[std::fread(text.data(), 1, text.size() - 1, file.get())] = '\0';
    const std::optional<std::uint32_t> time = leading_uint32(text.data());
    if (!time) {
        return -1;
    }
    *t = *time;
    return 0;
}

int write_last_connect_change_time(unsigned int t) {
    const file_handle file(std::fopen(CHANGE_TIME_FILE, "we"));
    if (!file) {
        return -1;
    }
    std::fprintf(file.get(), "%u", t);
    std::fflush(file.get());
    return 0;
}
