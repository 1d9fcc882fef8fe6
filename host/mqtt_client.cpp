// The MQTT client, over the library's synchronous interface, which has no thread: the daemon's sleep() must be the one
// that a signal interrupts. The connection is served only inside the two operations, and both are bounded in time.
// Never logs.
#include "platform/mqtt_client.h"

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include <MQTTClient.h>

#include "host/stop.h"

namespace {

using std::chrono::milliseconds;

// The broker is on this machine and answers within milliseconds. The daemon's cycle of 4 s should not grow much when
// it does not answer at all.
constexpr std::chrono::duration<int> CONNECT_LIMIT{2};
constexpr milliseconds ACKNOWLEDGE_LIMIT{3000};

// The longest that the protocol has, 18 hours: nobody serves the connection between two messages, so with a shorter
// one the broker would cut it each time. After 27 hours it does, and the next message connects anew.
constexpr int KEEPALIVE_SECONDS = 65535;

constexpr int QUALITY_AT_LEAST_ONCE = 1;

// The limit of the protocol for a whole packet, less what the topic and the header take at most.
constexpr std::size_t LONGEST_TOPIC_BYTES = 65535;
constexpr std::size_t LARGEST_PAYLOAD_BYTES = 268435455 - LONGEST_TOPIC_BYTES - 16;

// One connection, from the first try to its end; a lost one is never revived. So nothing that was queued for a dead
// connection can reach the broker later, when nobody expects it any more.
class connection {
public:
    connection() = default;
    ~connection() { MQTTClient_destroy(&client_); }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    bool open(const std::string &client_name, const std::string &host, int port, bool clean_session) {
        const std::string broker = "tcp://" + host + ":" + std::to_string(port);
        const bool created = MQTTClient_create(&client_, broker.c_str(), client_name.c_str(),
                                               MQTTCLIENT_PERSISTENCE_NONE, nullptr) == MQTTCLIENT_SUCCESS;
        MQTTClient_connectOptions options = MQTTClient_connectOptions_initializer;
        options.MQTTVersion = MQTTVERSION_3_1_1;  // left open, a refusal would be followed by a second try
        options.keepAliveInterval = KEEPALIVE_SECONDS;
        options.cleansession = clean_session ? 1 : 0;
        options.connectTimeout = CONNECT_LIMIT.count();
        return created && MQTTClient_connect(client_, &options) == MQTTCLIENT_SUCCESS;
    }

    // Also takes what the broker sent meanwhile, its farewell too. Waits for it up to a tenth of a second.
    bool is_alive() {
        MQTTClient_yield();
        return MQTTClient_isConnected(client_) != 0;
    }

    BREL_MQTT_RC publish(const char *topic, const char *payload) {
        MQTTClient_deliveryToken message = 0;
        const int outcome = MQTTClient_publish(client_, topic, static_cast<int>(std::strlen(payload)), payload,
                                               QUALITY_AT_LEAST_ONCE, 0, &message);
        if (outcome == MQTTCLIENT_BAD_UTF8_STRING) {
            return BREL_MQTT_BAD_REQUEST;
        }
        if (outcome == MQTTCLIENT_SUCCESS && is_acknowledged(message)) {
            return BREL_MQTT_SUCCESS;
        }
        return MQTTClient_isConnected(client_) != 0 ? BREL_MQTT_UNSUCCESSFUL : BREL_MQTT_BUSY;
    }

    void say_goodbye() { MQTTClient_disconnect(client_, 0); }

private:
    // A stop leaves a healthy broker time enough to answer.
    bool is_acknowledged(MQTTClient_deliveryToken message) {
        constexpr milliseconds PATIENCE_AFTER_STOP{500};
        constexpr unsigned long LOOK_FOR_A_STOP_MS = 100;
        stoppable_wait wait(ACKNOWLEDGE_LIMIT, PATIENCE_AFTER_STOP);
        while (wait.left().count() > 0 && MQTTClient_isConnected(client_) != 0) {
            if (MQTTClient_waitForCompletion(client_, message, LOOK_FOR_A_STOP_MS) == MQTTCLIENT_SUCCESS) {
                return true;
            }
        }
        return false;
    }

    MQTTClient client_ = nullptr;
};

bool is_valid_message(const char *topic, const char *payload) {
    return topic != nullptr && *topic != '\0' && std::strlen(topic) <= LONGEST_TOPIC_BYTES &&
           std::strpbrk(topic, "+#") == nullptr && payload != nullptr && std::strlen(payload) <= LARGEST_PAYLOAD_BYTES;
}

const char *text_or_empty(const char *text) {
    return text != nullptr ? text : "";
}

}  // namespace

struct mqtt_brel::implementation {
    std::string client_name;
    std::string host;
    int port;
    bool clean_session;
    std::unique_ptr<connection> broker;  // null without a connection

    bool ensure_connected() {
        if (broker != nullptr && broker->is_alive()) {
            return true;
        }
        broker.reset();  // before the next one: two connections of one name would throw each other out
        auto next = std::make_unique<connection>();
        if (next->open(client_name, host, port, clean_session)) {
            broker = std::move(next);
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
        const BREL_MQTT_RC result = broker->publish(topic, payload);
        if (result != BREL_MQTT_SUCCESS && result != BREL_MQTT_BAD_REQUEST) {
            broker.reset();
        }
        return result;
    }
};

mqtt_brel::mqtt_brel(const char *client_name, const char *broker_host, int port, bool clean_session)
    : impl_(new implementation{text_or_empty(client_name), text_or_empty(broker_host), port, clean_session, {}}) {}

mqtt_brel::~mqtt_brel() {
    if (impl_->broker != nullptr) {
        impl_->broker->say_goodbye();
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
