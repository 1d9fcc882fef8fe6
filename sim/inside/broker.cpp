#include "sim/inside/broker.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <system_error>
#include <thread>
#include <utility>

#include <mosquitto.h>

namespace {

using clock_type = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char *CONFIGURATION_FILE = "/run/box/mosquitto.conf";

constexpr milliseconds START_LIMIT{5000};  // it takes some 30 ms; more on a machine that is busy
// A message reaches the subscriber with the acknowledgement of its sender, within milliseconds.
constexpr milliseconds DELIVERY_LIMIT{500};

// In the box there is no user but root, to whom the broker would otherwise not stay.
constexpr const char *CONFIGURATION = "listener 1883 127.0.0.1\n"
                                      "allow_anonymous true\n"
                                      "user root\n"
                                      "persistence false\n"
                                      "log_dest none\n";

struct mosquitto_deleter {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};

template <typename Condition>
bool wait_until(milliseconds limit, Condition holds) {
    const auto deadline = clock_type::now() + limit;
    while (!holds()) {
        if (clock_type::now() >= deadline) {
            return false;
        }
    }
    return true;
}

}  // namespace

struct message_broker::subscriber {
    std::unique_ptr<mosquitto, mosquitto_deleter> client;
    std::vector<mqtt_message> arrived;
    bool subscribed = false;

    subscriber() : client(mosquitto_new("box", true, this)) {
        mosquitto_subscribe_callback_set(client.get(), [](mosquitto *, void *self, int, int, const int *) {
            static_cast<subscriber *>(self)->subscribed = true;
        });
        mosquitto_message_callback_set(client.get(), [](mosquitto *, void *self, const mosquitto_message *message) {
            const auto *const bytes = static_cast<const char *>(message->payload);
            static_cast<subscriber *>(self)->arrived.push_back(
                {message->topic, std::string(bytes, static_cast<std::size_t>(message->payloadlen))});
        });
    }

    void serve(milliseconds limit) const { mosquitto_loop(client.get(), static_cast<int>(limit.count()), 1); }

    bool connect() const {
        constexpr int LONGEST_KEEPALIVE_SECONDS = 65535;  // nobody serves the connection while nothing happens
        const bool connected =
            mosquitto_connect(client.get(), "127.0.0.1", 1883, LONGEST_KEEPALIVE_SECONDS) == MOSQ_ERR_SUCCESS;
        if (!connected) {
            std::this_thread::sleep_for(milliseconds(10));
        }
        return connected;
    }

    bool subscribe() {
        mosquitto_subscribe(client.get(), nullptr, "#", 0);
        return wait_until(START_LIMIT, [this] {
            serve(milliseconds(100));
            return subscribed;
        });
    }
};

message_broker::message_broker() {
    mosquitto_lib_init();
}

message_broker::~message_broker() {
    subscriber_.reset();
    mosquitto_lib_cleanup();
}

std::string message_broker::start() {
    if (process_.runs()) {
        return "";
    }
    std::ofstream(CONFIGURATION_FILE) << CONFIGURATION;
    try {
        process_.start({"mosquitto", "-c", CONFIGURATION_FILE});
    } catch (const std::system_error &e) {
        return std::string(e.what()) + "; install it with: sudo apt-get install mosquitto";
    }
    auto fresh = std::make_unique<subscriber>();
    if (!wait_until(START_LIMIT, [&fresh] { return fresh->connect(); }) || !fresh->subscribe()) {
        return "the broker does not answer on 127.0.0.1:1883: " + process_.read_output();
    }
    subscriber_ = std::move(fresh);
    return "";
}

void message_broker::stop() {
    if (process_.runs()) {
        receive();
        subscriber_.reset();
        process_.send(SIGTERM);
        process_.reap();
    }
}

int message_broker::descriptor() const {
    return subscriber_ ? mosquitto_socket(subscriber_->client.get()) : -1;
}

std::vector<mqtt_message> message_broker::receive() {
    if (!subscriber_) {
        return {};
    }
    subscriber_->serve(milliseconds(0));
    std::vector<mqtt_message> fresh = std::exchange(subscriber_->arrived, {});
    kept_.insert(kept_.end(), fresh.begin(), fresh.end());
    return fresh;
}

std::optional<mqtt_message> message_broker::next_message() {
    wait_until(DELIVERY_LIMIT, [this] {
        if (kept_.empty() && subscriber_) {
            subscriber_->serve(milliseconds(50));
            receive();
        }
        return !kept_.empty() || !subscriber_;
    });
    if (kept_.empty()) {
        return std::nullopt;
    }
    mqtt_message oldest = std::move(kept_.front());
    kept_.pop_front();
    return oldest;
}
