// The daemon as a whole, from its command line to its exit status: start-up, the main loop, the stop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/time.h>

#include <json/value.h>

#include "base/run_flag.h"
#include "daemon/module_identification.h"
#include "daemon/signals.h"
#include "daemon/zelt_stats.h"
#include "modem/registration.h"
#include "stats/carriers.h"
#include "tests/fake_platform/fake_platform.h"
#include "tests/stats/clearing_journal.h"
#include "wwan/ipv4_settings.h"
#include "wwan/route.h"

namespace {

using fake::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char *PID_FILE = "/var/run/zelt-stats.pid";
constexpr const char *HARDWARE = "hardware.wireless.cell";

int start(std::vector<std::string> arguments = {"-d", "EC25"}) {
    arguments.insert(arguments.begin(), "/usr/bin/zelt-stats");
    std::vector<char *> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string &argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return zelt_stats(static_cast<int>(arguments.size()), argv.data());
}

void stop() {
    keep_running = false;
}

void stop_in_sleep(int nth) {
    fake::before("sleep", nth, stop);
}

// The n-th sleep from now is the end of a cycle; what it journals afterwards begins the next one.
void before_end_of_cycle(int nth, std::function<void()> action) {
    fake::before("sleep", nth, std::move(action));
}

std::vector<std::string> journal_before(const std::string &line) {
    const auto &journal = platform().journal;
    return {journal.begin(), std::ranges::find(journal, line)};
}

// --- Start-up ---

TEST(start_up, runs_in_the_written_order_up_to_the_first_cycle) {
    stop_in_sleep(1);
    EXPECT_EQ(start(), 0);
    std::vector<std::string> expected{"get_module_model_from_config_string EC25", "openlog cell 0 128",
                                      "log alert: Zelt Stats starting"};
    const auto clearing = journal_of_clearing();
    expected.insert(expected.end(), clearing.begin(), clearing.end());
    expected.insert(expected.end(),
                    {"log alert: Cell disconnected", "open /tmp/cell_last_connect_changed_time",
                     std::string("create_pidfile ") + PID_FILE, "log debug: Device model:fake board", "signal 15",
                     "signal 3", "signal 2", "mqtt_brel zstats 127.0.0.1 1883 true", "start_mqtt_connection"});
    EXPECT_THAT(journal_before("log info: Performing AT queries"), ElementsAreArray(expected));
}

TEST(start_up, the_hardware_description_is_read_behind_the_pid_file) {
    platform().config[HARDWARE] = R"({"module":"EC25"})";
    stop_in_sleep(1);
    EXPECT_EQ(start({}), 0);
    EXPECT_THAT(fake::journal_of({"create_pidfile", "cmd_get_value_json", "log debug: Config:{\"module\":\"EC25\"}\n",
                                  "get_module_model_from_config_string", "log debug: Device", "mqtt_brel"}),
                ElementsAre(std::string("create_pidfile ") + PID_FILE, std::string("cmd_get_value_json ") + HARDWARE,
                            "log debug: Config:{\"module\":\"EC25\"}\n", "get_module_model_from_config_string EC25",
                            "log debug: Device model:fake board", "mqtt_brel zstats 127.0.0.1 1883 true"));
}

TEST(start_up, a_given_model_makes_the_hardware_description_unread) {
    stop_in_sleep(1);
    start();
    EXPECT_THAT(fake::journal_of({"cmd_get_value_json"}), IsEmpty());
}

TEST(start_up, an_unknown_given_model_falls_back_to_the_hardware_description) {
    platform().config[HARDWARE] = R"({"module":"RM500Q"})";
    stop_in_sleep(1);
    start({"-d", "XY99"});
    EXPECT_THAT(fake::journal_of({"get_module_model_from_config_string"}),
                ElementsAre("get_module_model_from_config_string XY99", "get_module_model_from_config_string RM500Q"));
    EXPECT_THAT(fake::log_lines(), Contains("info: Parsing RM5XX stats"));
}

TEST(start_up, has_room_for_carriers_before_the_first_cycle) {
    platform().at_answers["at+qcainfo"] = {
        {0, "+QCAINFO: \"SCC\",1350,100,\"LTE BAND 3\",1,240,-95,-18,-68,-10,0,-,-\r\nOK"}};
    stop_in_sleep(1);
    start();
    EXPECT_EQ(fake::cell("CELL_BAND_SCC_1"), "int 3");
}

TEST(start_up, a_failed_pid_file_is_ignored) {
    fake::fail("create_pidfile");
    stop_in_sleep(1);
    EXPECT_EQ(start(), 0);
    EXPECT_THAT(platform().journal, Contains("log info: Performing AT queries"));
}

TEST(start_up, a_name_that_begins_with_none_is_asked_for) {
    platform().config[HARDWARE] = R"({"module":"NONE1"})";
    EXPECT_EQ(start({}), 0);
    EXPECT_THAT(platform().journal, Contains("get_module_model_from_config_string NONE1"));
}

TEST(start_up, the_carriers_are_there_before_the_values_are_cleared) {
    fake::before("brelsys", 1, [] { EXPECT_EQ(ca_vector.size(), 6U); });
    stop_in_sleep(1);
    start();
}

TEST(start_up, an_unknown_module_of_the_hardware_description_ends_it_and_removes_the_pid_file) {
    platform().config[HARDWARE] = R"({"module":"none"})";
    EXPECT_EQ(start({}), 0);
    const auto &journal = platform().journal;
    ASSERT_GE(journal.size(), 3U);
    EXPECT_THAT(std::vector<std::string>(journal.end() - 3, journal.end()),
                ElementsAre("get_module_model_from_config_string none", "log alert: Module model is unknown, quitting",
                            std::string("delete_file ") + PID_FILE));
    EXPECT_FALSE(platform().files.contains(PID_FILE));
}

TEST(start_up, a_stop_flag_cleared_before_the_handler_exists_removes_the_pid_file_with_a_given_model) {
    fake::before("create_pidfile", 1, stop);
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(platform().journal.back(), std::string("delete_file ") + PID_FILE);
    EXPECT_THAT(fake::journal_of({"signal", "mqtt_brel"}), IsEmpty());
}

TEST(start_up, a_stop_flag_cleared_during_the_hardware_wait_removes_the_pid_file_without_a_line) {
    stop_in_sleep(2);
    EXPECT_EQ(start({}), 0);
    EXPECT_EQ(platform().journal.back(), std::string("delete_file ") + PID_FILE);
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 1", "sleep 1"));
    EXPECT_THAT(fake::log_lines(), Not(Contains("alert: Module model is unknown, quitting")));
    EXPECT_THAT(fake::journal_of({"signal", "mqtt_brel"}), IsEmpty());
}

TEST(start_up, a_module_found_while_stopping_is_not_used) {
    platform().config[HARDWARE] = R"({"module":"EC25"})";
    fake::before("get_module_model_from_config_string", 1, stop);
    EXPECT_EQ(start({}), 0);
    EXPECT_EQ(platform().journal.back(), std::string("delete_file ") + PID_FILE);
    EXPECT_THAT(fake::log_lines(), Not(Contains("alert: Module model is unknown, quitting")));
}

TEST(start_up, a_signal_during_the_hardware_wait_ends_the_process_by_its_default_action) {
    platform().config[HARDWARE] = R"({"module":"NONE"})";
    const auto be_killed = [] {
        fake::before("sleep", 2, [] {
            const bool untouched = fake::journal_of({"signal", "mqtt_brel", "delete_file"}).empty();
            std::fputs(untouched && platform().files.contains(PID_FILE) ? "as it should" : "handled", stderr);
            std::raise(SIGTERM);
        });
        start({});
    };
    EXPECT_EXIT(be_killed(), testing::KilledBySignal(SIGTERM), "as it should");
}

// --- Exceptions that reach the process entry ---

class last_resort : public testing::TestWithParam<const char *> {};

TEST_P(last_resort, logs_the_exception_and_returns_0) {
    fake::before(GetParam(), 1, [] { throw std::runtime_error("out of luck"); });
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(fake::log_lines().back(), "alert: exception: out of luck");
}

// Each belongs to another step: the options, the clearing at start, and so on to the sleep of the first cycle.
INSTANTIATE_TEST_SUITE_P(from, last_resort,
                         testing::Values("get_module_model_from_config_string", "openlog", "brelsys",
                                         "ip_link_set_interface_down", "create_pidfile", "mqtt_brel",
                                         "start_mqtt_connection", "sleep"),
                         [](const auto &test) { return std::string(test.param); });

TEST(last_resort_of_a_cycle, comes_behind_the_destruction_of_the_mqtt_client) {
    fake::before("sleep", 1, [] { throw std::runtime_error("out of luck"); });
    EXPECT_EQ(start(), 0);
    const auto &journal = platform().journal;
    EXPECT_EQ(journal.back(), "log alert: exception: out of luck");
    EXPECT_EQ(*(journal.end() - 2), "~mqtt_brel");
}

// --- Hardware description ---

TEST(hardware_wait, asks_once_a_second_until_a_module_is_named) {
    fake::before("sleep", 1, [] { platform().config[HARDWARE] = R"({"module":"NONE"})"; });
    fake::before("sleep", 2, [] { platform().config[HARDWARE] = "{}"; });
    fake::before("sleep", 3, [] { platform().config[HARDWARE] = R"({"module":25})"; });
    fake::before("sleep", 4, [] { platform().config[HARDWARE] = R"({"module":"EC21"})"; });
    Json::Value cfg;
    EXPECT_EQ(get_module_model_from_hw_schema(cfg), MODULE_EC21);
    const std::string ask = std::string("cmd_get_value_json ") + HARDWARE;
    EXPECT_THAT(platform().journal,
                ElementsAre(ask, "log notice: Error reading configuration (hardware.wireless.cell)", "sleep 1",  //
                            ask, "log debug: Config:{\"module\":\"NONE\"}\n", "sleep 1",                         //
                            ask, "log debug: Config:{}\n", "sleep 1",                                            //
                            ask, "log debug: Config:{\"module\":25}\n", "sleep 1",                               //
                            ask, "log debug: Config:{\"module\":\"EC21\"}\n",
                            "get_module_model_from_config_string EC21"));
    EXPECT_EQ(cfg["module"].asString(), "EC21");
}

TEST(hardware_wait, has_no_limit) {
    platform().config[HARDWARE] = R"({"module":"NONE"})";
    stop_in_sleep(5000);
    Json::Value cfg;
    EXPECT_EQ(get_module_model_from_hw_schema(cfg), MODULE_UNKNOWN);
    EXPECT_THAT(fake::journal_of({"sleep"}), SizeIs(5000));
    EXPECT_THAT(fake::journal_of({"get_module_model_from_config_string"}), IsEmpty());
}

TEST(hardware_wait, a_stopping_daemon_does_not_even_ask) {
    stop();
    Json::Value cfg;
    EXPECT_EQ(get_module_model_from_hw_schema(cfg), MODULE_UNKNOWN);
    EXPECT_THAT(platform().journal, IsEmpty());
}

TEST(hardware_wait, an_exception_is_logged_and_gives_no_module) {
    platform().config["hardware.wireless.cell"] = R"({"module":"EC25"})";
    fake::before("config_get_string", 1, [] { throw std::runtime_error("no store"); });
    EXPECT_EQ(start({}), 0);
    EXPECT_THAT(fake::journal_of({"log alert: exception", "log alert: Module", std::string("delete_file ") + PID_FILE}),
                ElementsAre("log alert: exception no store in get_module_model_from_hw_schema",
                            "log alert: Module model is unknown, quitting", std::string("delete_file ") + PID_FILE));
}

TEST(configuration_reading, any_value_but_0_of_the_store_is_a_failure) {
    platform().failure = 1;
    Json::Value out;
    EXPECT_EQ(read_config("some.path", out), -1);
    EXPECT_THAT(fake::log_lines(), ElementsAre("notice: Error reading configuration (some.path)"));
}

TEST(configuration_reading, an_exception_is_logged_under_its_name_and_is_a_failure) {
    fake::before("cmd_get_value_json", 1, [] { throw std::runtime_error("no store"); });
    Json::Value out;
    EXPECT_EQ(read_config("some.path", out), -1);
    EXPECT_THAT(fake::log_lines(), ElementsAre("alert: exception no store in read_config"));
}

TEST(configuration_reading, result_and_lines_of_success_and_failure) {
    platform().config["some.path"] = R"({"b":[1,2],"a":"x"})";
    Json::Value out;
    EXPECT_EQ(read_config("some.path", out), 0);
    EXPECT_EQ(read_config("no.path", out), -1);
    EXPECT_THAT(fake::log_lines(), ElementsAre("debug: Config:{\"a\":\"x\",\"b\":[1,2]}\n",
                                               "notice: Error reading configuration (no.path)"));
}

// --- Stop signals ---

class stop_signal : public testing::TestWithParam<int> {};

TEST_P(stop_signal, sends_the_sigterm_line_clears_the_flag_and_stops_the_library) {
    fake::before("send", 1, [] { EXPECT_TRUE(keep_running); });
    fake::before("stop_libzelt_funcs", 1, [] { EXPECT_FALSE(keep_running); });
    fake::before("sleep", 1, [] { platform().signal_handlers.at(GetParam())(GetParam()); });
    EXPECT_EQ(start(), 0);
    const auto &journal = platform().journal;
    ASSERT_GE(journal.size(), 4U);
    EXPECT_THAT(std::vector<std::string>(journal.end() - 4, journal.end()),
                ElementsAre("sleep 4", "send /dev/log <129>cell: Zelt Stats received SIGTERM", "stop_libzelt_funcs",
                            "~mqtt_brel"));
    EXPECT_TRUE(platform().files.contains(PID_FILE));
}

INSTANTIATE_TEST_SUITE_P(each, stop_signal, testing::Values(SIGTERM, SIGQUIT, SIGINT), [](const auto &test) {
    return std::string(test.param == SIGTERM ? "SIGTERM" : test.param == SIGQUIT ? "SIGQUIT" : "SIGINT");
});

TEST(stop_signal_handler, stops_the_daemon_although_the_line_cannot_be_sent) {
    fake::fail("send");
    on_signal(SIGTERM);
    EXPECT_FALSE(keep_running);
    EXPECT_EQ(platform().journal.back(), "stop_libzelt_funcs");
}

// In a stream the lines are told apart by the NUL behind each.
TEST(stop_signal_handler, sends_the_line_with_its_end_to_a_log_that_listens_on_a_stream) {
    platform().log_socket_type = SOCK_STREAM;
    on_signal(SIGTERM);
    EXPECT_THAT(
        platform().journal,
        ElementsAre(std::string("send /dev/log <129>cell: Zelt Stats received SIGTERM") + '\0', "stop_libzelt_funcs"));
}

TEST(stop_signal_handler, does_not_try_a_stream_when_there_is_no_log_at_all) {
    fake::fail("connect");
    fake::before("connect", 2, [] { FAIL() << "tried again"; });
    on_signal(SIGTERM);
    EXPECT_THAT(platform().journal, ElementsAre("stop_libzelt_funcs"));
}

TEST(stop_signal_handler, never_calls_syslog) {
    on_signal(SIGTERM);
    EXPECT_THAT(fake::log_lines(), IsEmpty());
}

TEST(stop_signal_handler, leaves_errno_of_the_interrupted_code) {
    fake::before("send", 1, [] { errno = ECONNREFUSED; });
    fake::before("stop_libzelt_funcs", 1, [] { errno = EINTR; });
    errno = ERANGE;
    on_signal(SIGTERM);
    EXPECT_EQ(errno, ERANGE);
}

// EPROTOTYPE makes it try a stream; the interrupted code's own EPROTOTYPE must not.
TEST(stop_signal_handler, sends_the_line_once_whatever_errno_it_interrupts) {
    fake::before("connect", 2, [] { FAIL() << "tried again"; });
    errno = EPROTOTYPE;
    on_signal(SIGTERM);
    EXPECT_THAT(fake::journal_of({"send"}), SizeIs(1));
}

struct open_socket {
    int domain;
    std::int64_t send_timeout_us;
    bool operator==(const open_socket &) const = default;
};

std::vector<open_socket> open_sockets() {
    std::vector<open_socket> found;
    for (int fd = 0; fd < 64; ++fd) {
        int domain = 0;
        timeval timeout{};
        socklen_t domain_size = sizeof domain;
        socklen_t timeout_size = sizeof timeout;
        if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &domain_size) == 0 &&
            getsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, &timeout_size) == 0) {
            found.push_back({domain, timeout.tv_sec * 1'000'000 + timeout.tv_usec});
        }
    }
    return found;
}

TEST(stop_signal_handler, waits_for_a_log_that_does_not_read_one_second_at_most_and_leaves_no_socket) {
    const auto before = open_sockets();
    auto expected = before;
    expected.push_back({AF_UNIX, 1'000'000});
    fake::before("connect", 1,
                 [expected] { EXPECT_THAT(open_sockets(), testing::UnorderedElementsAreArray(expected)); });
    on_signal(SIGTERM);
    EXPECT_EQ(open_sockets(), before);
}

// --- Main loop ---

// What each step of a cycle leaves in the journal first; the lines are cut to these.
std::vector<std::string> steps_of_cycles() {
    static constexpr const char *STEPS[] = {
        "log debug: Idling",
        "log alert: zelt-stats clearing values",
        "log alert: Zelt Stats received request",
        "log info: Performing AT queries",
        "sysdb_namedb_write_str CELL CELL_RSSIMON",
        "delete_file /tmp/new_connection",
        "log info: Updating route",
        "log debug: Check connection",
        "log info: Health check",
        "log debug: ATRES:",
        "sleep",
    };
    std::vector<std::string> found;
    for (const std::string &line : platform().journal) {
        const auto *const step =
            std::ranges::find_if(STEPS, [&line](const char *begin) { return line.starts_with(begin); });
        if (step != std::end(STEPS)) {
            found.emplace_back(*step);
        }
    }
    return found;
}

void register_the_module() {
    platform().registration_result = 0;
    platform().registered = true;
}

void announce_a_connection() {
    platform().files["/tmp/new_connection"] = "";
}

TEST(main_loop, a_plain_cycle_runs_its_steps_in_order) {
    before_end_of_cycle(1, [] { platform().journal.clear(); });
    stop_in_sleep(2);
    start();
    EXPECT_THAT(steps_of_cycles(),
                ElementsAre("log info: Performing AT queries", "sysdb_namedb_write_str CELL CELL_RSSIMON",
                            "log debug: Check connection", "log debug: ATRES:", "sleep"));
}

TEST(main_loop, a_cycle_with_everything_runs_its_steps_in_order) {
    register_the_module();
    before_end_of_cycle(19, [] {
        platform().journal.clear();
        platform().files.erase("/tmp/zstats.running");
        announce_a_connection();
    });
    fake::before("sleep", 20, [] {  // of the idle wait
        platform().files["/tmp/zstats.running"] = "";
        platform().files["/tmp/zstats.clear"] = "";
    });
    stop_in_sleep(21);
    start();
    EXPECT_THAT(steps_of_cycles(),
                ElementsAre("log alert: zelt-stats clearing values", "sysdb_namedb_write_str CELL CELL_RSSIMON",
                            "log debug: Idling", "sleep", "log alert: Zelt Stats received request",
                            "log alert: zelt-stats clearing values", "sysdb_namedb_write_str CELL CELL_RSSIMON",
                            "log info: Performing AT queries", "sysdb_namedb_write_str CELL CELL_RSSIMON",
                            "delete_file /tmp/new_connection", "log info: Updating route",
                            "log debug: Check connection", "log info: Health check", "log debug: ATRES:", "sleep"));
}

TEST(main_loop, a_clear_request_is_honoured_at_the_top_of_the_next_cycle_before_any_at_query) {
    before_end_of_cycle(1, [] {
        platform().journal.clear();
        platform().files["/tmp/zstats.clear"] = "";
    });
    stop_in_sleep(2);
    start();
    EXPECT_THAT(fake::journal_of({"log alert: Zelt", "log alert: zelt-stats", "log info: Performing"}),
                ElementsAre("log alert: Zelt Stats received request to clear stats",
                            "log alert: zelt-stats clearing values", "log info: Performing AT queries"));
    EXPECT_FALSE(platform().files.contains("/tmp/zstats.clear"));
}

TEST(main_loop, without_an_announced_connection_every_cycle_sleeps_4_s) {
    register_the_module();
    stop_in_sleep(3);
    start();
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 4", "sleep 4", "sleep 4"));
    EXPECT_THAT(fake::log_lines(), Not(Contains("info: Updating route")));
}

TEST(main_loop, a_new_connection_waits_for_the_registration_and_is_consumed_once) {
    announce_a_connection();
    before_end_of_cycle(1, [] {
        EXPECT_TRUE(platform().files.contains("/tmp/new_connection"));
        EXPECT_THAT(fake::log_lines(), Not(Contains("info: Updating route")));
        register_the_module();
    });
    before_end_of_cycle(2, [] { EXPECT_FALSE(platform().files.contains("/tmp/new_connection")); });
    stop_in_sleep(3);
    start();
    EXPECT_THAT(
        fake::journal_of({"sleep", "delete_file /tmp/new_connection", "log info: Updating route"}),
        ElementsAre("sleep 4", "delete_file /tmp/new_connection", "log info: Updating route", "sleep 2", "sleep 4"));
}

TEST(main_loop, state_line_of_a_bare_cycle) {
    stop_in_sleep(1);
    start();
    EXPECT_THAT(fake::log_lines(), Contains("debug: ATRES:1,IP:0,IPV4:,MASK:,BCAST:,SLEEP:4"));
}

TEST(main_loop, state_line_without_the_module) {
    platform().files.erase("/dev/ttyQSB3");
    stop_in_sleep(1);
    start();
    EXPECT_THAT(fake::log_lines(), Contains("debug: ATRES:0,IP:0,IPV4:,MASK:,BCAST:,SLEEP:4"));
}

TEST(main_loop, state_line_of_a_cycle_with_a_new_connection) {
    register_the_module();
    announce_a_connection();
    fake::before("check_interface_ip", 1, [] {
        route_updated = true;
        std::snprintf(wwan_ipv4, sizeof wwan_ipv4, "100.100.100.101");
        std::snprintf(wwan_netmask, sizeof wwan_netmask, "255.255.255.252");
        std::snprintf(wwan_bcast, sizeof wwan_bcast, "100.100.100.103");
    });
    stop_in_sleep(1);
    start();
    EXPECT_THAT(
        fake::log_lines(),
        Contains("debug: ATRES:1,IP:1,IPV4:100.100.100.101,MASK:255.255.255.252,BCAST:100.100.100.103,SLEEP:2"));
}

// The cycles, from 1, in which the health check ran.
std::vector<int> cycles_with_health_check() {
    std::vector<int> cycles;
    int cycle = 1;
    for (const std::string &line : fake::journal_of({"log info: Health", "sleep"})) {
        if (line.starts_with("sleep")) {
            ++cycle;
        } else {
            cycles.push_back(cycle);
        }
    }
    return cycles;
}

TEST(main_loop, the_health_check_runs_in_every_20th_cycle) {
    stop_in_sleep(45);
    start();
    EXPECT_THAT(cycles_with_health_check(), ElementsAre(20, 40));
}

// 20 cycles open the port three times each, the ten that ask for the subscriber six times: 7 + 90 is the next.
TEST(main_loop, the_health_check_comes_between_the_connection_check_and_the_state_line) {
    before_end_of_cycle(19, [] { platform().journal.clear(); });
    stop_in_sleep(20);
    start();
    EXPECT_THAT(fake::journal_of({"log debug: Check", "log info: Health", "log info: Getting CFUN",
                                  "zelt_at_cmd_get_cfun", "log debug: ATRES:1,IP:0,IPV4:,MASK:,BCAST:,SLEEP:4"}),
                ElementsAre("log debug: Check connection (ip:):0", "log info: Health check", "log info: Getting CFUN",
                            "zelt_at_cmd_get_cfun 97 8", "log debug: ATRES:1,IP:0,IPV4:,MASK:,BCAST:,SLEEP:4"));
}

TEST(main_loop, a_stuck_module_is_reset_through_the_client_of_the_start_up) {
    platform().cfun = {1, "7"};
    stop_in_sleep(20);
    start();
    EXPECT_THAT(platform().messages, SizeIs(1));
}

TEST(main_loop, without_the_module_from_the_start_nothing_is_cleared_a_second_time) {
    platform().files.erase("/dev/ttyQSB3");
    stop_in_sleep(2);
    start();
    EXPECT_THAT(fake::journal_of({"log alert: zelt-stats clearing"}), SizeIs(1));
}

TEST(main_loop, a_module_that_vanishes_makes_the_health_counter_start_again) {
    before_end_of_cycle(19, [] { platform().files.erase("/dev/ttyQSB3"); });
    before_end_of_cycle(20, [] { platform().files["/dev/ttyQSB3"] = ""; });
    stop_in_sleep(45);
    start();
    EXPECT_THAT(cycles_with_health_check(), ElementsAre(40));  // the 20th cycle from the 21st on
}

TEST(main_loop, cycles_without_the_module_do_not_count_for_the_health_check) {
    platform().files.erase("/dev/ttyQSB3");
    before_end_of_cycle(30, [] { platform().files["/dev/ttyQSB3"] = ""; });
    stop_in_sleep(51);
    start();
    EXPECT_THAT(cycles_with_health_check(), ElementsAre(50));
}

TEST(main_loop, a_stop_in_the_middle_of_a_cycle_lets_it_run_to_its_end) {
    fake::before("zelt_at_cmd_get_registration_and_roaming", 1, stop);
    EXPECT_EQ(start(), 0);
    EXPECT_THAT(steps_of_cycles(),
                ElementsAre("log alert: zelt-stats clearing values", "log info: Performing AT queries",
                            "sysdb_namedb_write_str CELL CELL_RSSIMON", "log debug: Check connection",
                            "log debug: ATRES:", "sleep"));
    EXPECT_THAT(fake::journal_of({"ser_open"}), SizeIs(1));  // no exchange begins after the stop
    EXPECT_FALSE(platform().files.contains("/tmp/zelt.cli"));
    EXPECT_EQ(platform().journal.back(), "~mqtt_brel");
    EXPECT_TRUE(platform().files.contains(PID_FILE));
}

TEST(main_loop, a_stop_while_idle_does_not_go_on_to_query_the_module) {
    platform().files.erase("/tmp/zstats.running");
    stop_in_sleep(2);
    EXPECT_EQ(start(), 0);
    EXPECT_THAT(fake::journal_of({"sleep"}), ElementsAre("sleep 3", "sleep 3"));
    EXPECT_THAT(fake::log_lines(), Not(Contains("info: Performing AT queries")));
    EXPECT_EQ(platform().journal.back(), "~mqtt_brel");
    EXPECT_TRUE(platform().files.contains(PID_FILE));
}

TEST(main_loop, a_stop_while_idle_leaves_a_clear_request_alone) {
    platform().files.erase("/tmp/zstats.running");
    fake::before("sleep", 1, [] {
        platform().files["/tmp/zstats.clear"] = "";
        stop();
    });
    EXPECT_EQ(start(), 0);
    EXPECT_TRUE(platform().files.contains("/tmp/zstats.clear"));
}

TEST(main_loop, without_run_permission_at_the_start_it_clears_once_more_and_idles) {
    platform().files.erase("/tmp/zstats.running");
    stop_in_sleep(3);
    start();
    EXPECT_THAT(fake::journal_of({"log alert: zelt-stats", "log debug: Idling", "sleep"}),
                ElementsAre("log alert: zelt-stats clearing values",  // of the start-up
                            "log alert: zelt-stats clearing values",
                            "log debug: Idling waiting for zstats to continue to run", "sleep 3",
                            "log debug: Idling waiting for zstats to continue to run", "sleep 3",
                            "log debug: Idling waiting for zstats to continue to run", "sleep 3"));
}

TEST(main_loop, an_exception_of_the_idle_wait_lets_the_cycle_go_on_without_permission) {
    platform().files.erase("/tmp/zstats.running");
    fake::before("sleep", 1, [] { throw std::runtime_error("woken"); });
    stop_in_sleep(2);
    start();
    EXPECT_THAT(fake::journal_of({"log alert: exception", "log info: Performing", "sleep"}),
                ElementsAre("sleep 3", "log alert: exception woken in chk_idle_blocking",
                            "log info: Performing AT queries", "sleep 4"));
}

}  // namespace
