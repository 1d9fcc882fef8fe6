// What platform/module_access.h promises.
#include "platform/module_access.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "tests/contract/world.h"

namespace {

using testing::HasSubstr;

constexpr const char *COMMAND = "at+csq\r";
const std::array<std::string, 3> LINE_TEXTS{"+CSQ:", "OK", "ERROR"};
const std::array<std::string, 2> ENDINGS{"OK", "ERROR"};

class module_access : public contract {
public:
    ~module_access() override {
        if (fd_ >= 0) {
            ser_close(fd_);
        }
    }

protected:
    int opened() { return fd_ = ser_open(world_.device().c_str()); }

    // An odd text first: a buffer that nobody ends shows.
    static unsigned int line(int fd, std::span<char> buffer) {
        std::ranges::fill(buffer, '~');
        return ser_write_and_wait_for_txt_get_line(fd, COMMAND, LINE_TEXTS.data(), LINE_TEXTS.size(), buffer.data(),
                                                   static_cast<unsigned int>(buffer.size()), 1, 1);
    }
    static unsigned int all_lines(int fd, std::span<char> buffer) {
        std::ranges::fill(buffer, '~');
        return ser_write_and_get_all_response_until_searchtxt(
            fd, COMMAND, ENDINGS.data(), ENDINGS.size(), buffer.data(), static_cast<unsigned int>(buffer.size()), 1, 1);
    }

    int fd_ = -1;
};

using typed_query = int (*)(int fd, char *buffer, unsigned int size);
constexpr typed_query TYPED_QUERIES[] = {zelt_at_cmd_get_carrier_name, zelt_at_cmd_get_imsi, zelt_at_cmd_get_mdn,
                                         zelt_at_cmd_get_cfun};

TEST_F(module_access, each_known_name_has_its_model) {
    const std::pair<const char *, module_model> models[] = {
        {"BG96", MODULE_BG96},    {"EC21", MODULE_EC21},    {"EC25", MODULE_EC25},
        {"RM500Q", MODULE_RM50X}, {"RM520N", MODULE_RM52X},
    };
    for (const auto &[name, model] : models) {
        EXPECT_EQ(get_module_model_from_config_string(name), model) << name;
    }
}

TEST_F(module_access, an_unknown_name_has_none) {
    for (const char *name : {"", "NONE", "EC99", "XEC25"}) {
        EXPECT_EQ(get_module_model_from_config_string(name), MODULE_UNKNOWN) << name;
    }
}

TEST_F(module_access, a_device_that_is_there_opens_and_opens_again) {
    const int first = opened();
    EXPECT_GE(first, 0);
    ser_close(first);
    EXPECT_GE(opened(), 0);
}

TEST_F(module_access, a_device_that_is_not_there_does_not_open) {
    EXPECT_LT(ser_open("/dev/no-such-device"), 0);
    EXPECT_LT(ser_open(""), 0);
}

TEST_F(module_access, the_line_with_the_prefix_is_found) {
    world_.module_prints_line("at+csq", "+CSQ: 20,99");
    std::array<char, 32> buffer{};
    EXPECT_EQ(line(opened(), buffer), SER_LINE_FOUND);
    EXPECT_STREQ(buffer.data(), "+CSQ: 20,99");
}

TEST_F(module_access, the_line_is_cut_to_the_buffer) {
    world_.module_prints_line("at+csq", "+CSQ: 20,99");
    std::array<char, 12> fits{};
    EXPECT_EQ(line(opened(), fits), SER_LINE_FOUND);
    EXPECT_STREQ(fits.data(), "+CSQ: 20,99");
    std::array<char, 8> cut{};
    EXPECT_EQ(line(fd_, cut), SER_LINE_FOUND);
    EXPECT_STREQ(cut.data(), "+CSQ: 2");
}

TEST_F(module_access, an_answer_that_ends_without_the_line_is_neither_found_nor_a_closed_port) {
    std::array<char, 32> buffer{};
    EXPECT_GT(line(opened(), buffer), SER_LINE_FOUND);
    EXPECT_STREQ(buffer.data(), "");
}

TEST_F(module_access, all_lines_come_in_order_with_the_ending) {
    world_.module_prints("at+csq", {"+A: 1", "+B: 2"}, "OK");
    std::array<char, 64> buffer{};
    EXPECT_LE(all_lines(opened(), buffer), SER_ANSWER_COMPLETE_MAX);
    const std::string text = buffer.data();
    EXPECT_THAT(text, testing::StartsWith("+A: 1"));
    EXPECT_LT(text.find("+A: 1"), text.find("+B: 2"));
    EXPECT_LT(text.find("+B: 2"), text.find("OK"));
}

TEST_F(module_access, any_of_the_texts_ends_a_completed_answer) {
    world_.module_prints("at+csq", {"+A: 1"}, "ERROR");
    std::array<char, 64> buffer{};
    EXPECT_LE(all_lines(opened(), buffer), SER_ANSWER_COMPLETE_MAX);
    EXPECT_THAT(buffer.data(), HasSubstr("ERROR"));
}

TEST_F(module_access, all_lines_are_cut_to_the_buffer) {
    world_.module_prints("at+csq", {"+A: 12345", "+B: 2"}, "OK");
    std::array<char, 8> buffer{};
    EXPECT_LE(all_lines(opened(), buffer), SER_ANSWER_COMPLETE_MAX);
    EXPECT_STREQ(buffer.data(), "+A: 123");
}

TEST_F(module_access, on_a_descriptor_that_is_not_open_everything_fails) {
    const int closed = opened();
    ser_close(closed);
    fd_ = -1;
    for (const int fd : {closed, -1}) {
        std::array<char, 16> buffer{};
        EXPECT_EQ(line(fd, buffer), SER_PORT_CLOSED);
        EXPECT_STREQ(buffer.data(), "");
        EXPECT_GT(all_lines(fd, buffer), SER_ANSWER_COMPLETE_MAX);
        EXPECT_STREQ(buffer.data(), "");
        for (const typed_query &query : TYPED_QUERIES) {
            EXPECT_LE(query(fd, buffer.data(), buffer.size()), 0);
        }
        bool registered = true;
        bool roaming = true;
        EXPECT_NE(zelt_at_cmd_get_registration_and_roaming(fd, &registered, &roaming), 0);
        EXPECT_NE(zelt_at_cmd_restore_factory_settings(fd), 0);
        ser_close(fd);  // harmless
    }
}

TEST_F(module_access, registration_stores_both_flags) {
    struct row {
        bool registered;
        bool roaming;
    };
    // Not registered is never roaming.
    for (const row &each : {row{true, false}, row{true, true}, row{false, false}}) {
        world other;
        other.module_knows(
            {.carrier = "", .imsi = "", .mdn = "", .cfun = "", .registered = each.registered, .roaming = each.roaming});
        const int fd = ser_open(other.device().c_str());
        bool registered = !each.registered;
        bool roaming = !each.roaming;
        EXPECT_EQ(zelt_at_cmd_get_registration_and_roaming(fd, &registered, &roaming), 0);
        EXPECT_EQ(registered, each.registered);
        EXPECT_EQ(roaming, each.roaming);
        ser_close(fd);
    }
}

TEST_F(module_access, registration_that_nobody_tells_is_a_failure) {
    bool registered = false;
    bool roaming = false;
    EXPECT_NE(zelt_at_cmd_get_registration_and_roaming(opened(), &registered, &roaming), 0);
}

TEST_F(module_access, each_typed_query_gives_its_text) {
    world_.module_knows({.carrier = "Test Network",
                         .imsi = "001010123456789",
                         .mdn = "+15550100",
                         .cfun = "1",
                         .registered = {},
                         .roaming = false});
    opened();
    const std::pair<typed_query, const char *> queries[] = {{zelt_at_cmd_get_carrier_name, "Test Network"},
                                                            {zelt_at_cmd_get_imsi, "001010123456789"},
                                                            {zelt_at_cmd_get_mdn, "+15550100"},
                                                            {zelt_at_cmd_get_cfun, "1"}};
    for (const auto &[query, text] : queries) {
        std::array<char, 32> buffer{};
        EXPECT_GT(query(fd_, buffer.data(), buffer.size()), 0);
        EXPECT_STREQ(buffer.data(), text);
    }
}

TEST_F(module_access, a_typed_text_is_cut_to_size_minus_1) {
    world_.module_knows({.carrier = "Test Network",
                         .imsi = "001010123456789",
                         .mdn = "+15550100",
                         .cfun = "",
                         .registered = {},
                         .roaming = false});
    opened();
    const std::pair<typed_query, const char *> queries[] = {
        {zelt_at_cmd_get_carrier_name, "Test Ne"}, {zelt_at_cmd_get_imsi, "0010101"}, {zelt_at_cmd_get_mdn, "+155501"}};
    for (const auto &[query, text] : queries) {
        std::array<char, 9> buffer{};
        buffer.fill('~');
        EXPECT_GT(query(fd_, buffer.data(), 8), 0);
        EXPECT_STREQ(buffer.data(), text);
        EXPECT_EQ(buffer[8], '~');
    }
}

TEST_F(module_access, what_the_module_does_not_tell_is_an_empty_answer_or_a_failure) {
    world_.module_knows({});
    opened();
    for (const typed_query &query : TYPED_QUERIES) {
        std::array<char, 16> buffer{};
        EXPECT_LE(query(fd_, buffer.data(), buffer.size()), 0);
    }
}

TEST_F(module_access, factory_settings_are_restored) {
    world_.module_knows({});
    EXPECT_EQ(zelt_at_cmd_restore_factory_settings(opened()), 0);
}

TEST_F(module_access, the_qmi_tool_s_text_and_its_length) {
    world_.qmi_tool_prints("IPv4 address: 10.1.2.3\n      MTU: 1500\n");
    std::array<char, 512> output{};
    EXPECT_EQ(run_qmicli_and_get_result("--wds-get-current-settings", output.data(), output.size()), 39);
    EXPECT_STREQ(output.data(), "IPv4 address: 10.1.2.3\n      MTU: 1500\n");
}

TEST_F(module_access, the_qmi_tool_s_text_is_cut_and_the_length_is_that_of_the_rest) {
    world_.qmi_tool_prints("1234567");
    std::array<char, 9> output{};
    for (const auto &[size, text] : {std::pair{8, "1234567"}, {7, "123456"}, {2, "1"}, {1, ""}}) {
        output.fill('~');
        EXPECT_EQ(run_qmicli_and_get_result("", output.data(), size), static_cast<int>(std::strlen(text)));
        EXPECT_STREQ(output.data(), text);
    }
}

TEST_F(module_access, without_a_buffer_the_qmi_tool_fails) {
    world_.qmi_tool_prints("text");
    char output = '~';
    EXPECT_LT(run_qmicli_and_get_result("", &output, 0), 0);
    EXPECT_EQ(output, '~');
}

TEST_F(module_access, an_empty_text_of_the_qmi_tool_is_no_failure) {
    world_.qmi_tool_prints("");
    char output[8] = "odd";
    EXPECT_EQ(run_qmicli_and_get_result("", output, sizeof output), 0);
    EXPECT_STREQ(output, "");
}

TEST_F(module_access, a_qmi_tool_that_fails_is_negative_and_leaves_an_empty_text) {
    world_.qmi_tool_fails();
    char output[8] = "odd";
    EXPECT_LT(run_qmicli_and_get_result("", output, sizeof output), 0);
    EXPECT_STREQ(output, "");
}

// Stands last: a stop lasts for the rest of the process.
TEST_F(module_access, z_after_a_stop_everything_ends_early_for_ever) {
    world_.module_prints_line("at+csq", "+CSQ: 20,99");
    world_.module_knows({.carrier = "X", .imsi = "", .mdn = "", .cfun = "", .registered = true, .roaming = false});
    world_.qmi_tool_prints("text");
    opened();
    stop_libzelt_funcs();
    for (int i = 0; i < 2; ++i) {
        std::array<char, 32> buffer{};
        EXPECT_NE(line(fd_, buffer), SER_LINE_FOUND);
        EXPECT_GT(all_lines(fd_, buffer), SER_ANSWER_COMPLETE_MAX);
        EXPECT_LE(zelt_at_cmd_get_carrier_name(fd_, buffer.data(), buffer.size()), 0);
        bool registered = false;
        bool roaming = false;
        EXPECT_NE(zelt_at_cmd_get_registration_and_roaming(fd_, &registered, &roaming), 0);
        EXPECT_NE(zelt_at_cmd_restore_factory_settings(fd_), 0);
        EXPECT_LT(run_qmicli_and_get_result("", buffer.data(), buffer.size()), 0);
    }
}

}  // namespace
