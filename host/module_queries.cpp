// The typed queries: one AT exchange each, or one for every registration domain. Blocks as the exchange does. No
// exception leaves them: without memory a query fails like any other. The health check would keep the port's lock for
// ever.
#include <array>
#include <exception>
#include <optional>
#include <string>

#include "host/at_text.h"
#include "host/serial_port.h"
#include "platform/module_access.h"

namespace {

constexpr int FAILED = -1;

int get_text(int fd, const char *command, std::string (*text_in)(const at_lines &), char *buffer,
             unsigned int size) try {
    if (buffer == nullptr || size == 0) {
        return FAILED;
    }
    buffer[0] = '\0';
    const at_answer answer = ask_module(fd, command);
    if (answer.ending != at_ending::ok) {
        return FAILED;
    }
    const std::size_t length = text_in(answer.lines).copy(buffer, size - 1);
    buffer[length] = '\0';
    return static_cast<int>(length);
} catch (const std::exception &) {
    return FAILED;
}

struct registration_domain {
    const char *command;
    const char *prefix;
};

// Circuit-switched, packet-switched 2G/3G, 4G, 5G. A module may be denied in one and fine in another.
constexpr std::array<registration_domain, 4> DOMAINS = {{
    {"at+creg?\r", "+CREG:"},
    {"at+cgreg?\r", "+CGREG:"},
    {"at+cereg?\r", "+CEREG:"},
    {"at+c5greg?\r", "+C5GREG:"},
}};

}  // namespace

// Registered is proven by the first domain that says so, the contrary only by all of them: when the port fails
// before, or a stop comes, the module is not reported as unregistered. Modules without 5G answer ERROR to the last.
int zelt_at_cmd_get_registration_and_roaming(int fd, bool *registered, bool *roaming) try {
    bool answered = false;
    for (const registration_domain &domain : DOMAINS) {
        const at_answer answer = ask_module(fd, domain.command);
        if (!answer.is_complete()) {
            return FAILED;
        }
        const std::optional<int> state = registration_state(answer.lines, domain.prefix);
        if (answer.ending != at_ending::ok || !state) {
            continue;
        }
        answered = true;
        if (is_registered(*state)) {
            *registered = true;
            *roaming = is_roaming(*state);
            return 0;
        }
    }
    if (!answered) {
        return FAILED;
    }
    *registered = false;
    *roaming = false;
    return 0;
} catch (const std::exception &) {
    return FAILED;
}

int zelt_at_cmd_get_carrier_name(int fd, char *buffer, unsigned int size) {
    return get_text(fd, "at+cops?\r", carrier_name, buffer, size);
}

int zelt_at_cmd_get_imsi(int fd, char *buffer, unsigned int size) {
    return get_text(fd, "at+cimi\r", imsi, buffer, size);
}

int zelt_at_cmd_get_mdn(int fd, char *buffer, unsigned int size) {
    return get_text(fd, "at+cnum\r", own_number, buffer, size);
}

int zelt_at_cmd_get_cfun(int fd, char *buffer, unsigned int size) {
    return get_text(fd, "at+cfun?\r", functionality_level, buffer, size);
}

int zelt_at_cmd_restore_factory_settings(int fd) try {
    return ask_module(fd, "at&f\r").ending == at_ending::ok ? 0 : FAILED;
} catch (const std::exception &) {
    return FAILED;
}
