// The platform in memory complains about calls that no header allows, so that a wrong argument fails whatever test
// meets it.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <array>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "platform/device_utils.h"
#include "platform/module_access.h"
#include "platform/sysdb.h"
#include "tests/fake_platform/fake_platform.h"

namespace {

std::array<char, 16> buffer;
const std::array<std::string, 2> TEXTS{"OK", "ERROR"};

void exchange(int fd, unsigned int flag, unsigned int other_flag) {
    ser_write_and_get_all_response_until_searchtxt(fd, "at\r", TEXTS.data(), TEXTS.size(), buffer.data(), buffer.size(),
                                                   flag, other_flag);
}

void in_transaction(int flags, void (*body)(sysdb_handle *handle)) {
    sysdb_handle handle{};
    sysdb_init(&handle, flags);
    sysdb_txn_start(&handle, "CELL", flags);
    body(&handle);
    sysdb_exit(&handle);
}

struct wrong_call {
    const char *why;
    void (*call)();
};

constexpr wrong_call WRONG_CALLS[] = {
    {"close of a descriptor that was never open", [] { ser_close(8); }},
    {"second close",
     [] {
         const int fd = ser_open("/dev/ttyQSB3");
         ser_close(fd);
         ser_close(fd);
     }},
    {"exchange on another descriptor", [] { exchange(ser_open("/dev/ttyQSB3") + 1, 1, 1); }},
    {"exchange with another last argument", [] { exchange(ser_open("/dev/ttyQSB3"), 1, 0); }},
    {"exchange with another last but one", [] { exchange(ser_open("/dev/ttyQSB3"), 2, 1); }},
    {"typed query on another descriptor", [] { zelt_at_cmd_get_imsi(7, buffer.data(), buffer.size()); }},
    {"restore on another descriptor", [] { zelt_at_cmd_restore_factory_settings(7); }},
    {"registration on another descriptor",
     [] {
         bool registered = false;
         bool roaming = false;
         zelt_at_cmd_get_registration_and_roaming(7, &registered, &roaming);
     }},
    {"one-shot write with flags", [] { sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 5); }},
    {"one-shot write of a text with flags", [] { sysdb_namedb_write_str(nullptr, "CELL", "K", "", 1); }},
    {"one-shot write with a handle",
     [] {
         sysdb_handle handle{};
         sysdb_namedb_write_int(&handle, "CELL", "K", 1, 0);
     }},
    {"one-shot deletion with a handle",
     [] {
         sysdb_handle handle{};
         sysdb_namedb_del(&handle, "CELL", "K");
     }},
    {"one-shot write inside of a transaction",
     [] { in_transaction(0, [](sysdb_handle *) { sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0); }); }},
    {"write with flags", [] { in_transaction(0, [](sysdb_handle *handle) { sysdb_write_int(handle, "K", 1, 1); }); }},
    {"write of a real with flags",
     [] { in_transaction(0, [](sysdb_handle *handle) { sysdb_write_dbl(handle, "K", 1, 1); }); }},
    {"write of a text with flags",
     [] { in_transaction(0, [](sysdb_handle *handle) { sysdb_write_str(handle, "K", "", 1); }); }},
    {"write through a copy of the handle",
     [] {
         in_transaction(0, [](sysdb_handle *handle) {
             sysdb_handle copy = *handle;
             sysdb_write_int(&copy, "K", 1, 0);
         });
     }},
    {"write in a transaction that has ended",
     [] {
         in_transaction(0, [](sysdb_handle *handle) {
             sysdb_txn_end(handle);
             sysdb_write_int(handle, "K", 1, 0);
         });
     }},
    {"write in a transaction that only reads",
     [] {
         fake::platform().databases["CELL"];
         in_transaction(SYSDB_READ_ONLY, [](sysdb_handle *handle) { sysdb_write_int(handle, "K", 1, 0); });
     }},
    {"read outside of a transaction",
     [] {
         in_transaction(0, [](sysdb_handle *handle) {
             sysdb_txn_end(handle);
             int value = 0;
             sysdb_read_int(handle, "K", &value);
         });
     }},
    {"empty key", [] { in_transaction(0, [](sysdb_handle *handle) { sysdb_write_int(handle, "", 1, 0); }); }},
    {"session with flags of nobody",
     [] {
         sysdb_handle handle{};
         sysdb_init(&handle, 4);
         sysdb_exit(&handle);
     }},
    {"exit of a session that is not open",
     [] {
         sysdb_handle handle{};
         sysdb_exit(&handle);
     }},
    {"the clock's reserved argument", [] { fwtime_s(1); }},
    {"another question than whether a file exists", [] { static_cast<void>(access("/tmp/zelt.cli", R_OK)); }},
    {"a log line with a facility of its own", [] { syslog(LOG_USER | LOG_ALERT, "text"); }},
    {"the time file opened so that a link is followed",
     [] { close(open("/tmp/cell_last_connect_changed_time", O_WRONLY | O_CREAT | O_CLOEXEC, 0644)); }},
};

TEST(misuse, fails_the_test_that_makes_it) {
    for (const wrong_call &each : WRONG_CALLS) {
        SCOPED_TRACE(each.why);
        fake::reset();
        testing::TestPartResultArray failures;
        {
            const testing::ScopedFakeTestPartResultReporter reporter(&failures);
            each.call();
        }
        EXPECT_EQ(failures.size(), 1) << each.why;
    }
    fake::reset();
}

TEST(misuse, passes_where_a_test_expects_it) {
    fake::platform().misuse_is_expected = true;
    ser_close(8);
    fake::reset();
}

}  // namespace
