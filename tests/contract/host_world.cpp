// The world of an ordinary Linux machine: a module on a pseudo-terminal, a real broker, a network and folders of its
// own.
#include "tests/contract/world.h"

#include <csignal>
#include <map>

#include <mosquitto.h>
#include <sys/resource.h>

#include "tests/host/scripted_module.h"
#include "tests/support/environment_variable.h"
#include "tests/support/mqtt_broker.h"
#include "tests/support/private_namespace.h"
#include "tests/support/temporary_folder.h"

namespace {

struct mosquitto_deleter {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};
using mqtt_client = std::unique_ptr<mosquitto, mosquitto_deleter>;

void keep_message(mosquitto * /*client*/, void *messages, const mosquitto_message *message) {
    static_cast<std::vector<mqtt_message> *>(messages)->push_back(
        {message->topic,
         std::string(static_cast<const char *>(message->payload), static_cast<std::size_t>(message->payloadlen))});
}

}  // namespace

struct world::implementation {
    temporary_folder folder;
    environment_variable sysdb{"SYSDB_DIR", folder.path("sysdb")};
    environment_variable configuration{"ZELT_CONFIG", folder.path("config.json")};
    environment_variable programs{"PATH", folder.path() + ":/usr/bin:/bin:/usr/sbin:/sbin"};
    std::map<std::string, std::string> answers;  // by command, as the module sends them
    std::unique_ptr<scripted_module> module;
    int port = 0;
    std::unique_ptr<real_broker> broker;
    std::vector<mqtt_message> messages;
    mqtt_client subscriber;

    void answer(const std::string &command, const std::string &lines, const std::string &ending = "OK") {
        answers[command] = "\r\n" + lines + "\r\n\r\n" + ending + "\r\n";
    }

    void subscribe() {
        mosquitto_lib_init();
        subscriber.reset(mosquitto_new("contract", true, &messages));
        mosquitto_message_callback_set(subscriber.get(), keep_message);
        EXPECT_EQ(mosquitto_connect(subscriber.get(), "127.0.0.1", port, 60), MOSQ_ERR_SUCCESS);
        bool subscribed = false;
        mosquitto_user_data_set(subscriber.get(), &subscribed);
        mosquitto_subscribe_callback_set(subscriber.get(), [](mosquitto *, void *done, int, int, const int *) {
            *static_cast<bool *>(done) = true;
        });
        EXPECT_EQ(mosquitto_subscribe(subscriber.get(), nullptr, "#", 1), MOSQ_ERR_SUCCESS);
        for (int i = 0; i < 1000 && !subscribed; ++i) {
            mosquitto_loop(subscriber.get(), 10, 1);
        }
        mosquitto_user_data_set(subscriber.get(), &messages);
    }
};

world::world() : impl_(std::make_unique<implementation>()) {}

world::~world() = default;

// The first commit makes the file, so that there is something that may not grow.
void world::fill_the_database() {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 65536;
    setrlimit(RLIMIT_FSIZE, &limit);
}

void world::make_room_in_the_database() {
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
}

std::string world::device() {
    if (impl_->module == nullptr) {
        impl_->module = std::make_unique<scripted_module>([answers = impl_->answers](scripted_module &module) {
            for (std::string command = module.hear(); !command.empty(); command = module.hear()) {
                const auto found = answers.find(command);
                module.say(command == MARK ? MARK_ANSWER : found != answers.end() ? found->second : "\r\nERROR\r\n");
            }
        });
    }
    return impl_->module->device();
}

void world::module_prints_line(const std::string &command, const std::string &line) {
    impl_->answer(command, line);
}

void world::module_prints(const std::string &command, const std::vector<std::string> &lines,
                          const std::string &ending) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\r\n";
    }
    impl_->answer(command, text, ending);
}

void world::module_knows(const module_facts &facts) {
    if (!facts.carrier.empty()) {
        impl_->answer("at+cops?", "+COPS: 0,0,\"" + facts.carrier + "\",7");
    }
    if (!facts.imsi.empty()) {
        impl_->answer("at+cimi", facts.imsi);
    }
    if (!facts.mdn.empty()) {
        impl_->answer("at+cnum", "+CNUM: ,\"" + facts.mdn + "\",145");
    }
    if (!facts.cfun.empty()) {
        impl_->answer("at+cfun?", "+CFUN: " + facts.cfun);
    }
    if (facts.registered) {
        impl_->answer("at+cereg?", std::string("+CEREG: 0,") + (!*facts.registered ? "2" : facts.roaming ? "5" : "1"));
    }
    impl_->answer("at&f", "");
}

void world::qmi_tool_prints(const std::string &text) {
    impl_->folder.write("answer", text);
    impl_->folder.write_program("qmicli", "cat '" + impl_->folder.path("answer") + "'");
}

void world::qmi_tool_fails() {
    impl_->folder.write_program("qmicli", "echo text that does not count; exit 1");
}

void world::configuration_is(const std::string &json) {
    impl_->folder.write("config.json", json);
}

void world::configuration_is_missing() {
    std::remove(impl_->folder.path("config.json").c_str());
}

void world::start_broker() {
    impl_->broker = std::make_unique<real_broker>(broker_port());
    impl_->subscribe();
}

int world::broker_port() {
    impl_->port = impl_->port != 0 ? impl_->port : free_port();
    return impl_->port;
}

std::vector<mqtt_message> world::messages(std::size_t count) {
    for (int i = 0; i < 1000 && impl_->messages.size() < count; ++i) {
        mosquitto_loop(impl_->subscriber.get(), 10, 1);
    }
    return impl_->messages;
}

std::string world::path(const std::string &name) {
    return impl_->folder.path(name);
}

void world::write(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::optional<std::string> world::content(const std::string &path) {
    return access(path.c_str(), F_OK) == 0 ? std::optional(content_of(path)) : std::nullopt;
}

bool world::make_network() {
    return unshare_as_root(CLONE_NEWNET) && std::system("ip link add wwan0 type veth peer name far0") == 0;
}

void world::give_address(const std::string &ipv4) {
    EXPECT_EQ(std::system(("ip address add " + ipv4 + "/24 dev wwan0").c_str()), 0);
}

bool world::is_up() {
    return std::system("ip -o link show wwan0 | grep -q '[<,]UP[,>]'") == 0;
}

// The shell knows by itself.
void world::command_ends_with(const std::string & /*command*/, int /*status*/) {}
