#include "tests/fake_platform/fake_platform.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <json/json.h>

#include "platform/board.h"
#include "platform/config.h"
#include "platform/device_utils.h"
#include "platform/module_access.h"
#include "platform/mqtt_client.h"
#include "platform/sysdb.h"

namespace fake {

namespace {

struct hook {
    int calls_left;
    std::function<void()> action;  // none: the call fails
};

struct fake_state {
    platform_state platform;
    std::map<std::string, std::vector<hook>> hooks;
};

fake_state &state() {
    static fake_state instance;
    return instance;
}

// A transaction works on a copy, which the commit puts in place.
struct open_session {
    std::string named_database;
    database contents;
};

open_session *session_of(sysdb_handle *handle) {
    return static_cast<open_session *>(handle->session);
}

}  // namespace

platform_state &platform() {
    return state().platform;
}

void reset() {
    state() = fake_state{};
}

void fail(const std::string &operation, int nth) {
    state().hooks[operation].push_back({nth, nullptr});
}

void before(const std::string &operation, int nth, std::function<void()> action) {
    state().hooks[operation].push_back({nth, std::move(action)});
}

bool enter_unseen(const std::string &operation) {
    bool fails = false;
    std::vector<std::function<void()>> due;
    for (hook &each : state().hooks[operation]) {
        if (--each.calls_left == 0) {
            fails = fails || !each.action;
            due.push_back(each.action);
        }
    }
    for (const auto &action : due) {
        if (action) {
            action();
        }
    }
    return fails;
}

bool enter(const std::string &operation, const std::string &journal_line) {
    platform().journal.push_back(operation + (journal_line.empty() ? "" : " ") + journal_line);
    return enter_unseen(operation);
}

std::vector<std::string> journal_of(const std::vector<std::string> &first_words) {
    std::vector<std::string> found;
    for (const std::string &line : platform().journal) {
        for (const std::string &word : first_words) {
            if (line == word || line.starts_with(word + " ")) {
                found.push_back(line);
            }
        }
    }
    return found;
}

std::vector<std::string> log_lines() {
    std::vector<std::string> found;
    for (const std::string &line : journal_of({"log"})) {
        found.push_back(line.substr(std::strlen("log ")));
    }
    return found;
}

std::string text_of(const value &stored) {
    if (const int *number = std::get_if<int>(&stored)) {
        return "int " + std::to_string(*number);
    }
    if (const double *real = std::get_if<double>(&stored)) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%.15g", *real);
        const bool integral = std::strpbrk(text.data(), ".einf") == nullptr;
        return std::string("real ") + text.data() + (integral ? ".0" : "");
    }
    return "string " + std::get<std::string>(stored);
}

std::string cell(const std::string &key) {
    const database &contents = platform().databases["CELL"];
    const auto found = contents.find(key);
    return found == contents.end() ? "" : text_of(found->second);
}

}  // namespace fake

using fake::enter;
using fake::enter_unseen;
using fake::platform;

// --- sysdb ---

int sysdb_init(sysdb_handle *handle, int flags) {
    if (enter("sysdb_init", std::to_string(flags))) {
        return -1;
    }
    handle->session = new fake::open_session;
    return 0;
}

void sysdb_exit(sysdb_handle *handle) {
    enter("sysdb_exit", "");
    delete fake::session_of(handle);
}

int sysdb_txn_start(sysdb_handle *handle, const char *named_database, int flags) {
    if (enter("sysdb_txn_start", std::string(named_database) + " " + std::to_string(flags))) {
        return -1;
    }
    if (flags == SYSDB_READ_ONLY && !platform().databases.contains(named_database)) {
        return -1;
    }
    fake::session_of(handle)->named_database = named_database;
    fake::session_of(handle)->contents = platform().databases[named_database];
    return 0;
}

int sysdb_txn_end(sysdb_handle *handle) {
    if (enter("sysdb_txn_end", "")) {
        return -1;
    }
    platform().databases[fake::session_of(handle)->named_database] = fake::session_of(handle)->contents;
    return 0;
}

namespace {

int write_in_transaction(const char *operation, sysdb_handle *handle, const char *key, const fake::value &value) {
    if (enter(operation, std::string(key) + " " + fake::text_of(value))) {
        return -1;
    }
    fake::session_of(handle)->contents[key] = value;
    return 0;
}

int write_one_shot(const char *operation, const char *database, const char *key, const fake::value &value) {
    if (enter(operation, std::string(database) + " " + key + " " + fake::text_of(value))) {
        return -1;
    }
    platform().databases[database][key] = value;
    return 0;
}

const fake::value *stored_value(const char *operation, sysdb_handle *handle, const char *key) {
    if (enter_unseen(operation)) {
        return nullptr;
    }
    const fake::database &contents = fake::session_of(handle)->contents;
    const auto found = contents.find(key);
    return found == contents.end() ? nullptr : &found->second;
}

}  // namespace

int sysdb_write_int(sysdb_handle *handle, const char *key, int value, int) {
    return write_in_transaction("sysdb_write_int", handle, key, value);
}

int sysdb_write_dbl(sysdb_handle *handle, const char *key, double value, int) {
    return write_in_transaction("sysdb_write_dbl", handle, key, value);
}

int sysdb_write_str(sysdb_handle *handle, const char *key, const char *value, int) {
    return write_in_transaction("sysdb_write_str", handle, key, std::string(value));
}

int sysdb_del(sysdb_handle *handle, const char *key) {
    if (enter("sysdb_del", key)) {
        return -1;
    }
    fake::session_of(handle)->contents.erase(key);
    return 0;
}

int sysdb_read_int(sysdb_handle *handle, const char *key, int *value) {
    const fake::value *stored = stored_value("sysdb_read_int", handle, key);
    if (stored == nullptr || std::holds_alternative<std::string>(*stored)) {
        return -1;
    }
    const double *real = std::get_if<double>(stored);
    *value = real != nullptr ? static_cast<int>(*real) : std::get<int>(*stored);
    return 0;
}

int sysdb_read_dbl(sysdb_handle *handle, const char *key, double *value) {
    const fake::value *stored = stored_value("sysdb_read_dbl", handle, key);
    if (stored == nullptr || !std::holds_alternative<double>(*stored)) {
        return -1;
    }
    *value = std::get<double>(*stored);
    return 0;
}

int sysdb_read_str(sysdb_handle *handle, const char *key, char *buffer, unsigned int size) {
    const fake::value *stored = stored_value("sysdb_read_str", handle, key);
    if (stored == nullptr || !std::holds_alternative<std::string>(*stored)) {
        return -1;
    }
    std::snprintf(buffer, size, "%s", std::get<std::string>(*stored).c_str());
    return 0;
}

int sysdb_namedb_write_int(sysdb_handle *, const char *database, const char *key, int value, int) {
    return write_one_shot("sysdb_namedb_write_int", database, key, value);
}

int sysdb_namedb_write_str(sysdb_handle *, const char *database, const char *key, const char *value, int) {
    return write_one_shot("sysdb_namedb_write_str", database, key, std::string(value));
}

int sysdb_namedb_del(sysdb_handle *, const char *database, const char *key) {
    if (enter("sysdb_namedb_del", std::string(database) + " " + key)) {
        return -1;
    }
    platform().databases[database].erase(key);
    return 0;
}

// --- module access ---

module_model get_module_model_from_config_string(const char *name) {
    static const std::map<std::string, module_model> MODELS{{"BG96", MODULE_BG96},
                                                            {"EC21", MODULE_EC21},
                                                            {"EC25", MODULE_EC25},
                                                            {"RM500Q", MODULE_RM50X},
                                                            {"RM520N", MODULE_RM52X}};
    enter("get_module_model_from_config_string", name);
    const auto found = MODELS.find(name);
    return found == MODELS.end() ? MODULE_UNKNOWN : found->second;
}

void stop_libzelt_funcs() {
    enter("stop_libzelt_funcs", "");
}

int ser_open(const char *device) {
    return enter("ser_open", device) ? -1 : 7;
}

void ser_close(int) {
    enter("ser_close", "");
}

namespace {

fake::at_answer next_at_answer(const char *operation, const char *command, unsigned int failed_result) {
    const std::string name(command, std::strcspn(command, "\r"));
    if (enter(operation, name)) {
        return {failed_result, ""};
    }
    auto &answers = platform().at_answers[name];
    if (answers.empty()) {
        return {failed_result, ""};
    }
    fake::at_answer answer = answers.front();
    if (answers.size() > 1) {
        answers.erase(answers.begin());
    }
    return answer;
}

int give_text(const fake::typed_answer &answer, char *buffer, unsigned int size) {
    std::snprintf(buffer, size, "%s", answer.text.c_str());
    return answer.result;
}

}  // namespace

unsigned int ser_write_and_wait_for_txt_get_line(int, const char *command, const std::string *texts,
                                                 unsigned int text_count, char *buffer, unsigned int buffer_size,
                                                 unsigned int flag, unsigned int other_flag) {
    platform().at_exchanges.push_back({command, {texts, texts + text_count}, buffer_size, {flag, other_flag}});
    const auto answer = next_at_answer("ser_write_and_wait_for_txt_get_line", command, 3);
    std::snprintf(buffer, buffer_size, "%s", answer.text.c_str());
    return answer.result;
}

unsigned int ser_write_and_get_all_response_until_searchtxt(int, const char *command, const std::string *texts,
                                                            unsigned int text_count, char *buffer,
                                                            unsigned int buffer_size, unsigned int flag,
                                                            unsigned int other_flag) {
    platform().at_exchanges.push_back({command, {texts, texts + text_count}, buffer_size, {flag, other_flag}});
    const auto answer = next_at_answer("ser_write_and_get_all_response_until_searchtxt", command, 2);
    std::snprintf(buffer, buffer_size, "%s", answer.text.c_str());
    return answer.result;
}

int zelt_at_cmd_get_registration_and_roaming(int, bool *registered, bool *roaming) {
    if (enter("zelt_at_cmd_get_registration_and_roaming", "")) {
        return -1;
    }
    *registered = platform().registered;
    *roaming = platform().roaming;
    return platform().registration_result;
}

int zelt_at_cmd_get_carrier_name(int, char *buffer, unsigned int size) {
    return enter("zelt_at_cmd_get_carrier_name", std::to_string(size)) ? -1
                                                                       : give_text(platform().carrier, buffer, size);
}

int zelt_at_cmd_get_imsi(int, char *buffer, unsigned int size) {
    return enter("zelt_at_cmd_get_imsi", std::to_string(size)) ? -1 : give_text(platform().imsi, buffer, size);
}

int zelt_at_cmd_get_mdn(int, char *buffer, unsigned int size) {
    return enter("zelt_at_cmd_get_mdn", std::to_string(size)) ? -1 : give_text(platform().mdn, buffer, size);
}

int zelt_at_cmd_get_cfun(int, char *buffer, unsigned int size) {
    return enter("zelt_at_cmd_get_cfun", std::to_string(size)) ? -1 : give_text(platform().cfun, buffer, size);
}

int zelt_at_cmd_restore_factory_settings(int) {
    return enter("zelt_at_cmd_restore_factory_settings", "") ? -1 : 0;
}

int run_qmicli_and_get_result(const char *arguments, char *output, int size) {
    if (enter("run_qmicli_and_get_result", arguments)) {
        return -1;
    }
    return give_text(platform().qmicli, output, static_cast<unsigned int>(size));
}

// --- configuration ---

int cmd_get_value_json(const char *path, Json::Value &out) {
    const auto found = platform().config.find(path);
    if (enter("cmd_get_value_json", path) || found == platform().config.end()) {
        return -1;
    }
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(found->second.data(), found->second.data() + found->second.size(), &out, nullptr);
    return 0;
}

namespace {

Json::Value at_dotted_key(const Json::Value &config, const std::string &dotted_key) {
    Json::Value here = config;
    for (std::size_t begin = 0; begin <= dotted_key.size();) {
        const std::size_t end = std::min(dotted_key.find('.', begin), dotted_key.size());
        here = here.isObject() ? here[dotted_key.substr(begin, end - begin)] : Json::Value();
        begin = end + 1;
    }
    return here;
}

}  // namespace

bool config_get_string(const Json::Value &config, std::string *out, const std::string &dotted_key) {
    const Json::Value found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_string") || !found.isString()) {
        return false;
    }
    *out = found.asString();
    return true;
}

bool config_get_int(const Json::Value &config, int *out, const std::string &dotted_key) {
    const Json::Value found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_int") || !found.isInt()) {
        return false;
    }
    *out = found.asInt();
    return true;
}

bool config_get_bool(const Json::Value &config, bool *out, const std::string &dotted_key) {
    const Json::Value found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_bool") || !found.isBool()) {
        return false;
    }
    *out = found.asBool();
    return true;
}

// --- MQTT and board ---

struct mqtt_brel::implementation {};

mqtt_brel::mqtt_brel(const char *client_name, const char *broker_host, int port, bool clean_session) {
    enter("mqtt_brel", std::string(client_name) + " " + broker_host + " " + std::to_string(port) +
                           (clean_session ? " true" : " false"));
}

mqtt_brel::~mqtt_brel() {
    enter("~mqtt_brel", "");
}

void mqtt_brel::start_mqtt_connection() {
    enter("start_mqtt_connection", "");
}

void mqtt_brel::send_message(int *rc, const char *topic, const char *payload) {
    const bool fails = enter("send_message", std::string(rc == nullptr ? "null " : "rc ") + topic + " " + payload);
    if (rc != nullptr) {
        *rc = fails ? BREL_MQTT_UNSUCCESSFUL : BREL_MQTT_SUCCESS;
    }
}

pellow_dev_type get_pellow_dev_type_as_enum() {
    return PELLOW_DEV_ROUTER;
}

const char *pellow_dev_type_enum_to_string(pellow_dev_type) {
    return "fake board";
}

// --- utilities ---

namespace {

int write_file(const char *operation, const char *path, const char *text) {
    if (enter(operation, *text == '\0' ? path : std::string(path) + " " + text)) {
        return -1;
    }
    platform().files[path] = text;
    return 0;
}

}  // namespace

int create_pidfile(const char *path) {
    return write_file("create_pidfile", path, "");
}

int create_empty_file(const char *path) {
    return write_file("create_empty_file", path, "");
}

int delete_file(const char *path) {
    if (enter("delete_file", path)) {
        return -1;
    }
    platform().files.erase(path);
    return 0;
}

bool file_exists(const char *path) {
    return !enter_unseen("file_exists") && platform().files.contains(path);
}

int write_str_to_file(const char *path, const char *text) {
    return write_file("write_str_to_file", path, text);
}

int check_interface_ip(const char *interface_name, char *ip) {
    if (enter("check_interface_ip", interface_name) || platform().wwan_ip.empty()) {
        return -1;
    }
    std::snprintf(ip, 16, "%s", platform().wwan_ip.c_str());
    return 0;
}

int ip_link_set_interface_down(const char *interface_name) {
    return enter("ip_link_set_interface_down", interface_name) ? -1 : platform().link_error;
}

int ip_link_set_interface_up(const char *interface_name) {
    return enter("ip_link_set_interface_up", interface_name) ? -1 : platform().link_error;
}

int brelsys(const char *format, ...) {
    std::array<char, 1024> command{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(command.data(), command.size(), format, arguments);
    va_end(arguments);
    if (enter("brelsys", command.data())) {
        return -1;
    }
    const auto status = platform().command_status.find(command.data());
    return status == platform().command_status.end() ? 0 : status->second;
}

std::uint32_t fwtime_s(int) {
    enter_unseen("fwtime_s");
    return platform().now;
}
