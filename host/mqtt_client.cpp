// The MQTT client, over libmosquitto without its thread: the daemon is single-threaded, and its sleep() must be the one
// that a signal interrupts. The connection is served only inside the two operations, and both are bounded in time.
// Never logs.
#include "platform/mqtt_client.h"

#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include <mosquitto.h>

#include "host/commands.h"
#include "host/process_start.h"

namespace {

using clock_type = std::chrono::steady_clock;

// The broker is on this machine and answers within milliseconds. The daemon's cycle of 4 s should not grow much when
// it does not answer at all.
constexpr std::chrono::seconds CONNECT_LIMIT{2};
constexpr std::chrono::seconds ACKNOWLEDGE_LIMIT{3};

// The longest that the protocol has, 18 hours: nobody serves the connection between two messages, so with a shorter
// one the broker would cut it each time. After 27 hours it does, and the next message connects anew.
constexpr int KEEPALIVE_SECONDS = 65535;

constexpr int QUALITY_AT_LEAST_ONCE = 1;

// The limit of the protocol for a whole packet, less what the topic and the header take at most.
constexpr std::size_t LARGEST_PAYLOAD_BYTES = 268435455 - 65535 - 16;

struct mosquitto_deleter {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};

// One connection, from the first try to its end; a lost one is never revived. So nothing that was queued for a dead
// connection can reach the broker later, when nobody expects it any more.
struct connection {
    std::unique_ptr<mosquitto, mosquitto_deleter> client;
    std::optional<int> connect_answer;
    int acknowledged_message = 0;  // message ids start at 1
};

void on_connect(mosquitto * /*client*/, void *context, int answer) {
    static_cast<connection *>(context)->connect_answer = answer;
}

void on_publish(mosquitto * /*client*/, void *context, int message) {
    static_cast<connection *>(context)->acknowledged_message = message;
}

// Serves the connection until the condition holds. False when it was lost before, or the time was up.
template <typename Condition>
bool serve_until(connection &broker, std::chrono::seconds limit, Condition holds) {
    const clock_type::time_point deadline = clock_type::now() + limit;
    while (!holds()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - clock_type::now()).count();
        if (left <= 0 || mosquitto_loop(broker.client.get(), static_cast<int>(left), 1) != MOSQ_ERR_SUCCESS) {
            return holds();
        }
    }
    return true;
}

bool is_alive(connection &broker) {
    return mosquitto_loop(broker.client.get(), 0, 1) == MOSQ_ERR_SUCCESS;
}

std::unique_ptr<connection> connect(const std::string &client_name, const std::string &host, int port,
                                    bool clean_session) {
    auto broker = std::make_unique<connection>();
    broker->client.reset(mosquitto_new(client_name.c_str(), clean_session, broker.get()));
    catch_broken_pipes();  // the library has just ignored them
    mosquitto *client = broker->client.get();
    if (client == nullptr) {
        return nullptr;
    }
    mosquitto_connect_callback_set(client, on_connect);
    mosquitto_publish_callback_set(client, on_publish);
    // The variant that does not wait: connect() itself waits for minutes on a listener that accepts nothing.
    if (mosquitto_connect_async(client, host.c_str(), port, KEEPALIVE_SECONDS) != MOSQ_ERR_SUCCESS) {
        return nullptr;
    }
    const bool answered = serve_until(*broker, CONNECT_LIMIT, [&] { return broker->connect_answer.has_value(); });
    keep_descriptors_from_programs();  // the library's are open to all that are started
    return answered && broker->connect_answer == 0 ? std::move(broker) : nullptr;
}

bool is_valid_message(const char *topic, const char *payload) {
    return topic != nullptr && *topic != '\0' && mosquitto_pub_topic_check(topic) == MOSQ_ERR_SUCCESS &&
           mosquitto_validate_utf8(topic, static_cast<int>(std::strlen(topic))) == MOSQ_ERR_SUCCESS &&
           payload != nullptr && std::strlen(payload) <= LARGEST_PAYLOAD_BYTES;
}

BREL_MQTT_RC publish(connection &broker, const char *topic, const char *payload) {
    int message = 0;
    const int outcome = mosquitto_publish(broker.client.get(), &message, topic, static_cast<int>(std::strlen(payload)),
                                          payload, QUALITY_AT_LEAST_ONCE, false);
    if (outcome == MOSQ_ERR_NO_CONN || outcome == MOSQ_ERR_CONN_LOST) {
        return BREL_MQTT_BUSY;
    }
    if (outcome != MOSQ_ERR_SUCCESS) {
        return BREL_MQTT_UNSUCCESSFUL;
    }
    if (serve_until(broker, ACKNOWLEDGE_LIMIT, [&] { return broker.acknowledged_message == message; })) {
        return BREL_MQTT_SUCCESS;
    }
    return mosquitto_socket(broker.client.get()) < 0 ? BREL_MQTT_BUSY : BREL_MQTT_UNSUCCESSFUL;
}

std::string text_or_empty(const char *text) {
    return text != nullptr ? text : "";
}

// The library counts its users.
struct library_user {
    library_user() { mosquitto_lib_init(); }
    ~library_user() { mosquitto_lib_cleanup(); }
    library_user(const library_user &) = delete;
    library_user &operator=(const library_user &) = delete;
};

}  // namespace

struct mqtt_brel::implementation {
    library_user library;
    std::string client_name;
    std::string host;
    int port;
    bool clean_session;
    std::unique_ptr<connection> broker;  // null without a connection

    bool ensure_connected() {
        if (broker == nullptr || !is_alive(*broker)) {
            broker.reset();  // before the next one: two connections of one name would throw each other out
            broker = connect(client_name, host, port, clean_session);
        }
        return broker != nullptr;
    }

    BREL_MQTT_RC send(const char *topic, const char *payload) {
        if (!is_valid_message(topic, payload)) {
            return BREL_MQTT_BAD_REQUEST;
        }
        if (!ensure_connected()) {
            return BREL_MQTT_BUSY;
        }
        const BREL_MQTT_RC result = publish(*broker, topic, payload);
        if (result != BREL_MQTT_SUCCESS) {
            broker.reset();
        }
        return result;
    }
};

mqtt_brel::mqtt_brel(const char *client_name, const char *broker_host, int port, bool clean_session)
    : impl_(new implementation{{}, text_or_empty(client_name), text_or_empty(broker_host), port, clean_session, {}}) {}

mqtt_brel::~mqtt_brel() {
    if (impl_->broker != nullptr) {
        mosquitto_disconnect(impl_->broker->client.get());
    }
}

void mqtt_brel::start_mqtt_connection() {
    impl_->ensure_connected();
}

void mqtt_brel::send_message(int *rc, const char *topic, const char *payload) {
    const BREL_MQTT_RC result = impl_->send(topic, payload);
    if (rc != nullptr) {
        *rc = result;
    }
}
