// Registration and roaming: what is published, and what a failure leaves alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "daemon/run_control.h"
#include "modem/registration.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

using fake::platform;
using testing::ElementsAre;

TEST(registration, both_keys_are_written_while_the_port_is_still_held) {
    platform().registration_result = 0;
    platform().registered = true;
    platform().roaming = true;
    update_registration_and_roaming();
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: Updating registration and roaming", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "zelt_at_cmd_get_registration_and_roaming 7 false",
                            "sysdb_namedb_write_int CELL CELL_REGISTERED int 1",
                            "sysdb_namedb_write_int CELL CELL_ROAMING int 1", "ser_close 7",
                            "delete_file /tmp/zelt.cli"));
}

TEST(registration, every_pair_of_flags_is_published_as_0_and_1) {
    platform().registration_result = 0;
    for (const bool registered : {false, true}) {
        for (const bool roaming : {false, true}) {
            platform().registered = registered;
            platform().roaming = roaming;
            update_registration_and_roaming();
            EXPECT_EQ(cell_registered, registered);
            EXPECT_EQ(fake::cell("CELL_REGISTERED"), registered ? "int 1" : "int 0");
            EXPECT_EQ(fake::cell("CELL_ROAMING"), roaming ? "int 1" : "int 0");
        }
    }
}

TEST(registration, a_failed_query_leaves_both_keys_as_they_were) {
    for (const int result : {-1, 1, 2}) {
        SCOPED_TRACE(result);
        fake::reset();
        platform().databases["CELL"] = {{"CELL_REGISTERED", 1}, {"CELL_ROAMING", 1}};
        platform().registration_result = result;
        update_registration_and_roaming();
        EXPECT_EQ(fake::cell("CELL_REGISTERED"), "int 1");
        EXPECT_EQ(fake::cell("CELL_ROAMING"), "int 1");
        EXPECT_THAT(platform().journal,
                    ElementsAre("log info: Updating registration and roaming", "create_empty_file /tmp/zelt.cli",
                                "ser_open /dev/ttyQSB3", "zelt_at_cmd_get_registration_and_roaming 7 false",
                                "ser_close 7", "delete_file /tmp/zelt.cli"));
    }
}

TEST(registration, a_flag_that_a_failed_query_changed_stays_changed) {
    platform().registered = true;
    platform().registration_result = -1;
    update_registration_and_roaming();
    EXPECT_TRUE(cell_registered);
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "");
}

TEST(registration, the_flag_keeps_its_value_when_the_query_does_not_store_one) {
    cell_registered = true;
    fake::fail("zelt_at_cmd_get_registration_and_roaming");
    update_registration_and_roaming();
    EXPECT_TRUE(cell_registered);
}

TEST(registration, without_a_port_nothing_is_asked_or_written) {
    cell_registered = true;
    fake::fail("ser_open");
    update_registration_and_roaming();
    EXPECT_THAT(platform().journal,
                ElementsAre("log info: Updating registration and roaming", "create_empty_file /tmp/zelt.cli",
                            "ser_open /dev/ttyQSB3", "delete_file /tmp/zelt.cli"));
    EXPECT_TRUE(cell_registered);
}

TEST(registration, a_failed_write_of_the_first_key_is_silent_and_the_second_is_written) {
    platform().registration_result = 0;
    fake::fail("sysdb_namedb_write_int");
    update_registration_and_roaming();
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "");
    EXPECT_EQ(fake::cell("CELL_ROAMING"), "int 0");
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Updating registration and roaming"));
}

TEST(registration, an_exception_of_the_query_is_logged) {
    fake::before("zelt_at_cmd_get_registration_and_roaming", 1, [] { throw std::runtime_error("no answer"); });
    update_registration_and_roaming();
    EXPECT_THAT(fake::log_lines(), ElementsAre("info: Updating registration and roaming",
                                               "alert: exception no answer in update_registration_and_roaming"));
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
}

TEST(registration, an_exception_of_the_first_write_is_logged_and_skips_the_second) {
    platform().registration_result = 0;
    fake::before("sysdb_namedb_write_int", 1, [] { throw std::runtime_error("no database"); });
    update_registration_and_roaming();
    EXPECT_EQ(fake::log_lines().back(), "alert: exception no database in update_registration_and_roaming");
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
    EXPECT_EQ(fake::cell("CELL_ROAMING"), "");
}

TEST(registration, after_a_clear_a_failed_query_keeps_the_cleared_keys_and_a_good_one_sets_them) {
    platform().registration_result = 0;
    platform().registered = true;
    platform().roaming = true;
    update_registration_and_roaming();
    clear_values();
    fake::fail("zelt_at_cmd_get_registration_and_roaming");
    update_registration_and_roaming();
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "int 0");
    EXPECT_EQ(fake::cell("CELL_ROAMING"), "int 0");
    update_registration_and_roaming();
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "int 1");
    EXPECT_EQ(fake::cell("CELL_ROAMING"), "int 1");
}

TEST(registration, a_clear_zeroes_both_keys_and_the_flag_and_keeps_the_subscribers) {
    platform().registration_result = 0;
    platform().registered = true;
    platform().roaming = true;
    update_registration_and_roaming();
    for (const char *key : {"CELL_CARRIER", "CELL_IMSI", "CELL_MDN"}) {
        platform().databases["CELL"][key] = std::string("kept");
    }
    clear_values();
    EXPECT_FALSE(cell_registered);
    EXPECT_EQ(fake::cell("CELL_REGISTERED"), "int 0");
    EXPECT_EQ(fake::cell("CELL_ROAMING"), "int 0");
    for (const char *key : {"CELL_CARRIER", "CELL_IMSI", "CELL_MDN"}) {
        EXPECT_EQ(fake::cell(key), "string kept") << key;
    }
}

}  // namespace
