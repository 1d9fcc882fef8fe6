// The world in memory: scripts the platform in memory.
#include "tests/contract/world.h"
#include "tests/fake_platform/fake_platform.h"

using fake::platform;

struct world::implementation {};

namespace {

fake::typed_answer told(const std::string &text) {
    return {static_cast<int>(text.size()), text};
}

}  // namespace

world::world() {
    fake::reset();
    platform().misuse_is_expected = true;  // the contracts say what becomes of it
}

world::~world() {
    fake::reset();
}

void world::fill_the_database() {
    fake::fail("sysdb_txn_end");
}

void world::make_room_in_the_database() {}

std::string world::device() {
    return "/dev/ttyQSB3";
}

void world::module_prints_line(const std::string &command, const std::string &line) {
    platform().at_answers[command] = {{1, line}};
}

void world::module_prints(const std::string &command, const std::vector<std::string> &lines,
                          const std::string &ending) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\r\n";
    }
    platform().at_answers[command] = {{ending == "OK" ? 0U : 1U, text + ending}};
}

void world::module_knows(const module_facts &facts) {
    platform().carrier = told(facts.carrier);
    platform().imsi = told(facts.imsi);
    platform().mdn = told(facts.mdn);
    platform().cfun = told(facts.cfun);
    platform().registration_result = facts.registered ? 0 : -1;
    platform().registered = facts.registered.value_or(false);
    platform().roaming = facts.roaming;
}

void world::qmi_tool_prints(const std::string &text) {
    platform().qmicli = {0, text};
}

void world::qmi_tool_fails() {
    platform().qmicli = {-1, "text that does not count"};
}

void world::configuration_is(const std::string &json) {
    platform().whole_config = json;
}

void world::configuration_is_missing() {
    platform().whole_config.clear();
}

void world::start_broker() {
    platform().broker = true;
}

// No broker answers before it was started.
int world::broker_port() {
    platform().broker = false;
    return 1883;
}

std::vector<mqtt_message> world::messages(std::size_t /*count*/) {
    std::vector<mqtt_message> all;
    for (const fake::message &each : platform().messages) {
        all.push_back({each.topic, each.payload});
    }
    return all;
}

std::string world::path(const std::string &name) {
    return "/tmp/" + name;
}

void world::write(const std::string &path, const std::string &content) {
    platform().files[path] = content;
}

std::optional<std::string> world::content(const std::string &path) {
    const auto found = platform().files.find(path);
    return found == platform().files.end() ? std::nullopt : std::optional(found->second);
}

bool world::make_network() {
    platform().interfaces = {"wwan0"};
    return true;
}

void world::give_address(const std::string &ipv4) {
    platform().wwan_ip = ipv4;
}

bool world::is_up() {
    return platform().interfaces_up.contains("wwan0");
}

void world::command_ends_with(const std::string &command, int status) {
    platform().command_status[command] = status;
}
