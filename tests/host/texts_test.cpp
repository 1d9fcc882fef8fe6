#include "platform/device_utils.h"

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

std::vector<std::string> split(std::string text, const char *delimiters) {
    std::vector<std::string> fields;
    char *state = nullptr;
    for (char *field = strtok_consecutive_r(text.data(), delimiters, &state); field != nullptr;
         field = strtok_consecutive_r(nullptr, delimiters, &state)) {
        fields.emplace_back(field);
    }
    return fields;
}

TEST(strtok_consecutive_r, keeps_field_numbers_aligned_with_the_delimiters) {
    struct row {
        const char *why;
        const char *text;
        const char *delimiters;
        std::vector<std::string> fields;
    };
    const std::vector<row> rows = {
        {"nothing in, nothing out", "", ",", {}},
        {"no delimiter: one field", "abc", ",", {"abc"}},
        {"two in a row are an empty field", "a,,b", ",", {"a", "", "b"}},
        {"three in a row are two", "a,,,b", ",", {"a", "", "", "b"}},
        {"a leading one opens an empty field", ",a", ",", {"", "a"}},
        {"a trailing one opens none", "a,", ",", {"a"}},
        {"of two trailing ones the first does", "a,,", ",", {"a", ""}},
        {"one alone is a leading one", ",", ",", {""}},
        {"each delimiter of a set counts", "a\r\nb\r\n", "\r\n", {"a", "", "b", ""}},
        {"blanks are no delimiters here", " a , b", ",", {" a ", " b"}},
        {"without delimiters the text is one field", "a,b", "", {"a,b"}},
    };
    for (const row &r : rows) {
        EXPECT_EQ(split(r.text, r.delimiters), r.fields) << r.why;
    }
}

TEST(strtok_consecutive_r, stays_at_the_end_for_ever) {
    char text[] = "a";
    char *state = nullptr;
    EXPECT_STREQ(strtok_consecutive_r(text, ",", &state), "a");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(strtok_consecutive_r(nullptr, ",", &state), nullptr);
    }
}

TEST(strtok_consecutive_r, an_empty_text_ends_a_split_that_was_under_way) {
    char first[] = "a,b";
    char second[] = "";
    char *state = nullptr;
    strtok_consecutive_r(first, ",", &state);
    EXPECT_EQ(strtok_consecutive_r(second, ",", &state), nullptr);
    EXPECT_EQ(strtok_consecutive_r(nullptr, ",", &state), nullptr);
}

TEST(strtok_consecutive_r, two_splits_do_not_disturb_each_other) {
    char lines[] = "a,b\nc";
    char *line_state = nullptr;
    char *field_state = nullptr;
    char *line = strtok_consecutive_r(lines, "\n", &line_state);
    EXPECT_STREQ(strtok_consecutive_r(line, ",", &field_state), "a");
    EXPECT_STREQ(strtok_consecutive_r(nullptr, "\n", &line_state), "c");
    EXPECT_STREQ(strtok_consecutive_r(nullptr, ",", &field_state), "b");
}

TEST(strip_not_in_range_list, keeps_what_lies_in_a_range) {
    struct row {
        const char *why;
        std::string text;
        std::vector<char> ranges;  // not NUL-terminated, as the daemon passes them
        std::string kept;
    };
    const std::vector<row> rows = {
        {"digits of a quoted band name", "\"WCDMA 850\"", {'0', '9'}, "850"},
        {"both ends are included", "/0459:", {'0', '9'}, "0459"},
        {"two ranges", "aZ5-b", {'0', '9', 'a', 'b'}, "a5b"},
        {"no range keeps nothing", "abc", {}, ""},
        {"a reversed range is empty", "0123456789", {'9', '0'}, ""},
        {"nothing in, nothing out", "", {'0', '9'}, ""},
        {"bytes above 127 are no negative numbers", "\xff\x41\x80", {'\x80', '\xff'}, "\xff\x80"},
    };
    for (const row &r : rows) {
        std::string text = r.text;
        strip_not_in_range_list(text.data(), r.ranges.data(), static_cast<unsigned int>(r.ranges.size() / 2));
        EXPECT_STREQ(text.c_str(), r.kept.c_str()) << r.why;
    }
}

TEST(netmask_to_cidr, every_prefix_length) {
    for (int prefix = 0; prefix <= 32; ++prefix) {
        const unsigned int mask = prefix == 0 ? 0 : 0xffffffffU << (32 - prefix);
        const std::string text = std::to_string(mask >> 24) + "." + std::to_string(mask >> 16 & 255) + "." +
                                 std::to_string(mask >> 8 & 255) + "." + std::to_string(mask & 255);
        EXPECT_EQ(netmask_to_cidr(text.c_str()), prefix) << text;
    }
}

TEST(netmask_to_cidr, no_mask_is_minus_one) {
    struct row {
        const char *why;
        const char *text;
    };
    const row rows[] = {
        {"empty: the mask was rejected before", ""},
        {"a hole", "255.0.255.0"},
        {"ones at the low end", "0.0.0.255"},
        {"a hole of one bit", "255.255.253.0"},
        {"too few parts", "255.255.255"},
        {"too many parts", "255.255.255.0.0"},
        {"part above 255", "255.255.256.0"},
        {"leading blank", " 255.255.255.0"},
        {"trailing text", "255.255.255.0 "},
        {"the short form of a prefix", "24"},
        {"another notation", "0xffffff00"},
        {"words", "mask"},
    };
    for (const row &r : rows) {
        EXPECT_EQ(netmask_to_cidr(r.text), -1) << r.why;
    }
}

TEST(calculate_bcast, sets_the_host_bits) {
    struct row {
        const char *why;
        const char *ipv4;
        const char *mask;
        const char *broadcast;
    };
    const row rows[] = {
        {"the usual cellular prefix", "10.1.2.3", "255.255.255.252", "10.1.2.3"},
        {"in the middle of its network", "10.1.2.1", "255.255.255.252", "10.1.2.3"},
        {"/24", "192.168.7.9", "255.255.255.0", "192.168.7.255"},
        {"/0", "10.0.0.1", "0.0.0.0", "255.255.255.255"},
        {"/32", "10.0.0.1", "255.255.255.255", "10.0.0.1"},
        {"the longest text fits 16 bytes", "255.255.255.254", "255.255.255.252", "255.255.255.255"},
        {"no address", "", "255.255.255.0", ""},
        {"no mask", "10.0.0.1", "", ""},
        {"an address that was cut", "10.0.0", "255.255.255.0", ""},
        {"a mask with trailing text", "10.0.0.1", "255.255.255.0x", ""},
    };
    for (const row &r : rows) {
        char broadcast[16] = "odd";
        calculate_bcast_from_ipv4_and_mask(r.ipv4, r.mask, broadcast);
        EXPECT_STREQ(broadcast, r.broadcast) << r.why;
    }
}

}  // namespace
