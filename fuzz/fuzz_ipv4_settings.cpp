// The QMI tool's settings text. The first byte of the input selects the module.
#include <cstring>

#include "fuzz/daemon_play.h"
#include "wwan/ipv4_settings.h"

namespace {

std::string settings_text;
module_model model = MODULE_EC25;

// Empty when the file is missing or empty.
std::string file(const std::string &name) {
    return fake::platform().files["/var/run/" + name];
}

long number_of(const std::string &text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

void require_same(const char *key, const char *file_name, std::size_t shortest, std::size_t longest) {
    const std::string value = file(file_name);
    require(fake::cell(key) == (value.empty() ? "" : "string " + value), key, " is its file's text");
    require(value.empty() || (shortest <= value.size() && value.size() <= longest), "length of ", key);
}

void prepare(fuzz_input input) {
    model = input.front() % 2 == 1 ? MODULE_RM52X : MODULE_EC25;
    settings_text = text_of(input.subspan(1)).substr(0, 511);
}

void run() {
    std::array<char, 512> settings{};
    settings_text.copy(settings.data(), settings.size() - 1);
    parse_ipv4_info(settings.data(), Json::Value(), model);
}

void check(fuzz_input) {
    const bool has_address = settings_text.find("IPv4 address: ") != std::string::npos;
    const bool has_mtu = settings_text.find("MTU: ") != std::string::npos;
    require(!was_logged("log alert:"), "no exception");
    require_same("CELL_IPV4", "wwan_ipv4", 7, 15);
    require_same("CELL_MASK", "wwan_netmask", 7, 15);
    require_same("CELL_GATEWAY", "wwan_gw", 7, 15);
    require_same("CELL_PRIMARY_DNS", "wwan_dns1", 1, 511);
    require_same("CELL_SECONDARY_DNS", "wwan_dns2", 1, 511);
    require(!has_address || file("wwan_ipv4") == wwan_ipv4, "the address in memory is that of the file");
    require(std::strlen(wwan_netmask) <= 15, "the mask is terminated");
    const std::string mtu = file("wwan_mtu");
    require(mtu.empty() != has_mtu, "an MTU line gives an MTU");
    require(mtu.empty() || (number_of(mtu) > 0 && (model != MODULE_RM52X || mtu == "1500")), "MTU ", mtu);
    const long prefix_length = number_of(file("wwan_cidr"));
    require(-1 <= prefix_length && prefix_length <= 32, "prefix length ", file("wwan_cidr"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size > 0) {
        play({data, size}, {prepare, run, check});
    }
    return 0;
}
