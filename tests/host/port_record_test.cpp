// What the port tells of the module, and how it reaches the readers of the database.
#include "host/port_record.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "host/serial_port.h"
#include "platform/device_utils.h"
#include "tests/host/scripted_module.h"
#include "tests/host/sysdb_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr at_limits patient{.total = 10s, .after_wanted_line = 100ms, .mark = 10s, .silence = 150ms};
constexpr at_limits brief{.total = 200ms, .after_wanted_line = 50ms, .mark = 50ms, .silence = 20ms};

class port_recorded : public sysdb_test {
protected:
    void TearDown() override { get_back_in_step(); }

    static void ask_one_that_answers() { get_back_in_step(); }
    static void ask_one_that_is_mute() {
        scripted_module module([](scripted_module &self) { self.rest(10s); });
        const opened_port port(module);
        ask_module(port.fd(), "at\r", "", brief);
    }
    static port_state state() { return recorded_port()->state; }

    // Of the database, by another environment.
    sysdb_values stored(const char *database = PLATFORM_DATABASE) const {
        let_go_of_the_database();
        return list(database);
    }
    std::size_t commits() const {
        let_go_of_the_database();
        sysdb_environment environment;
        return environment.open(directory_, sysdb_access::read) == 0 ? environment.change_counter() : 0;
    }
};

TEST_F(port_recorded, complete_answer_is_one_whether_the_module_agrees_or_not) {
    for (const char *answer : {"\r\nOK\r\n", "\r\nERROR\r\n"}) {
        ask_one_that_is_mute();
        scripted_module module(always(answer));
        const opened_port port(module);
        const int before = static_cast<int>(fwtime_s(0));
        ask_module(port.fd(), "at\r", "", patient);
        EXPECT_EQ(state(), port_state::answers) << answer;
        EXPECT_GE(recorded_port()->last_answer, before) << answer;
    }
}

TEST_F(port_recorded, wanted_line_without_a_final_result_is_an_answer) {
    scripted_module module(always("\r\n+CSQ: 20,99\r\n"));
    const opened_port port(module);
    ask_module(port.fd(), "at+csq\r", "+CSQ:", patient);
    EXPECT_EQ(state(), port_state::answers);
}

TEST_F(port_recorded, silence_keeps_the_time_of_the_last_answer) {
    ask_one_that_answers();
    const std::optional<int> answered = recorded_port()->last_answer;
    ask_one_that_is_mute();
    EXPECT_EQ(state(), port_state::no_answer);
    const int since = recorded_port()->since;
    ask_one_that_is_mute();
    EXPECT_EQ(recorded_port()->since, since);
    EXPECT_EQ(recorded_port()->last_answer, answered);
}

TEST_F(port_recorded, module_that_vanishes_hangs_up) {
    scripted_module module([](scripted_module &self) {
        self.hear();
        self.vanish();
    });
    const opened_port port(module);
    ask_module(port.fd(), "at\r", "", patient);
    EXPECT_EQ(state(), port_state::hung_up);
}

TEST_F(port_recorded, device_that_cannot_be_opened_says_why) {
    testing::internal::CaptureStderr();
    EXPECT_LT(ser_open(file("no_such_port").c_str()), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(state(), port_state::cannot_be_opened);
    EXPECT_THAT(recorded_port()->reason, HasSubstr("No such file or directory: plug in the module"));
    ask_one_that_answers();
    EXPECT_EQ(recorded_port()->reason, "");
}

TEST_F(port_recorded, rides_along_with_the_next_commit_and_makes_none) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", 1, 0), 0);
    const std::size_t before = commits();
    ask_one_that_answers();
    EXPECT_EQ(commits(), before);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", 1, 0), 0);
    EXPECT_EQ(commits(), before + 1);
    const port_record record = *recorded_port();
    EXPECT_EQ(stored(), (sysdb_values{{"PORT_STATE", std::string("answers")},
                                      {"PORT_STATE_SINCE", record.since},
                                      {"PORT_LAST_ANSWER", *record.last_answer},
                                      {"PORT_REASON", std::string()}}));
    EXPECT_EQ(stored("CELL"), (sysdb_values{{"CELL_CONNECTED", 1}})) << "the daemon's database holds the daemon's keys";
}

TEST_F(port_recorded, transaction_that_wrote_nothing_stays_without_a_commit) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", 1, 0), 0);
    const std::size_t before = commits();
    ask_one_that_is_mute();
    ASSERT_EQ(sysdb_namedb_del(nullptr, "CELL", "NONE"), 0);
    EXPECT_EQ(read([](sysdb_handle *) { return 0; }), 0);
    EXPECT_EQ(commits(), before);
}

TEST_F(port_recorded, is_there_in_a_folder_made_anew) {
    ask_one_that_is_mute();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", 1, 0), 0);
        EXPECT_EQ(stored()["PORT_STATE"], sysdb_value(std::string("no answer")));
        std::filesystem::remove_all(directory_);
    }
}

TEST_F(port_recorded, what_another_program_keeps_under_its_name_costs_no_value) {
    write_raw(PLATFORM_DATABASE, "K", "v", MDB_DUPSORT);
    ask_one_that_answers();
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "CELL_CONNECTED", 1, 0), 0);
    EXPECT_EQ(stored("CELL"), (sysdb_values{{"CELL_CONNECTED", 1}}));
}

}  // namespace
