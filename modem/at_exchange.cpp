#include "modem/at_exchange.h"

#include <array>
#include <string>

#include "modem/modem_port.h"
#include "platform/module_access.h"

std::optional<unsigned int> exchange_for_line(const char *command, const char *prefix, std::span<char> answer) {
    const modem_session port;
    if (!port.is_open()) {
        return std::nullopt;
    }
    const std::array<std::string, 3> texts{prefix, "OK", "ERROR"};
    return ser_write_and_wait_for_txt_get_line(port.fd(), command, texts.data(), texts.size(), answer.data(),
                                               static_cast<unsigned int>(answer.size()), 1, 1);
}

std::optional<unsigned int> exchange_for_all_lines(const char *command, std::span<char> answer) {
    const modem_session port;
    if (!port.is_open()) {
        return std::nullopt;
    }
    const std::array<std::string, 2> texts{"OK", "ERROR"};
    return ser_write_and_get_all_response_until_searchtxt(port.fd(), command, texts.data(), texts.size(), answer.data(),
                                                          static_cast<unsigned int>(answer.size()), 1, 1);
}
