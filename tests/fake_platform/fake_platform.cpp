#include "tests/fake_platform/fake_platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

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

// A transaction works on a copy, which the commit puts in place.
struct open_transaction {
    const sysdb_handle *owner;
    int flags;
    std::string named_database;
    database contents;
};

struct open_session {
    const sysdb_handle *handle;
    int flags;
};

struct fake_state {
    platform_state platform;
    std::map<std::string, std::vector<hook>> hooks;
    std::function<bool(const std::string &)> watcher;
    std::vector<open_session> sessions;  // the outermost one first
    std::optional<open_transaction> transaction;
    std::set<int> descriptors;
    int next_descriptor = 7;  // none is used twice
    bool stopped = false;
};

fake_state &state() {
    static fake_state instance;
    return instance;
}

// A session that outlives a test was forgotten. Descriptors may: a health check that failed leaves the port open.
class leak_check : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo & /*test*/) override {
        EXPECT_TRUE(state().sessions.empty()) << "a database session is left open";
    }
};

[[maybe_unused]] const bool leak_check_is_installed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new leak_check);  // which then owns it
    return true;
}();

}  // namespace

void misuse(const std::string &what) {
    if (platform().misuse_is_expected) {
        return;
    }
    if (testing::UnitTest::GetInstance()->current_test_info() == nullptr) {
        std::fprintf(stderr, "misuse of the platform: %s\n", what.c_str());
        std::abort();
    }
    ADD_FAILURE() << "misuse of the platform: " << what;
}

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

void watch(std::function<bool(const std::string &operation)> watcher) {
    state().watcher = std::move(watcher);
}

std::size_t open_sessions() {
    return state().sessions.size();
}

std::size_t open_ports() {
    return state().descriptors.size();
}

bool enter_unseen(const std::string &operation) {
    bool fails = state().watcher && state().watcher(operation);
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

namespace {

using fake::misuse;
using fake::state;

std::vector<fake::open_session>::iterator session_of(const sysdb_handle *handle) {
    return std::ranges::find(state().sessions, handle, &fake::open_session::handle);
}

bool is_open(const char *operation, const sysdb_handle *handle) {
    const bool open = session_of(handle) != state().sessions.end();
    if (!open) {
        misuse(std::string(operation) + " with a handle that is not open");
    }
    return open;
}

// The outermost session decides how the database is open.
bool may_begin_to_write() {
    return state().sessions.empty() || state().sessions.front().flags == 0;
}

bool are_session_flags(const char *operation, int flags) {
    if (flags != 0 && flags != SYSDB_READ_ONLY) {
        misuse(std::string(operation) + " with flags " + std::to_string(flags));
    }
    return true;
}

void expect_no_flags(const char *operation, const char *key, int flags) {
    if (flags != 0) {
        misuse(std::string(operation) + " " + key + " with flags " + std::to_string(flags));
    }
}

bool is_key(const char *operation, std::string_view key) {
    const bool good = !key.empty() && key.size() <= 511;
    if (!good) {
        misuse(std::string(operation) + " of a key of " + std::to_string(key.size()) + " bytes");
    }
    return good;
}

// The transaction of this handle; null with a complaint when there is none.
fake::open_transaction *transaction_of(const char *operation, const sysdb_handle *handle) {
    if (!state().transaction || state().transaction->owner != handle) {
        misuse(std::string(operation) + " outside of its transaction");
        return nullptr;
    }
    return &*state().transaction;
}

fake::open_transaction *writing_transaction_of(const char *operation, const sysdb_handle *handle) {
    fake::open_transaction *transaction = transaction_of(operation, handle);
    if (transaction != nullptr && transaction->flags != 0) {
        misuse(std::string(operation) + " in a transaction that only reads");
        return nullptr;
    }
    return transaction;
}

}  // namespace

int sysdb_init(sysdb_handle *handle, int flags) {
    if (session_of(handle) != state().sessions.end()) {
        misuse("sysdb_init of a handle that is open");
    }
    if (enter("sysdb_init", std::to_string(flags)) || !are_session_flags("sysdb_init", flags) ||
        (flags == 0 && !may_begin_to_write())) {
        return platform().failure;
    }
    state().sessions.push_back({handle, flags});
    return 0;
}

// Closed before it may be made to throw: nobody could close it then.
void sysdb_exit(sysdb_handle *handle) {
    if (is_open("sysdb_exit", handle)) {
        if (state().transaction && state().transaction->owner == handle) {
            state().transaction.reset();
        }
        state().sessions.erase(session_of(handle));
    }
    enter("sysdb_exit", "");
}

int sysdb_txn_start(sysdb_handle *handle, const char *named_database, int flags) {
    if (enter("sysdb_txn_start", std::string(named_database) + " " + std::to_string(flags)) ||
        !are_session_flags("sysdb_txn_start", flags) || !is_open("sysdb_txn_start", handle)) {
        return platform().failure;
    }
    if (state().transaction || (flags == 0 && session_of(handle)->flags != 0)) {
        misuse("sysdb_txn_start inside of a transaction, or to write in a session that reads");
        return platform().failure;
    }
    const auto found = platform().databases.find(named_database);
    const bool missing = found == platform().databases.end();
    if (missing && flags == SYSDB_READ_ONLY) {
        return platform().failure;
    }
    state().transaction = {handle, flags, named_database, missing ? fake::database{} : found->second};
    return 0;
}

int sysdb_txn_end(sysdb_handle *handle) {
    const bool fails = enter("sysdb_txn_end", "");
    const fake::open_transaction *transaction = transaction_of("sysdb_txn_end", handle);
    if (transaction == nullptr) {
        return platform().failure;
    }
    if (!fails && transaction->flags == 0) {
        platform().databases[transaction->named_database] = transaction->contents;
    }
    state().transaction.reset();
    return fails ? platform().failure : 0;
}

namespace {

int write_in_transaction(const char *operation, sysdb_handle *handle, const char *key, const fake::value &value,
                         int flags) {
    const bool fails = enter(operation, std::string(key) + " " + fake::text_of(value));
    expect_no_flags(operation, key, flags);
    fake::open_transaction *transaction = writing_transaction_of(operation, handle);
    if (fails || transaction == nullptr || !is_key(operation, key)) {
        return -1;
    }
    transaction->contents[key] = value;
    return 0;
}

// Null when the one-shot operation is to fail.
fake::database *database_of_one_shot(const char *operation, sysdb_handle *handle, const char *name, const char *key,
                                     const std::string &value_text) {
    if (handle != nullptr) {
        misuse(std::string(operation) + " " + key + " with a handle");
    }
    if (state().transaction || !may_begin_to_write()) {
        misuse(std::string(operation) + " " + key + " inside of a transaction or a session that reads");
        return nullptr;
    }
    const bool fails = enter(operation, std::string(name) + " " + key + value_text);
    return fails || !is_key(operation, key) ? nullptr : &platform().databases[name];
}

int write_one_shot(const char *operation, sysdb_handle *handle, const char *name, const char *key,
                   const fake::value &value, int flags) {
    expect_no_flags(operation, key, flags);
    fake::database *contents = database_of_one_shot(operation, handle, name, key, " " + fake::text_of(value));
    if (contents == nullptr) {
        return -1;
    }
    (*contents)[key] = value;
    return 0;
}

const fake::value *stored_value(const char *operation, sysdb_handle *handle, const char *key) {
    const fake::open_transaction *transaction = transaction_of(operation, handle);
    if (enter_unseen(operation) || transaction == nullptr || !is_key(operation, key)) {
        return nullptr;
    }
    const auto found = transaction->contents.find(key);
    return found == transaction->contents.end() ? nullptr : &found->second;
}

}  // namespace

int sysdb_write_int(sysdb_handle *handle, const char *key, int value, int flags) {
    return write_in_transaction("sysdb_write_int", handle, key, value, flags);
}

int sysdb_write_dbl(sysdb_handle *handle, const char *key, double value, int flags) {
    return write_in_transaction("sysdb_write_dbl", handle, key, value, flags);
}

int sysdb_write_str(sysdb_handle *handle, const char *key, const char *value, int flags) {
    return write_in_transaction("sysdb_write_str", handle, key, std::string(value), flags);
}

int sysdb_del(sysdb_handle *handle, const char *key) {
    const bool fails = enter("sysdb_del", key);
    fake::open_transaction *transaction = writing_transaction_of("sysdb_del", handle);
    if (fails || transaction == nullptr || !is_key("sysdb_del", key)) {
        return -1;
    }
    transaction->contents.erase(key);
    return 0;
}

int sysdb_read_int(sysdb_handle *handle, const char *key, int *value) {
    platform().reads.push_back(std::string("sysdb_read_int ") + key);
    const fake::value *stored = stored_value("sysdb_read_int", handle, key);
    if (stored == nullptr || std::holds_alternative<std::string>(*stored)) {
        return platform().failure;
    }
    const double *real = std::get_if<double>(stored);
    const double whole = real != nullptr ? std::trunc(*real) : std::get<int>(*stored);
    if (!(whole >= -2147483648.0 && whole <= 2147483647.0)) {  // nor is it a number at all
        return platform().failure;
    }
    *value = static_cast<int>(whole);
    return 0;
}

int sysdb_read_dbl(sysdb_handle *handle, const char *key, double *value) {
    platform().reads.push_back(std::string("sysdb_read_dbl ") + key);
    const fake::value *stored = stored_value("sysdb_read_dbl", handle, key);
    if (stored == nullptr || std::holds_alternative<std::string>(*stored)) {
        return platform().failure;
    }
    const int *integer = std::get_if<int>(stored);
    *value = integer != nullptr ? *integer : std::get<double>(*stored);
    return 0;
}

int sysdb_read_str(sysdb_handle *handle, const char *key, char *buffer, unsigned int size) {
    platform().reads.push_back(std::string("sysdb_read_str ") + key + " " + std::to_string(size));
    const fake::value *stored = stored_value("sysdb_read_str", handle, key);
    if (stored == nullptr || !std::holds_alternative<std::string>(*stored) || size == 0) {
        return platform().failure;
    }
    std::snprintf(buffer, size, "%s", std::get<std::string>(*stored).c_str());
    return 0;
}

int sysdb_namedb_write_int(sysdb_handle *handle, const char *database, const char *key, int value, int flags) {
    return write_one_shot("sysdb_namedb_write_int", handle, database, key, value, flags);
}

int sysdb_namedb_write_str(sysdb_handle *handle, const char *database, const char *key, const char *value, int flags) {
    return write_one_shot("sysdb_namedb_write_str", handle, database, key, std::string(value), flags);
}

int sysdb_namedb_del(sysdb_handle *handle, const char *database, const char *key) {
    fake::database *contents = database_of_one_shot("sysdb_namedb_del", handle, database, key, "");
    if (contents == nullptr) {
        return -1;
    }
    contents->erase(key);
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
    state().stopped = true;
}

int ser_open(const char *device) {
    if (enter("ser_open", device) || !platform().files.contains(device)) {
        return -1;
    }
    state().descriptors.insert(state().next_descriptor);
    return state().next_descriptor++;
}

namespace {

std::string on_descriptor(int fd, const std::string &rest = "") {
    return std::to_string(fd) + (rest.empty() ? "" : " ") + rest;
}

bool is_open_descriptor(const char *operation, int fd) {
    const bool open = state().descriptors.contains(fd);
    if (!open) {
        misuse(std::string(operation) + " on descriptor " + std::to_string(fd) + ", which is not open");
    }
    return open;
}

}  // namespace

// Closed before it may be made to throw, like a session.
void ser_close(int fd) {
    if (is_open_descriptor("ser_close", fd)) {
        state().descriptors.erase(fd);
    }
    enter("ser_close", on_descriptor(fd));
}

namespace {

fake::at_answer next_at_answer(const char *operation, const fake::at_exchange &asked, unsigned int failed_result,
                               unsigned int closed_result) {
    const std::string name = asked.command.substr(0, asked.command.find('\r'));
    const bool fails = enter(operation, on_descriptor(asked.fd, name));
    platform().at_exchanges.push_back(asked);
    if (!is_open_descriptor(operation, asked.fd)) {
        return {closed_result, ""};
    }
    auto &answers = platform().at_answers[name];
    if (fails || state().stopped || answers.empty()) {
        return {failed_result, ""};
    }
    fake::at_answer answer = answers.front();
    if (answers.size() > 1) {
        answers.erase(answers.begin());
    }
    return answer;
}

void expect_last_arguments(const char *operation, unsigned int flag, unsigned int other_flag) {
    if (flag != 1 || other_flag != 1) {
        misuse(std::string(operation) + " with other last arguments than 1 and 1");
    }
}

void give_text(const std::string &text, char *buffer, unsigned int size) {
    std::snprintf(buffer, size, "%s", text.c_str());
}

int typed_query(const char *operation, int fd, const fake::typed_answer &answer, char *buffer, unsigned int size) {
    const bool fails = enter(operation, on_descriptor(fd, std::to_string(size)));
    if (!is_open_descriptor(operation, fd) || fails || state().stopped) {
        give_text("", buffer, size);
        return -1;
    }
    give_text(answer.text, buffer, size);
    return answer.result;
}

}  // namespace

unsigned int ser_write_and_wait_for_txt_get_line(int fd, const char *command, const std::string *texts,
                                                 unsigned int text_count, char *buffer, unsigned int buffer_size,
                                                 unsigned int flag, unsigned int other_flag) {
    expect_last_arguments(__func__, flag, other_flag);
    const auto answer =
        next_at_answer(__func__, {fd, command, {texts, texts + text_count}, buffer_size}, 3, SER_PORT_CLOSED);
    give_text(answer.text, buffer, buffer_size);
    return answer.result;
}

unsigned int ser_write_and_get_all_response_until_searchtxt(int fd, const char *command, const std::string *texts,
                                                            unsigned int text_count, char *buffer,
                                                            unsigned int buffer_size, unsigned int flag,
                                                            unsigned int other_flag) {
    expect_last_arguments(__func__, flag, other_flag);
    const auto answer = next_at_answer(__func__, {fd, command, {texts, texts + text_count}, buffer_size}, 2, 2);
    give_text(answer.text, buffer, buffer_size);
    return answer.result;
}

// The journal shows what *roaming held: the library may leave it so.
int zelt_at_cmd_get_registration_and_roaming(int fd, bool *registered, bool *roaming) {
    const bool fails = enter(__func__, on_descriptor(fd, *roaming ? "true" : "false"));
    if (!is_open_descriptor(__func__, fd) || fails || state().stopped) {
        return -1;
    }
    *registered = platform().registered;
    *roaming = platform().roaming;
    return platform().registration_result;
}

int zelt_at_cmd_get_carrier_name(int fd, char *buffer, unsigned int size) {
    return typed_query(__func__, fd, platform().carrier, buffer, size);
}

int zelt_at_cmd_get_imsi(int fd, char *buffer, unsigned int size) {
    return typed_query(__func__, fd, platform().imsi, buffer, size);
}

int zelt_at_cmd_get_mdn(int fd, char *buffer, unsigned int size) {
    return typed_query(__func__, fd, platform().mdn, buffer, size);
}

int zelt_at_cmd_get_cfun(int fd, char *buffer, unsigned int size) {
    return typed_query(__func__, fd, platform().cfun, buffer, size);
}

int zelt_at_cmd_restore_factory_settings(int fd) {
    const bool fails = enter(__func__, on_descriptor(fd));
    return !is_open_descriptor(__func__, fd) || fails || state().stopped ? -1 : 0;
}

int run_qmicli_and_get_result(const char *arguments, char *output, int size) {
    const bool fails = enter(__func__, std::string(arguments) + " " + std::to_string(size));
    if (size <= 0) {
        return -1;
    }
    if (fails || platform().qmicli.result < 0 || state().stopped) {
        give_text("", output, static_cast<unsigned int>(size));
        return -1;
    }
    give_text(platform().qmicli.text, output, static_cast<unsigned int>(size));
    return static_cast<int>(std::strlen(output));
}

// --- configuration ---

namespace {

// Walks objects only; null when a name on the way is missing.
const Json::Value *at_dotted_key(const Json::Value &config, std::string_view dotted_key) {
    const Json::Value *here = &config;
    for (;;) {
        const std::size_t dot = dotted_key.find('.');
        const std::string_view name = dotted_key.substr(0, dot);
        here = here->isObject() ? here->find(name.data(), name.data() + name.size()) : nullptr;
        if (here == nullptr || dot == std::string_view::npos) {
            return here;
        }
        dotted_key.remove_prefix(dot + 1);
    }
}

bool parse_json(const std::string &text, Json::Value &value) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
}

}  // namespace

int cmd_get_value_json(const char *path, Json::Value &out) {
    const bool fails = enter("cmd_get_value_json", path);
    const auto subtree = platform().config.find(path);
    const bool has_subtree = subtree != platform().config.end();
    Json::Value value;
    if (fails || !parse_json(has_subtree ? subtree->second : platform().whole_config, value)) {
        return platform().failure;
    }
    if (!has_subtree && !value.isObject()) {
        return platform().failure;
    }
    const Json::Value *found = has_subtree ? &value : at_dotted_key(value, path);
    out = found != nullptr ? *found : Json::Value();
    return 0;
}

bool config_get_string(const Json::Value &config, std::string *out, const std::string &dotted_key) {
    const Json::Value *found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_string") || found == nullptr || !found->isString()) {
        return false;
    }
    *out = found->asString();
    return true;
}

bool config_get_int(const Json::Value &config, int *out, const std::string &dotted_key) {
    const Json::Value *found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_int") || found == nullptr || found->type() == Json::realValue || !found->isInt()) {
        return false;
    }
    *out = found->asInt();
    return true;
}

bool config_get_bool(const Json::Value &config, bool *out, const std::string &dotted_key) {
    const Json::Value *found = at_dotted_key(config, dotted_key);
    if (enter_unseen("config_get_bool") || found == nullptr || !found->isBool()) {
        return false;
    }
    *out = found->asBool();
    return true;
}

// --- MQTT and board ---

struct mqtt_brel::implementation {};

namespace {

// Not of the state, which a test resets while its client lives.
std::set<const mqtt_brel *> clients;

}  // namespace

mqtt_brel::mqtt_brel(const char *client_name, const char *broker_host, int port, bool clean_session) {
    clients.insert(this);
    enter("mqtt_brel", std::string(client_name) + " " + broker_host + " " + std::to_string(port) +
                           (clean_session ? " true" : " false"));
}

mqtt_brel::~mqtt_brel() {
    clients.erase(this);
    enter("~mqtt_brel", "");
}

void mqtt_brel::start_mqtt_connection() {
    enter("start_mqtt_connection", "");
}

void mqtt_brel::send_message(int *rc, const char *topic, const char *payload) {
    if (!clients.contains(this)) {
        misuse("send_message of no client");
    }
    const bool fails = enter("send_message", std::string(rc == nullptr ? "null " : "rc ") + topic + " " + payload);
    const BREL_MQTT_RC result = fails                                                    ? BREL_MQTT_UNSUCCESSFUL
                                : *topic == '\0' || std::strpbrk(topic, "+#") != nullptr ? BREL_MQTT_BAD_REQUEST
                                : !platform().broker                                     ? BREL_MQTT_BUSY
                                                                                         : BREL_MQTT_SUCCESS;
    if (result == BREL_MQTT_SUCCESS) {
        platform().messages.push_back({topic, payload});
    }
    if (rc != nullptr) {
        *rc = result;
    }
}

pellow_dev_type get_pellow_dev_type_as_enum() {
    return PELLOW_DEV_ROUTER;
}

const char *pellow_dev_type_enum_to_string(pellow_dev_type) {
    return "fake board";
}

// --- utilities ---

int create_pidfile(const char *path) {
    if (enter("create_pidfile", path)) {
        return -1;
    }
    platform().files[path] = std::to_string(getpid());
    return 0;
}

int create_empty_file(const char *path) {
    if (enter("create_empty_file", path)) {
        return -1;
    }
    platform().files.try_emplace(path);
    return 0;
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
    if (enter("write_str_to_file", *text == '\0' ? path : std::string(path) + " " + text)) {
        return -1;
    }
    platform().files[path] = text;
    return 0;
}

int check_interface_ip(const char *interface_name, char *ip) {
    if (enter("check_interface_ip", interface_name) || std::strcmp(interface_name, "wwan0") != 0 ||
        platform().wwan_ip.empty()) {
        return -1;
    }
    std::snprintf(ip, 16, "%s", platform().wwan_ip.c_str());
    return 0;
}

namespace {

int set_interface(const char *operation, const char *name, bool up) {
    if (enter(operation, name) || !platform().interfaces.contains(name)) {
        return ENODEV;
    }
    if (platform().link_error != 0) {
        return platform().link_error;
    }
    up ? static_cast<void>(platform().interfaces_up.insert(name))
       : static_cast<void>(platform().interfaces_up.erase(name));
    return 0;
}

}  // namespace

int ip_link_set_interface_down(const char *interface_name) {
    return set_interface("ip_link_set_interface_down", interface_name, false);
}

int ip_link_set_interface_up(const char *interface_name) {
    return set_interface("ip_link_set_interface_up", interface_name, true);
}

int brelsys(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char *formatted = nullptr;
    const bool no_memory = vasprintf(&formatted, format, arguments) < 0;
    va_end(arguments);
    const std::string command = no_memory ? "" : formatted;
    std::free(formatted);
    if (enter("brelsys", command)) {
        return 127;  // as when the shell cannot run it
    }
    const auto status = platform().command_status.find(command);
    return status == platform().command_status.end() ? 0 : status->second;
}

std::uint32_t fwtime_s(int reserved) {
    if (reserved != 0) {
        misuse("fwtime_s(" + std::to_string(reserved) + ")");
    }
    enter_unseen("fwtime_s");
    return platform().now;
}
