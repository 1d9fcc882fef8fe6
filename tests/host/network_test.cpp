// In a network of its own, so that nothing on this machine is changed and no name is taken.
#include "platform/device_utils.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>

#include "tests/support/private_namespace.h"

namespace {

class network : public testing::Test {
protected:
    static void SetUpTestSuite() { is_private_ = unshare_as_root(CLONE_NEWNET); }
    void SetUp() override {
        if (!is_private_) {
            GTEST_SKIP() << "the kernel forbids private networks here: run as root or allow user namespaces";
        }
        ip("link add wwan0 type veth peer name far0");
    }
    void TearDown() override {
        if (is_private_) {
            ip("link del wwan0");
        }
    }

    static void ip(const std::string &command) { ASSERT_EQ(std::system(("ip " + command).c_str()), 0) << command; }
    // Bit 0 of the flags is the administrative state.
    static bool is_up(const char *name) {
        return std::system((std::string("ip -o link show ") + name + " | grep -q '[<,]UP[,>]'").c_str()) == 0;
    }

    char address_[16] = "odd";

private:
    inline static bool is_private_ = false;
};

TEST_F(network, an_interface_without_an_address) {
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "odd");
}

TEST_F(network, an_interface_with_an_address) {
    ip("address add 10.1.2.3/30 dev wwan0");
    EXPECT_EQ(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "10.1.2.3");
}

TEST_F(network, the_longest_address_fits) {
    ip("address add 192.168.100.200/24 dev wwan0");
    EXPECT_EQ(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "192.168.100.200");
}

TEST_F(network, of_two_addresses_the_first) {
    ip("address add 10.1.2.3/30 dev wwan0");
    ip("address add 10.9.9.9/24 dev wwan0");
    EXPECT_EQ(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "10.1.2.3");
}

TEST_F(network, an_ipv6_address_does_not_count) {
    ip("link set wwan0 up");
    ip("link set far0 up");
    ip("address add fd00::1/64 dev wwan0");
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
}

TEST_F(network, the_address_of_another_interface_does_not_count) {
    ip("address add 10.1.2.3/30 dev far0");
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
    EXPECT_NE(check_interface_ip("wwan", address_), 0);
    EXPECT_NE(check_interface_ip("far", address_), 0);
}

TEST_F(network, an_address_with_a_label_is_the_interfaces_own) {
    ip("address add 10.1.2.3/30 dev wwan0 label wwan0:data");
    EXPECT_EQ(check_interface_ip("wwan0", address_), 0);
    EXPECT_STREQ(address_, "10.1.2.3");
}

TEST_F(network, the_label_of_another_interface_does_not_count) {
    ip("link set far0 name wwan01");
    ip("address add 10.1.2.3/30 dev wwan01 label wwan01:data");
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
    EXPECT_NE(check_interface_ip("data", address_), 0);
    EXPECT_STREQ(address_, "odd");
}

TEST_F(network, an_address_that_went_away) {
    ip("address add 10.1.2.3/30 dev wwan0");
    ip("address flush dev wwan0");
    EXPECT_NE(check_interface_ip("wwan0", address_), 0);
}

TEST_F(network, up_and_down) {
    ASSERT_FALSE(is_up("wwan0"));
    EXPECT_EQ(ip_link_set_interface_up("wwan0"), 0);
    EXPECT_TRUE(is_up("wwan0"));
    EXPECT_EQ(ip_link_set_interface_up("wwan0"), 0) << "up already";
    EXPECT_EQ(ip_link_set_interface_down("wwan0"), 0);
    EXPECT_FALSE(is_up("wwan0"));
    EXPECT_EQ(ip_link_set_interface_down("wwan0"), 0) << "down already";
    EXPECT_FALSE(is_up("far0"));
}

TEST_F(network, the_other_flags_stay) {
    ip("link set wwan0 promisc on");
    EXPECT_EQ(ip_link_set_interface_up("wwan0"), 0);
    EXPECT_EQ(std::system("ip -o link show wwan0 | grep -q PROMISC"), 0);
}

TEST_F(network, names_that_no_interface_has) {
    for (const char *name : {"absent0", "", "sixteen-letters-", "a name far longer than the kernel's limit of 15",
                             static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(ip_link_set_interface_up(name), ENODEV) << (name != nullptr ? name : "null");
        EXPECT_EQ(ip_link_set_interface_down(name), ENODEV) << (name != nullptr ? name : "null");
        EXPECT_NE(check_interface_ip(name, address_), 0) << (name != nullptr ? name : "null");
    }
    EXPECT_STREQ(address_, "odd");
}

TEST_F(network, a_name_of_the_full_length) {
    ip("link set wwan0 name fifteen-letters");
    EXPECT_EQ(ip_link_set_interface_up("fifteen-letters"), 0);
    EXPECT_TRUE(is_up("fifteen-letters"));
    ip("link set fifteen-letters down");
    ip("link set fifteen-letters name wwan0");
}

}  // namespace
