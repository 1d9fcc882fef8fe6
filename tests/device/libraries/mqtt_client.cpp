#include "platform/mqtt_client.h"

#include "tests/device/libraries/journal.h"

// Only the table and one pointer of the real class are known.
struct mqtt_brel::implementation {};

mqtt_brel::mqtt_brel(const char *client_name, const char *broker_host, int port, bool) {
    tell("mqtt %s at %s:%d", client_name, broker_host, port);
}

mqtt_brel::~mqtt_brel() {
    tell("mqtt gone");
}

void mqtt_brel::start_mqtt_connection() {
    tell("mqtt connect");
}

void mqtt_brel::send_message(int *, const char *topic, const char *payload) {
    tell("mqtt %s %s", topic, payload);
}
