// The program itself on a pseudo-terminal, read through a model of the terminal, and with its output in a pipe.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include "store/transaction.h"
#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/zelt_top/vt_model.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using strings = std::vector<std::string>;

class store {
public:
    store() = default;
    store(const store &) = delete;
    store &operator=(const store &) = delete;

    std::string folder() const { return folder_; }
    std::string beside(const std::string &name) const { return base_.path(name); }

    void put(const sysdb_values &values) {
        ASSERT_TRUE(environment_.is_open() || environment_.open(folder_, sysdb_access::create) == 0);
        sysdb_transaction transaction;
        ASSERT_EQ(transaction.begin(environment_, "CELL", sysdb_access::create), 0);
        for (const auto &[key, value] : values) {
            ASSERT_EQ(transaction.put(key.c_str(), value), 0);
        }
        ASSERT_EQ(transaction.commit(), 0);
    }

    // Keeps the two pages that make it look whole.
    void cut_off_the_end() {
        environment_.close();
        std::filesystem::resize_file(folder_ + "/data.mdb", static_cast<std::uintmax_t>(2 * sysconf(_SC_PAGESIZE)));
    }

    void put_lte() {
        put({{"CELL_REGISTERED", 1},
             {"CELL_CONNECTED", 1},
             {"CELL_NET_TYPE", std::string("LTE")},
             {"CELL_CARRIER", std::string("Example Net")},
             {"CELL_MCC", std::string("262")},
             {"CELL_MNC", std::string("01")},
             {"CELL_RSRP", -95},
             {"CELL_RSRQ", -11},
             {"CELL_SINR", 12.5},
             {"CELL_RSSI", -65},
             {"CELL_SQI", 60}});
    }

private:
    temporary_folder base_;
    std::string folder_ = base_.path("sysdb");
    sysdb_environment environment_;
};

using variables = std::map<std::string, std::string>;

class program_on_terminal {
public:
    program_on_terminal(const store &database, const std::string &term, const variables &more_environment = {},
                        const strings &arguments = {}, unsigned short columns = 80, unsigned short rows = 24,
                        const strings &surroundings = {})
        : model_(columns, rows), terminal_(columns, rows), program_(terminal_.run([&] {
              variables environment = more_environment;
              environment.insert({{"SYSDB_DIR", database.folder()}, {"LC_ALL", "C.UTF-8"}});
              if (!term.empty()) {
                  environment.insert({"TERM", term});
              }
              clearenv();
              for (const auto &[name, value] : environment) {
                  setenv(name.c_str(), value.c_str(), 1);
              }
              strings command = surroundings;
              command.emplace_back(ZELT_TOP);
              command.insert(command.end(), arguments.begin(), arguments.end());
              return become(command);
          })) {}

    // Reads until the page is as wanted.
    testing::AssertionResult shows(const std::function<bool(const std::string &)> &wanted) {
        if (becomes_true([&] { return read(), wanted(model_.page()); })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "the page is\n" << model_.page();
    }
    testing::AssertionResult shows(const std::string &part) {
        return shows([&part](const std::string &page) { return page.find(part) != std::string::npos; });
    }

    void type(const std::string &keys) const { terminal_.type(keys); }
    void signal(int number) const { program_.signal(number); }
    void resize(unsigned short columns, unsigned short rows) {
        model_.resize(columns, rows);
        terminal_.resize(columns, rows);
    }
    void hang_up() { terminal_.hang_up(); }

    bool stops() {
        return becomes_true([&] { return read(), program_.is_stopped(); });
    }

    // As the shell says it, or -1 when it goes on.
    int exit_code() {
        if (!becomes_true([&] { return read(), program_.has_ended(); })) {
            return -1;
        }
        read();
        return program_.wait();
    }

    bool restored() const { return terminal_.is_as_before() && model_.cursor_visible() && !model_.other_page(); }
    bool raw() const { return (terminal_.settings().c_lflag & ECHO) == 0; }

    const vt_model &model() const { return model_; }
    const std::string &bytes() const { return bytes_; }

private:
    void read() {
        const std::string got = terminal_.read();
        bytes_ += got;
        model_.feed(got);
    }

    vt_model model_;
    pseudo_terminal terminal_;
    other_process program_;
    std::string bytes_;
};

// What begins a command that sees the files of a running daemon and of a module. The process of the pid file is this
// one.
strings beside_a_daemon(const store &database) {
    std::ofstream(database.beside("pid")) << getpid();
    const std::string folder = database.beside("");
    return {"bwrap",
            "--die-with-parent",
            "--dev-bind",
            "/",
            "/",
            "--dev",
            "/dev",
            "--ro-bind",
            "/dev/null",
            "/dev/ttyQSB3",
            "--tmpfs",
            "/run",
            "--ro-bind",
            database.beside("pid"),
            "/run/zelt-stats.pid",
            "--tmpfs",
            "/tmp",
            "--ro-bind",
            database.beside("pid"),
            "/tmp/zstats.running",
            "--bind",
            folder,
            folder,
            "--ro-bind",  // the tree of the sources may lie below /tmp
            ZELT_TOP,
            ZELT_TOP};
}

struct result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

// Without a terminal, to its end. What follows the arguments comes last, and so wins over the usual files; the output
// of a pipe is that of its last program.
result run(const store &database, const std::string &arguments, const std::string &rest = "") {
    const bool piped = rest.starts_with("|");
    const std::string to_file = " >" + database.beside("out") + " ";
    const std::string command = "SYSDB_DIR=" + database.folder() + " LC_ALL=C TERM=xterm " + ZELT_TOP + " " +
                                arguments + " </dev/null 2>" + database.beside("err") + " " +
                                (piped ? rest + to_file : to_file + rest);
    const int status = run_in_shell(command).status;
    return {status, content_of(database.beside("out")), content_of(database.beside("err"))};
}

TEST(vt_model, a_page_that_scrolls_is_torn) {
    vt_model model(4, 2);
    model.feed("ab\r\ncdef");
    EXPECT_EQ(model.page(), "ab\ncdef\n");
    EXPECT_FALSE(model.torn());
    model.feed("g");
    EXPECT_TRUE(model.torn());
}

TEST(screen, shows_the_page_and_q_gives_the_terminal_back) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm-256color");
    ASSERT_TRUE(top.shows("SQI         60 %"));
    EXPECT_THAT(top.model().row(0), testing::StartsWith(" LTE   Example Net"));
    EXPECT_THAT(top.model().row(0), testing::EndsWith("h help  p pause  q quit"));
    EXPECT_THAT(top.model().page(), HasSubstr("█"));
    EXPECT_TRUE(top.raw());
    EXPECT_TRUE(top.model().coloured());
    EXPECT_FALSE(top.model().torn());
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, follows_the_database) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"});
    ASSERT_TRUE(top.shows("-95 dBm"));
    database.put({{"CELL_RSRP", -101}});
    EXPECT_TRUE(top.shows("-101 dBm"));
}

TEST(screen, database_absent_then_appearing) {
    store database;
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"});
    ASSERT_TRUE(top.shows("Database not there yet:"));
    database.put_lte();
    EXPECT_TRUE(top.shows("-95 dBm"));
    std::filesystem::remove_all(database.folder());
    EXPECT_TRUE(top.shows("Database not there yet:"));
}

TEST(screen, pause_holds_the_picture_and_goes_on) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"});
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.type("p");
    ASSERT_TRUE(top.shows("paused"));
    database.put({{"CELL_RSRP", -101}});
    top.type("h");  // a page drawn after the change proves that several refreshes were skipped
    ASSERT_TRUE(top.shows("At least so much"));
    top.type("h");
    ASSERT_TRUE(top.shows("SQI         60 %"));
    EXPECT_THAT(top.model().page(), HasSubstr("-95 dBm"));
    top.type(" ");
    EXPECT_TRUE(top.shows("-101 dBm"));
    EXPECT_THAT(top.model().page(), Not(HasSubstr("paused")));
}

TEST(screen, help_comes_and_goes) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.type("?");
    EXPECT_TRUE(top.shows("the view says why"));
    top.type("h");
    EXPECT_TRUE(top.shows("-95 dBm"));
}

TEST(screen, antenna_page_comes_and_goes) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {}, 80, 24, beside_a_daemon(database));
    ASSERT_TRUE(top.shows("a antenna"));
    for (const char *leave : {"a", "\x1b"}) {
        top.type("a");
        EXPECT_TRUE(top.shows("best -95 (0)")) << leave;
        EXPECT_THAT(top.model().page(), HasSubstr("A new value every 4 to 5 s."));
        EXPECT_THAT(top.model().row(0), testing::EndsWith("a back  p pause  q quit"));
        top.type(leave);
        EXPECT_TRUE(top.shows("SQI         60 %")) << leave;
    }
    top.type("aq");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, bell_rings_for_a_better_signal_on_the_antenna_page_only) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"}, 80, 24, beside_a_daemon(database));
    ASSERT_TRUE(top.shows("-95 dBm"));
    database.put({{"CELL_RSRP", -93}});
    ASSERT_TRUE(top.shows("-93 dBm"));
    top.type("a");
    ASSERT_TRUE(top.shows("best -93 (0)"));
    database.put({{"CELL_RSRP", -96}});
    ASSERT_TRUE(top.shows("best -93 (-3)"));
    EXPECT_EQ(std::ranges::count(top.bytes(), '\a'), 0);
    database.put({{"CELL_RSRP", -90}});
    ASSERT_TRUE(top.shows("best -90 (0)"));
    EXPECT_EQ(std::ranges::count(top.bytes(), '\a'), 1);
}

TEST(screen, other_keys_and_broken_input_do_nothing) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.type("\x1b[A\x1bOP\x1b\xff\xc3(x\t\r?");
    EXPECT_TRUE(top.shows("the view says why"));
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
}

TEST(screen, follows_the_size_of_the_terminal) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    struct row {
        const char *why;
        unsigned short columns;
        unsigned short rows;
        const char *shown;
    };
    for (const row &one : {row{"larger", 120, 40, "SQI         60 %"}, row{"very small", 20, 5, "RSRP  -95 dBm fair"},
                           row{"one character", 1, 1, "L\n"}, row{"back again", 80, 24, "SQI         60 %"}}) {
        top.resize(one.columns, one.rows);
        const bool wide = one.columns >= 80;
        EXPECT_TRUE(top.shows([&](const std::string &page) {
            // The title reaches the right edge of the new size.
            return page.find(one.shown) != std::string::npos &&
                   (!wide || top.model().row(0).size() == one.columns - std::size_t{1});
        })) << one.why;
    }
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, survives_a_storm_of_size_changes) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    for (unsigned short i = 0; i < 300; ++i) {
        top.resize(static_cast<unsigned short>(20 + i % 100), static_cast<unsigned short>(3 + i % 40));
        top.signal(SIGWINCH);
        if (i % 20 == 0) {
            ASSERT_TRUE(top.shows([](const std::string &) { return true; }));
        }
    }
    top.resize(80, 24);
    EXPECT_TRUE(top.shows([&top](const std::string &page) {
        return page.find("SQI         60 %") != std::string::npos && top.model().row(0).size() == 79;
    }));
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, signals_end_it_with_the_terminal_given_back) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        store database;
        database.put_lte();
        program_on_terminal top(database, "xterm");
        ASSERT_TRUE(top.shows("-95 dBm"));
        top.signal(number);
        EXPECT_EQ(top.exit_code(), 0) << number;
        EXPECT_TRUE(top.restored()) << number;
    }
}

TEST(screen, control_c_ends_it) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.type("\x03");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, stopped_and_continued) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"});
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.signal(SIGTSTP);
    ASSERT_TRUE(top.stops());
    EXPECT_TRUE(top.shows([&top](const std::string &) { return top.restored(); }));
    database.put({{"CELL_RSRP", -101}});
    top.signal(SIGCONT);
    EXPECT_TRUE(top.shows("-101 dBm"));
    EXPECT_TRUE(top.raw());
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, ends_when_the_terminal_hangs_up) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.hang_up();
    EXPECT_EQ(top.exit_code(), 0);
}

TEST(screen, database_without_its_end_is_waited_for) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {}, {"--interval", "0.1"});
    ASSERT_TRUE(top.shows("-95 dBm"));
    database.cut_off_the_end();
    EXPECT_TRUE(top.shows("Database not readable"));
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
}

TEST(screen, crash_leaves_the_terminal_as_it_was) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm");
    ASSERT_TRUE(top.shows("-95 dBm"));
    top.signal(SIGABRT);
    EXPECT_EQ(top.exit_code(), 128 + SIGABRT);
    EXPECT_TRUE(top.shows([&top](const std::string &) { return top.restored(); }));
}

TEST(screen, no_colour_where_nobody_wants_it) {
    struct row {
        const char *why;
        const char *term;
        variables environment;
        strings arguments;
        bool coloured;
    };
    const row rows[] = {
        {"by the environment", "xterm", {{"NO_COLOR", "1"}}, {}, false},
        {"by option", "xterm", {}, {"--no-color"}, false},
        {"a terminal that has none", "vt100", {}, {}, false},
        {"an empty NO_COLOR asks for nothing", "xterm", {{"NO_COLOR", ""}}, {}, true},
    };
    for (const row &one : rows) {
        store database;
        database.put_lte();
        program_on_terminal top(database, one.term, one.environment, one.arguments);
        ASSERT_TRUE(top.shows("SQI         60 %")) << one.why;
        EXPECT_EQ(top.model().coloured(), one.coloured) << one.why;
        top.type("q");
        EXPECT_EQ(top.exit_code(), 0);
    }
}

TEST(screen, serial_console_gets_ascii_only) {
    store database;
    database.put_lte();
    database.put({{"CELL_CARRIER", std::string("Türk \x1b[2J")}});
    program_on_terminal top(database, "vt100");
    ASSERT_TRUE(top.shows("SQI         60 %"));
    EXPECT_THAT(top.model().page(), HasSubstr(" LTE   T?rk ?[2J"));
    EXPECT_THAT(top.model().page(), HasSubstr("####"));
    EXPECT_FALSE(top.model().torn());
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_TRUE(top.restored());
    EXPECT_THAT(top.bytes(), testing::Each(testing::Ge('\0')));
}

TEST(screen, locale_without_utf8_gets_ascii_only) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "xterm", {{"LC_ALL", "C"}});
    ASSERT_TRUE(top.shows("SQI         60 %"));
    EXPECT_THAT(top.bytes(), testing::Each(testing::Ge('\0')));
}

TEST(screen, terminal_that_cannot_place_its_cursor_gets_plain_lines) {
    struct row {
        const char *why;
        const char *term;
        const char *sentence;
    };
    for (const row &one :
         {row{"dumb", "dumb", "change: TERM=dumb cannot place its cursor"}, row{"unset", "", "TERM does not say"},
          row{"unknown", "no-such-terminal", "TERM=no-such-terminal is unknown here"}}) {
        store database;
        database.put_lte();
        // Higher than usual, so that nothing has scrolled out of the model when it is looked at.
        program_on_terminal top(database, one.term, {}, {"--interval", "3600"}, 80, 60);
        ASSERT_TRUE(top.shows("SQI         60 %")) << one.why;
        EXPECT_THAT(top.bytes(), HasSubstr(one.sentence)) << one.why;
        EXPECT_THAT(top.bytes(), Not(HasSubstr("\x1b"))) << one.why;
        top.signal(SIGTERM);
        EXPECT_EQ(top.exit_code(), 0) << one.why;
    }
}

TEST(screen, plain_text_is_as_wide_as_its_terminal) {
    store database;
    database.put_lte();
    program_on_terminal narrow(database, "dumb", {}, {"--once"}, 40, 60);
    EXPECT_TRUE(narrow.shows("\nRSRP  -95 dBm fair\n"));
    program_on_terminal wide(database, "dumb", {}, {"--once"}, 120, 60);
    EXPECT_TRUE(wide.shows("RSRP       -95 dBm   " + std::string(35, '#')));
}

TEST(screen, plain_lines_tell_of_changes_only) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "dumb", {}, {"--interval", "0.1"}, 120, 60, beside_a_daemon(database));
    ASSERT_TRUE(top.shows("SQI         60 %"));
    database.put_lte();  // time goes by, and nothing else
    database.put({{"CELL_RSRP", -101}});
    ASSERT_TRUE(top.shows(" RSRP -101 dBm "));
    database.put({{"CELL_ROAMING", 1}});
    ASSERT_TRUE(top.shows("registered, roaming"));
    EXPECT_THAT(top.bytes(), HasSubstr("a line a change"));
    const std::string page = top.model().page();
    EXPECT_EQ(page.find("RSRP       -95"), page.rfind("RSRP       -95")) << page;
    EXPECT_EQ(page.find("Example Net"), page.rfind("Example Net")) << page;
    top.signal(SIGTERM);
}

TEST(screen, plain_lines_break_between_their_values) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "dumb", {}, {"--interval", "0.1"}, 40, 60, beside_a_daemon(database));
    ASSERT_TRUE(top.shows("\nSQI   60 % fair\n"));
    database.put({{"CELL_RSRP", -101}});
    // 38 columns and the two in front of a further line: the time takes 8.
    EXPECT_TRUE(top.shows(" LTE  RSRP -101 dBm\n"
                          "  RSRQ -11 dB  SINR 12.5 dB  SQI 60 %\n"
                          "  registered\n"))
        << top.model().page();
    top.signal(SIGTERM);
}

TEST(screen, shell_gets_an_empty_last_line_of_a_terminal_with_one_page) {
    store database;
    database.put_lte();
    program_on_terminal top(database, "vt100", {}, {}, 20, 5);
    ASSERT_TRUE(top.shows("SINR  12.5 dB fair"));
    top.type("q");
    EXPECT_EQ(top.exit_code(), 0);
    EXPECT_EQ(top.model().row(3), "RSRQ  -11 dB fair");
    EXPECT_EQ(top.model().row(4), "");
}

TEST(plain, once_is_one_block) {
    store database;
    database.put_lte();
    const result once = run(database, "--once");
    EXPECT_EQ(once.exit_code, 0);
    EXPECT_EQ(once.err, "");
    EXPECT_THAT(once.out, testing::StartsWith(" LTE   Example Net\n"));
    EXPECT_THAT(once.out, testing::EndsWith(" fair\n"));
    EXPECT_THAT(once.out, HasSubstr(" RSRP       -95 dBm   ####"));
}

TEST(plain, once_with_json_is_one_object) {
    store database;
    database.put_lte();
    const result once = run(database, "--once --json");
    EXPECT_EQ(once.exit_code, 0);
    EXPECT_THAT(once.out, testing::StartsWith("{\""));
    EXPECT_EQ(std::ranges::count(once.out, '\n'), 1);
}

TEST(plain, csv_has_its_header_once) {
    store database;
    database.put_lte();
    const result once = run(database, "--once --csv");
    EXPECT_EQ(once.exit_code, 0);
    EXPECT_THAT(once.out, testing::StartsWith("time,state,"));
    EXPECT_EQ(std::ranges::count(once.out, '\n'), 2);
    const result stream = run(database, "--csv --interval 0.1", "| head -n 3");
    EXPECT_EQ(std::ranges::count(stream.out, '\n'), 3);
    EXPECT_EQ(stream.out.rfind("time,"), 0U);
}

// Whether the machine has a daemon of its own or not.
TEST(plain, check_answers_with_a_line_and_its_exit_code) {
    store database;
    struct row {
        const char *why;
        const char *arguments;
        int exit_code;
        const char *begin;
    };
    EXPECT_EQ(run(database, "--check link=up").exit_code, 3);
    EXPECT_THAT(run(database, "--check link=up").out, testing::StartsWith("ZELT UNKNOWN - Database not there yet: "));
    database.put_lte();
    for (const row &one : {row{"no value of this technology", "--check rscp=-100", 3, "ZELT UNKNOWN - "},
                           row{"too old", "--check age=-1", 2, "ZELT CRITICAL - "},
                           row{"wrong limits are no critical state", "--check rsrp=x", 3, "ZELT UNKNOWN - wrong usage"},
                           row{"nor are wrong options", "--check link=up --twice", 3, "ZELT UNKNOWN - wrong usage"},
                           row{"limits missing", "--check", 3, "ZELT UNKNOWN - wrong usage"}}) {
        const result given = run(database, one.arguments);
        EXPECT_EQ(given.exit_code, one.exit_code) << one.why;
        EXPECT_THAT(given.out, testing::StartsWith(one.begin)) << one.why;
        EXPECT_EQ(std::ranges::count(given.out, '\n'), 1) << one.why;
    }
    EXPECT_EQ(run(database, "--check link=up", ">/dev/full").exit_code, 3) << "nobody can read the answer";
}

TEST(plain, subscriber_is_shown_on_request_only) {
    store database;
    database.put_lte();
    database.put({{"CELL_IMSI", std::string("001010123456789")},
                  {"CELL_MDN", std::string("15550100")},
                  {"CELL_ICCID", std::string("89010000000000000019")},
                  {"CELL_RSSIMON", std::string("EC25, ICCID: 89010000000000000019, SIM: 1")}});
    const std::array<const char *, 3> numbers{"001010123456789", "15550100", "89010000000000000019"};
    for (const char *arguments : {"--once", "--once --json", "--once --csv"}) {
        const result usual = run(database, arguments);
        const result asked = run(database, arguments + std::string(" --private"));
        for (const char *number : numbers) {
            EXPECT_THAT(usual.out, Not(HasSubstr(number))) << arguments;
            EXPECT_THAT(asked.out, HasSubstr(number)) << arguments;
        }
    }
    EXPECT_THAT(run(database, "--once --private").out,
                HasSubstr("\n SIM     IMSI 001010123456789   number 15550100   ICCID 89010000000000000019\n"));
}

TEST(plain, once_without_database_fails_and_says_what_to_do) {
    const store database;
    for (const char *arguments : {"--once", "--once --json"}) {
        const result once = run(database, arguments);
        EXPECT_EQ(once.exit_code, 3) << arguments;
        EXPECT_EQ(once.out, "") << arguments;
        EXPECT_EQ(once.err, "zelt-top: Database not there yet: " + database.folder() +
                                ". Start the daemon, or name its folder in SYSDB_DIR.\n")
            << arguments;
    }
}

TEST(plain, foreign_database_is_named) {
    const store database;
    std::filesystem::create_directory(database.folder());
    std::ofstream(database.folder() + "/data.mdb") << std::string(20000, 'x');
    const result once = run(database, "--once");
    EXPECT_EQ(once.exit_code, 3);
    EXPECT_THAT(once.err, HasSubstr("Database not readable: " + database.folder()));
}

TEST(plain, database_without_its_end_is_named) {
    store database;
    database.put_lte();
    database.cut_off_the_end();
    const result once = run(database, "--once");
    EXPECT_EQ(once.exit_code, 3);
    EXPECT_EQ(once.out, "");
    EXPECT_THAT(once.err, HasSubstr("the database is damaged"));
}

TEST(plain, wrong_usage) {
    const store database;
    struct row {
        const char *why;
        const char *arguments;
    };
    for (const row &one : {row{"unknown option", "--twice"}, row{"an argument", "now"},
                           row{"no number", "--interval x"}, row{"no time at all", "--interval 0"},
                           row{"backwards", "--interval -1"}, row{"not a number", "--interval nan"},
                           row{"number missing", "--interval"}, row{"two forms at once", "--json --csv"}}) {
        const result used = run(database, one.arguments);
        EXPECT_EQ(used.exit_code, 2) << one.why;
        EXPECT_EQ(used.out, "") << one.why;
        EXPECT_THAT(used.err, HasSubstr("--help")) << one.why;
    }
}

TEST(plain, help) {
    const store database;
    const result help = run(database, "--help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_THAT(help.out, HasSubstr("--interval SECONDS"));
}

TEST(plain, output_that_is_lost_ends_it) {
    struct row {
        const char *why;
        const char *arguments;
        const char *redirections;
        const char *message;
    };
    const row rows[] = {
        {"closed", "--once", ">&-", "cannot write to the standard output"},
        {"full", "--once", ">/dev/full", "cannot write to the standard output"},
        {"full, for ever", "--json", ">/dev/full", "cannot write to the standard output"},
        {"all closed: no message can be written, least of all into the database", "--once", ">&- 2>&- <&-", ""},
        {"the reader goes away: as with head, no message", "--json --interval 0.1", "| head -n 1", ""},
    };
    for (const row &one : rows) {
        store database;
        database.put_lte();
        const result lost = run(database, one.arguments, one.redirections);
        const bool piped = std::string_view(one.redirections).starts_with("|");
        EXPECT_EQ(lost.exit_code, piped ? 0 : 1) << one.why;  // of a pipe it is head's
        EXPECT_THAT(lost.err, HasSubstr(one.message)) << one.why;
        EXPECT_TRUE(*one.message != '\0' || lost.err.empty()) << one.why << lost.err;
        EXPECT_EQ(run(database, "--once").exit_code, 0) << "the database after: " << one.why;
    }
}

TEST(plain, json_goes_on_and_names_an_absent_database) {
    const store database;
    const result stream = run(database, "--json --interval 0.1", "| head -n 2");
    EXPECT_EQ(std::ranges::count(stream.out, '\n'), 2);
    EXPECT_THAT(stream.out, HasSubstr("\"state\":\"no database\""));
}

}  // namespace
