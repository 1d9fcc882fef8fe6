// What platform/mqtt_client.h promises.
#include "platform/mqtt_client.h"

#include "tests/contract/world.h"

namespace {

using testing::ElementsAre;

constexpr const char *TOPIC = "v1/device/zelt-man";

class mqtt_client : public contract {
protected:
    static int send(mqtt_brel &client, const char *topic = TOPIC, const char *payload = "text") {
        int result = 4711;
        client.send_message(&result, topic, payload);
        return result;
    }

    mqtt_brel client_{"zstats", "127.0.0.1", world_.broker_port(), true};
};

TEST_F(mqtt_client, a_message_comes_to_the_broker_as_it_is) {
    world_.start_broker();
    client_.start_mqtt_connection();
    EXPECT_EQ(send(client_, TOPIC, "{\"a\":1}\n"), BREL_MQTT_SUCCESS);
    EXPECT_EQ(send(client_, TOPIC, ""), BREL_MQTT_SUCCESS);
    EXPECT_THAT(world_.messages(2), ElementsAre(mqtt_message{TOPIC, "{\"a\":1}\n"}, mqtt_message{TOPIC, ""}));
}

TEST_F(mqtt_client, nobody_needs_to_ask_for_the_result) {
    world_.start_broker();
    client_.start_mqtt_connection();
    client_.send_message(nullptr, TOPIC, "text");
    EXPECT_THAT(world_.messages(1), ElementsAre(mqtt_message{TOPIC, "text"}));
}

TEST_F(mqtt_client, an_absent_broker_is_no_error_and_the_message_finds_the_service_busy) {
    client_.start_mqtt_connection();
    EXPECT_EQ(send(client_), BREL_MQTT_BUSY);
    client_.send_message(nullptr, TOPIC, "text");
}

TEST_F(mqtt_client, a_missing_connection_is_made_by_the_next_message) {
    client_.start_mqtt_connection();
    EXPECT_EQ(send(client_), BREL_MQTT_BUSY);
    world_.start_broker();
    EXPECT_EQ(send(client_, TOPIC, "later"), BREL_MQTT_SUCCESS);
    EXPECT_THAT(world_.messages(1), ElementsAre(mqtt_message{TOPIC, "later"})) << "and not what failed before";
}

TEST_F(mqtt_client, a_topic_that_nobody_can_publish_to_is_a_bad_request) {
    world_.start_broker();
    client_.start_mqtt_connection();
    for (const char *topic : {"", "v1/#", "v1/+/x"}) {
        EXPECT_EQ(send(client_, topic), BREL_MQTT_BAD_REQUEST) << topic;
    }
    EXPECT_EQ(send(client_), BREL_MQTT_SUCCESS);
}

}  // namespace
