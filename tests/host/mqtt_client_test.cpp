// Against a real broker with a real subscriber, and against brokers that misbehave. Everything on loopback.
#include "platform/mqtt_client.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/module_access.h"
#include "tests/support/mqtt_broker.h"
#include "tests/support/other_process.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr char topic[] = "v1/device/zelt-man";

// Twice what the header's two bounds make together: proof that nothing hangs, no measure of speed.
constexpr auto within_seconds = 10s;

// A broker of a few bytes: takes one connection after the other, answers each first packet with `connect_answer` and
// then does as told.
class fake_broker {
public:
    enum class after_connect { stay_silent, hang_up_on_publish };

    fake_broker(int port, std::string connect_answer, after_connect behaviour)
        : listening_(listen_on(port, 5)), connect_answer_(std::move(connect_answer)), behaviour_(behaviour),
          process_([this] { return serve(); }) {
        close(listening_);
    }

private:
    [[noreturn]] int serve() const {
        for (;;) {
            const int fd = accept(listening_, nullptr, nullptr);
            char packet[1024];
            if (read(fd, packet, sizeof packet) > 0 && write(fd, connect_answer_.data(), connect_answer_.size()) > 0 &&
                read(fd, packet, sizeof packet) > 0 && behaviour_ == after_connect::stay_silent) {
                while (read(fd, packet, sizeof packet) > 0) {
                }
            }
            close(fd);
        }
    }

    int listening_;
    std::string connect_answer_;
    after_connect behaviour_;
    other_process process_;
};

const std::string connection_accepted("\x20\x02\x00\x00", 4);
const std::string not_authorized("\x20\x02\x00\x05", 4);

class subscriber {
public:
    explicit subscriber(int port) : client_(mosquitto_new(nullptr, true, this), &mosquitto_destroy) {
        mosquitto_message_callback_set(client_.get(), [](mosquitto *, void *self, const mosquitto_message *message) {
            static_cast<subscriber *>(self)->messages_.emplace_back(static_cast<const char *>(message->payload),
                                                                    message->payloadlen);
        });
        mosquitto_subscribe_callback_set(client_.get(), [](mosquitto *, void *self, int, int, const int *) {
            static_cast<subscriber *>(self)->subscribed_ = true;
        });
        mosquitto_connect_callback_set(
            client_.get(), [](mosquitto *client, void *, int) { mosquitto_subscribe(client, nullptr, topic, 1); });
        EXPECT_EQ(mosquitto_connect(client_.get(), "127.0.0.1", port, 60), MOSQ_ERR_SUCCESS);
        serve_until([this] { return subscribed_; });
        EXPECT_TRUE(subscribed_);
    }

    // Waits for so many, and a little longer for one too many.
    std::vector<std::string> messages(std::size_t count) {
        serve_until([&] { return messages_.size() >= count; });
        mosquitto_loop(client_.get(), 200, 1);
        return messages_;
    }

private:
    void serve_until(const std::function<bool()> &holds) {
        const auto deadline = std::chrono::steady_clock::now() + within_seconds;
        while (!holds() && std::chrono::steady_clock::now() < deadline) {
            mosquitto_loop(client_.get(), 100, 1);
        }
    }

    std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> client_;
    std::vector<std::string> messages_;
    bool subscribed_ = false;
};

class mqtt : public testing::Test {
protected:
    // The default action would end the test program: whoever writes to a dead connection must not raise it.
    static void SetUpTestSuite() {
        signal(SIGPIPE, SIG_DFL);
        mosquitto_lib_init();
    }
    static void TearDownTestSuite() { mosquitto_lib_cleanup(); }

    int send(mqtt_brel &client, const char *to, const char *payload) const {
        int rc = -4711;
        const auto start = std::chrono::steady_clock::now();
        client.send_message(&rc, to, payload);
        EXPECT_LT(std::chrono::steady_clock::now() - start, within_seconds);
        return rc;
    }
    int send(mqtt_brel &client, const char *payload) const { return send(client, topic, payload); }

    static void start(mqtt_brel &client) {
        const auto begin = std::chrono::steady_clock::now();
        client.start_mqtt_connection();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, within_seconds);
    }

    int port_ = free_port();
    mqtt_brel client_{"zstats", "127.0.0.1", port_, true};
};

TEST_F(mqtt, the_payload_arrives_byte_for_byte) {
    const real_broker broker(port_);
    subscriber listener(port_);
    start(client_);
    EXPECT_EQ(send(client_, "{\"pid\":1234,\"ps\":\"zstats\",\"req\":\"SOFT_RESET\"}\n"), BREL_MQTT_SUCCESS);
    EXPECT_EQ(send(client_, "\x01\xff \"\r\n\n"), BREL_MQTT_SUCCESS);
    EXPECT_THAT(listener.messages(2),
                ElementsAre("{\"pid\":1234,\"ps\":\"zstats\",\"req\":\"SOFT_RESET\"}\n", "\x01\xff \"\r\n\n"));
}

TEST_F(mqtt, a_long_and_an_empty_payload_arrive) {
    const real_broker broker(port_);
    subscriber listener(port_);
    const std::string text(300000, 'x');
    EXPECT_EQ(send(client_, text.c_str()), BREL_MQTT_SUCCESS);
    EXPECT_EQ(send(client_, ""), BREL_MQTT_SUCCESS);
    EXPECT_THAT(listener.messages(2), ElementsAre(text, ""));
}

TEST_F(mqtt, the_result_may_be_unwanted) {
    const real_broker broker(port_);
    subscriber listener(port_);
    client_.send_message(nullptr, topic, "payload");
    EXPECT_THAT(listener.messages(1), ElementsAre("payload"));
}

TEST_F(mqtt, a_send_without_a_start_connects_by_itself) {
    const real_broker broker(port_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_SUCCESS);
}

TEST_F(mqtt, a_host_name_works_too) {
    const real_broker broker(port_);
    mqtt_brel by_name("zstats", "localhost", port_, true);
    EXPECT_EQ(send(by_name, "payload"), BREL_MQTT_SUCCESS);
}

TEST_F(mqtt, an_absent_broker_is_no_error_at_the_start) {
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
    client_.send_message(nullptr, topic, "payload");
}

TEST_F(mqtt, a_broker_that_comes_later_is_found) {
    start(client_);
    const real_broker broker(port_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_SUCCESS);
}

TEST_F(mqtt, a_broker_that_was_restarted_between_two_sends) {
    auto broker = std::make_unique<real_broker>(port_);
    start(client_);
    EXPECT_EQ(send(client_, "first"), BREL_MQTT_SUCCESS);
    broker.reset();
    broker = std::make_unique<real_broker>(port_);
    subscriber listener(port_);
    EXPECT_EQ(send(client_, "second"), BREL_MQTT_SUCCESS);
    EXPECT_THAT(listener.messages(1), ElementsAre("second"));
}

TEST_F(mqtt, a_broker_that_went_away) {
    auto broker = std::make_unique<real_broker>(port_);
    EXPECT_EQ(send(client_, "first"), BREL_MQTT_SUCCESS);
    broker.reset();
    EXPECT_EQ(send(client_, "second"), BREL_MQTT_BUSY);
}

TEST_F(mqtt, a_client_whose_broker_went_away_ends_quietly) {
    auto broker = std::make_unique<real_broker>(port_);
    auto client = std::make_unique<mqtt_brel>("zstats", "127.0.0.1", port_, true);
    start(*client);
    broker.reset();
    client.reset();
    EXPECT_FALSE(somebody_listens_on(port_));
}

TEST_F(mqtt, a_broker_that_says_nothing_does_not_hold_us_up) {
    const int silent = listen_on(port_, 5);
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
    close(silent);
}

TEST_F(mqtt, a_broker_that_accepts_nothing_does_not_hold_us_up) {
    const int silent = listen_on(port_, 0);
    std::vector<int> queue_fillers;
    const sockaddr_in address = loopback(port_);
    for (int i = 0; i < 4; ++i) {
        queue_fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        // The first ones get a place, the others go on asking: either is fine.
        [[maybe_unused]] const int outcome =
            connect(queue_fillers.back(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    }
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
    for (const int fd : queue_fillers) {
        close(fd);
    }
    close(silent);
}

TEST_F(mqtt, a_broker_that_refuses_us) {
    const fake_broker broker(port_, not_authorized, fake_broker::after_connect::stay_silent);
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
}

TEST_F(mqtt, a_broker_that_speaks_something_else) {
    const fake_broker broker(port_, "HTTP/1.1 400 Bad Request\r\n\r\n", fake_broker::after_connect::stay_silent);
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
}

TEST_F(mqtt, a_message_without_acknowledgement_is_unsuccessful) {
    const fake_broker broker(port_, connection_accepted, fake_broker::after_connect::stay_silent);
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_UNSUCCESSFUL);
}

TEST_F(mqtt, a_broker_that_hangs_up_on_the_message) {
    const fake_broker broker(port_, connection_accepted, fake_broker::after_connect::hang_up_on_publish);
    start(client_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_BUSY);
}

TEST_F(mqtt, a_message_that_failed_is_not_sent_later) {
    auto deaf = std::make_unique<fake_broker>(port_, connection_accepted, fake_broker::after_connect::stay_silent);
    EXPECT_EQ(send(client_, "failed"), BREL_MQTT_UNSUCCESSFUL);
    deaf.reset();
    const real_broker broker(port_);
    subscriber listener(port_);
    EXPECT_EQ(send(client_, "later"), BREL_MQTT_SUCCESS);
    EXPECT_THAT(listener.messages(1), ElementsAre("later"));
}

TEST_F(mqtt, a_bad_topic_or_payload_is_refused_and_harms_nothing) {
    const real_broker broker(port_);
    struct row {
        const char *why;
        const char *topic;
        const char *payload;
    };
    const std::string too_long(65536, 't');
    const row rows[] = {
        {"no topic", nullptr, "x"},
        {"empty topic", "", "x"},
        {"wildcard for one level", "a/+/b", "x"},
        {"wildcard for all levels", "a/#", "x"},
        {"topic that is no UTF-8", "a/\xff", "x"},
        {"topic beyond 65535 bytes", too_long.c_str(), "x"},
        {"no payload", topic, nullptr},
    };
    for (const row &r : rows) {
        EXPECT_EQ(send(client_, r.topic, r.payload), BREL_MQTT_BAD_REQUEST) << r.why;
    }
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_SUCCESS);
}

TEST_F(mqtt, a_client_without_name_or_host_never_crashes) {
    mqtt_brel nobody(nullptr, nullptr, port_, true);
    start(nobody);
    EXPECT_EQ(send(nobody, "payload"), BREL_MQTT_BUSY);
    EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0) << "is not closed";
}

TEST_F(mqtt, there_is_no_background_thread) {
    const real_broker broker(port_);
    EXPECT_EQ(send(client_, "payload"), BREL_MQTT_SUCCESS);
    EXPECT_THAT(content_of("/proc/self/status"), testing::HasSubstr("\nThreads:\t1\n"));
}

// The stop lasts for the rest of the process: it needs one of its own. The time is counted against the one that is
// waited otherwise.
TEST_F(mqtt, a_stop_does_not_wait_for_an_acknowledgement) {
    const fake_broker broker(port_, connection_accepted, fake_broker::after_connect::stay_silent);
    other_process daemon([this] {
        stop_libzelt_funcs();
        const auto begin = std::chrono::steady_clock::now();
        const int rc = send(client_, "payload");
        return rc == BREL_MQTT_UNSUCCESSFUL && std::chrono::steady_clock::now() - begin < 3s ? 0 : 1;
    });
    EXPECT_EQ(daemon.wait(), 0);
}

TEST_F(mqtt, a_stop_leaves_a_healthy_broker_its_time) {
    const real_broker broker(port_);
    subscriber listener(port_);
    other_process daemon([this] {
        stop_libzelt_funcs();
        return send(client_, "payload") == BREL_MQTT_SUCCESS ? 0 : 1;
    });
    EXPECT_THAT(listener.messages(1), ElementsAre("payload"));
    EXPECT_EQ(daemon.wait(), 0);
}

}  // namespace
