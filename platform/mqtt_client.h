// The MQTT client of the device's in-house services.
//
// Known of the device's library: the class, its virtual destructor, the constructor's four arguments, both
// operations and the four result codes.
// Assumed by this project: both operations are plain members, called by their names and not through a table of virtual
// functions; an object has the size and layout of the one below (a table pointer and one pointer), which counts because
// the daemon allocates it; the boolean of the constructor asks for a clean session; a connection that is missing or was
// lost is made again by the next send_message; both operations end within seconds whatever the broker does.
#pragma once

#include <memory>

enum BREL_MQTT_RC : int {
    BREL_MQTT_SUCCESS = 200,
    BREL_MQTT_BAD_REQUEST = 400,
    BREL_MQTT_UNSUCCESSFUL = 500,
    BREL_MQTT_BUSY = 503,
};

class mqtt_brel {
public:
    mqtt_brel(const char *client_name, const char *broker_host, int port, bool clean_session);
    virtual ~mqtt_brel();
    mqtt_brel(const mqtt_brel &) = delete;
    mqtt_brel &operator=(const mqtt_brel &) = delete;

    // Connects to the broker; an absent broker is no error.
    void start_mqtt_connection();

    // Publishes a NUL-terminated payload. Stores a BREL_MQTT_RC in *rc unless rc is null: BREL_MQTT_BUSY without a
    // broker, BREL_MQTT_BAD_REQUEST for a topic that is empty or a pattern (assumed). What failed is not sent later.
    void send_message(int *rc, const char *topic, const char *payload);

private:
    struct implementation;
    std::unique_ptr<implementation> impl_;
};
