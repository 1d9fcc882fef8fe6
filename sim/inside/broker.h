// The router's MQTT broker: a real one on 127.0.0.1:1883, with a subscriber that keeps every message. Silent; start,
// stop and next_message wait, each no longer than a few seconds.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/inside/child.h"
#include "sim/scenario/router.h"

class message_broker {
public:
    message_broker();
    ~message_broker();
    message_broker(const message_broker &) = delete;
    message_broker &operator=(const message_broker &) = delete;

    // What went wrong, empty on success. From then on every message is kept, also beyond a stop. Neither does anything
    // when it is so already: a scenario that repeats starts it each time.
    std::string start();
    void stop();

    int descriptor() const;  // readable when messages wait; negative while the broker does not run

    // What arrived since the last call, for the reader; the messages stay for next_message.
    std::vector<mqtt_message> receive();

    // The oldest message that was not taken yet; waits a moment for one that is on its way.
    std::optional<mqtt_message> next_message();

private:
    struct subscriber;
    child process_;
    std::unique_ptr<subscriber> subscriber_;  // null while the broker does not run
    std::deque<mqtt_message> kept_;
};
