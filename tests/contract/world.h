// What surrounds the platform in a contract test. The tests know this and the headers of platform/, nothing else; like
// the platform itself, the world has two implementations, chosen by what a program links: one in memory, and one with a
// module on a pseudo-terminal, a broker, a network and files.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

struct mqtt_message {
    std::string topic;
    std::string payload;
    bool operator==(const mqtt_message &) const = default;
};

// What a module knows of itself. What is empty it refuses to tell.
struct module_facts {
    std::string carrier, imsi, mdn, cfun;
    std::optional<bool> registered;
    bool roaming = false;
};

// Each case has a process of its own, and a world that is empty at its start.
class world {
public:
    world();
    ~world();
    world(const world &) = delete;
    world &operator=(const world &) = delete;

    // --- Database ---

    // From now on a transaction cannot be committed that writes a text of 200000 characters.
    void fill_the_database();
    void make_room_in_the_database();

    // --- Module. It refuses every command that it was not told to answer; it is told before it is opened. ---

    std::string device();
    void module_prints_line(const std::string &command, const std::string &line);
    void module_prints(const std::string &command, const std::vector<std::string> &lines, const std::string &ending);
    void module_knows(const module_facts &facts);
    void qmi_tool_prints(const std::string &text);
    void qmi_tool_fails();

    // --- Configuration ---

    void configuration_is(const std::string &json);
    void configuration_is_missing();

    // --- MQTT ---

    void start_broker();
    int broker_port();                                      // of the broker that runs, or does not yet
    std::vector<mqtt_message> messages(std::size_t count);  // that came to the broker, when there are so many

    // --- Files, below a folder of their own ---

    std::string path(const std::string &name);
    void write(const std::string &path, const std::string &content);
    std::optional<std::string> content(const std::string &path);

    // --- Network: an interface "wwan0", down and without an address. False when the kernel does not allow one. ---

    bool make_network();
    void give_address(const std::string &ipv4);
    bool is_up();

    // --- Commands ---

    void command_ends_with(const std::string &command, int status);

private:
    struct implementation;
    std::unique_ptr<implementation> impl_;
};

class contract : public testing::Test {
protected:
    world world_;
};
