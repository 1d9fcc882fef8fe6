// The sysdb program from end to end: what it prints, what it refuses, and its exit codes.
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <json/reader.h>

#include "tests/store/damage.h"
#include "tests/tools/sysdb/tool_fixture.h"

namespace {

using sysdb_tool = tool_test;

TEST_F(sysdb_tool, lists_what_the_daemon_wrote_in_the_order_of_the_bytes) {
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "CELL_RSRP", -95, 0) + sysdb_write_dbl(handle, "CELL_SINR", 12.4, 0) +
                         sysdb_write_dbl(handle, "CELL_SINR_SCC_1", -999.0, 0) +
                         sysdb_write_str(handle, "CELL_MNC", "01", 0) + sysdb_write_str(handle, "a", "", 0) +
                         sysdb_write_int(handle, "Z", 0, 0);
              }),
              0);
    EXPECT_EQ(run({"list", "CELL"}), 0);
    EXPECT_EQ(out_, "CELL_MNC\tstring\t01\n"
                    "CELL_RSRP\tint\t-95\n"
                    "CELL_SINR\treal\t12.4\n"
                    "CELL_SINR_SCC_1\treal\t-999.0\n"
                    "Z\tint\t0\n"
                    "a\tstring\t\n");
    EXPECT_EQ(run({"list", "CELL", "--json"}), 0);
    EXPECT_EQ(out_, R"({"CELL_MNC": "01", "CELL_RSRP": -95, "CELL_SINR": 12.4, "CELL_SINR_SCC_1": -999.0, )"
                    R"("Z": 0, "a": ""})"
                    "\n");
    EXPECT_EQ(err_, "");
}

TEST_F(sysdb_tool, an_empty_database_is_an_empty_list) {
    ASSERT_EQ(sysdb_namedb_del(nullptr, "CELL", "K"), 0);
    EXPECT_EQ(run({"list", "CELL"}), 0);
    EXPECT_EQ(out_, "");
    EXPECT_EQ(run({"list", "CELL", "--json"}), 0);
    EXPECT_EQ(out_, "{}\n");
}

TEST_F(sysdb_tool, numbers_are_set_and_printed_exactly) {
    struct row {
        const char *why;
        const char *type;
        const char *given;
        const char *printed;
        const char *json;
    };
    for (const row &c :
         {row{"zero", "int", "0", "0", "0"}, row{"greatest integer", "int", "2147483647", "2147483647", "2147483647"},
          row{"least integer", "int", "-2147483648", "-2147483648", "-2147483648"},
          row{"leading zeros are decimal", "int", "007", "7", "7"},
          row{"a whole real keeps its point", "real", "12", "12.0", "12.0"},
          row{"the value of no report", "real", "-999", "-999.0", "-999.0"},
          row{"shortest text that reads back equal", "real", "12.40", "12.4", "12.4"},
          row{"seventeen digits when they are needed", "real", "0.30000000000000004", "0.30000000000000004",
              "0.30000000000000004"},
          row{"an exponent needs no point", "real", "1e30", "1e+30", "1e+30"},
          row{"negative zero", "real", "-0", "-0.0", "-0.0"},
          row{"smallest of all", "real", "5e-324", "5e-324", "5e-324"}, row{"infinite", "real", "inf", "inf", "null"},
          row{"negative infinite", "real", "-inf", "-inf", "null"}, row{"not a number", "real", "nan", "nan", "null"},
          row{"a sign on what is no number", "real", "-nan", "nan", "null"}}) {
        EXPECT_EQ(run({"set", "CELL", "K", c.type, c.given}), 0) << c.why << err_;
        EXPECT_EQ(run({"get", "CELL", "K"}), 0) << c.why;
        EXPECT_EQ(out_, std::string(c.printed) + "\n") << c.why;
        EXPECT_EQ(run({"list", "CELL", "--json"}), 0) << c.why;
        EXPECT_EQ(out_, std::string(R"({"K": )") + c.json + "}\n") << c.why;
    }
}

TEST_F(sysdb_tool, what_is_no_number_is_refused_and_writes_nothing) {
    struct row {
        const char *why;
        const char *type;
        const char *given;
    };
    for (const row &c : {row{"empty", "int", ""},
                         row{"a word", "int", "five"},
                         row{"text behind", "int", "5x"},
                         row{"blank before", "int", " 5"},
                         row{"blank behind", "int", "5 "},
                         row{"plus", "int", "+5"},
                         row{"two signs", "int", "--5"},
                         row{"only a sign", "int", "-"},
                         row{"hexadecimal", "int", "0x10"},
                         row{"fraction", "int", "5.0"},
                         row{"one past the greatest", "int", "2147483648"},
                         row{"one past the least", "int", "-2147483649"},
                         row{"empty", "real", ""},
                         row{"a word", "real", "five"},
                         row{"comma", "real", "1,5"},
                         row{"text behind", "real", "1.5dB"},
                         row{"blank before", "real", " 1.5"},
                         row{"exponent without digits", "real", "1e"},
                         row{"beyond the range", "real", "1e309"},
                         row{"hexadecimal", "real", "0x1p3"},
                         row{"type unknown", "number", "5"},
                         row{"type in capitals", "INT", "5"},
                         row{"type empty", "", "5"}}) {
        EXPECT_EQ(run({"set", "CELL", "K", c.type, c.given}), 2) << c.why << " " << c.given;
        EXPECT_NE(err_.find("\"sysdb --help\" shows the usage"), std::string::npos) << err_;
        EXPECT_FALSE(std::filesystem::exists(directory_)) << c.why << " " << c.given;
    }
}

TEST_F(sysdb_tool, a_string_never_breaks_its_line) {
    struct row {
        const char *why;
        const char *given;
        const char *printed;
        const char *json;
    };
    for (const row &c :
         {row{"plain", "T-Mobile, #1 \"x\"", "T-Mobile, #1 \"x\"", R"("T-Mobile, #1 \"x\"")"},
          row{"tab and line ends", "a\tb\nc\rd", R"(a\tb\nc\rd)", R"("a\u0009b\u000ac\u000dd")"},
          row{"backslash", R"(a\nb)", R"(a\\nb)", R"("a\\nb")"},
          row{"terminal sequence", "\x1b[2J\x7f\x01", R"(\x1B[2J\x7F\x01)", R"("\u001b[2J\u007f\u0001")"},
          row{"UTF-8 of two, three, four bytes", "\u00e4\u20ac\U0001f4f6", "\u00e4\u20ac\U0001f4f6",
              "\"\u00e4\u20ac\U0001f4f6\""},
          row{"a C1 control character, as UTF-8 and as a byte", "\xc2\x9b[2J\x9b[2J", R"(\xC2\x9B[2J\x9B[2J)",
              "\"\\u009b[2J\ufffd[2J\""},
          row{"Latin-1 is no UTF-8", "M\xfcnchen", "M\xfcnchen", "\"M\ufffdnchen\""},
          row{"character cut at the end", "a\xe2\x82", "a\xe2\\x82", "\"a\ufffd\ufffd\""},
          row{"overlong slash", "\xc0\xaf", "\xc0\xaf", "\"\ufffd\ufffd\""},
          row{"surrogate", "\xed\xa0\x80", "\xed\xa0\\x80", "\"\ufffd\ufffd\ufffd\""},
          row{"last character of all, which nobody can see", "\xf4\x8f\xbf\xbf", R"(\xF4\x8F\xBF\xBF)",
              R"("\udbff\udfff")"},
          // NOLINTNEXTLINE(misc-misleading-bidirectional)
          row{"override of the direction", "a\u202eb", R"(a\xE2\x80\xAEb)", R"("a\u202eb")"},
          row{"one past it", "\xf4\x90\x80\x80", "\xf4\\x90\\x80\\x80", "\"\ufffd\ufffd\ufffd\ufffd\""},
          row{"continuation missing in the third place", "\xe2\x82x", "\xe2\\x82x", "\"\ufffd\ufffdx\""}}) {
        EXPECT_EQ(run({"set", "CELL", "K", "string", c.given}), 0) << c.why;
        EXPECT_EQ(run({"get", "CELL", "K"}), 0) << c.why;
        EXPECT_EQ(out_, std::string(c.printed) + "\n") << c.why;
        EXPECT_EQ(run({"list", "CELL"}), 0) << c.why;
        EXPECT_EQ(out_, std::string("K\tstring\t") + c.printed + "\n") << c.why;
        EXPECT_EQ(run({"list", "CELL", "--json"}), 0) << c.why;
        EXPECT_EQ(out_, std::string(R"({"K": )") + c.json + "}\n") << c.why;
    }
}

TEST_F(sysdb_tool, a_key_never_breaks_its_line_either) {
    EXPECT_EQ(run({"set", "CELL", "a\tb\"\n\xc2\x9b", "int", "1"}), 0);
    EXPECT_EQ(run({"list", "CELL"}), 0);
    EXPECT_EQ(out_, "a\\tb\"\\n\\xC2\\x9B\tint\t1\n");
    EXPECT_EQ(run({"list", "CELL", "--json"}), 0);
    EXPECT_EQ(out_, R"({"a\u0009b\"\u000a\u009b": 1})"
                    "\n");
}

TEST_F(sysdb_tool, json_can_be_parsed_back) {
    std::string every_byte;
    for (int byte = 1; byte < 256; ++byte) {
        every_byte += static_cast<char>(byte);
    }
    ASSERT_EQ(write([&](sysdb_handle *handle) {
                  return sysdb_write_str(handle, "TEXT", every_byte.c_str(), 0) +
                         sysdb_write_dbl(handle, "NAN", std::numeric_limits<double>::quiet_NaN(), 0) +
                         sysdb_write_dbl(handle, "REAL", 0.1, 0) + sysdb_write_int(handle, "INT", -5, 0);
              }),
              0);
    ASSERT_EQ(run({"list", "CELL", "--json"}), 0);
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value object;
    std::string errors;
    ASSERT_TRUE(reader->parse(out_.data(), out_.data() + out_.size(), &object, &errors)) << errors;
    std::string expected = every_byte.substr(0, 127);
    for (int byte = 128; byte < 256; ++byte) {
        expected += "\ufffd";
    }
    EXPECT_EQ(object["TEXT"].asString(), expected);
    EXPECT_TRUE(object["NAN"].isNull());
    EXPECT_EQ(object["REAL"].asDouble(), 0.1);
    EXPECT_EQ(object["REAL"].type(), Json::realValue);
    EXPECT_EQ(object["INT"].asInt(), -5);
}

TEST_F(sysdb_tool, what_it_sets_the_daemon_reads) {
    EXPECT_EQ(run({"set", "CELL", "I", "int", "-5"}), 0);
    EXPECT_EQ(run({"set", "CELL", "R", "real", "41.5"}), 0);
    EXPECT_EQ(run({"set", "CELL", "S", "string", "--help"}), 0);
    EXPECT_EQ(out_ + err_, "");
    EXPECT_EQ(read_int("I"), -5);
    EXPECT_EQ(read_int("R"), 41);
    char text[16] = "";
    EXPECT_EQ(read([&](sysdb_handle *handle) { return sysdb_read_str(handle, "S", text, sizeof text); }), 0);
    EXPECT_STREQ(text, "--help");
}

TEST_F(sysdb_tool, del_takes_a_key_away) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    EXPECT_EQ(run({"del", "CELL", "K"}), 0);
    EXPECT_EQ(out_ + err_, "");
    EXPECT_EQ(run({"get", "CELL", "K"}), 1);
}

TEST_F(sysdb_tool, what_is_not_there_ends_with_1_and_makes_nothing) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const std::string before = content_of(file("data.mdb"));
    struct row {
        std::vector<std::string> arguments;
        const char *message;
    };
    const std::vector<row> cases = {{{"get", "CELL", "NONE"}, "sysdb: no key NONE of database CELL in "},
                                    {{"del", "CELL", "NONE"}, "sysdb: no key NONE of database CELL in "},
                                    {{"list", "GPIO"}, "sysdb: no database GPIO in "},
                                    {{"get", "K", "CELL"}, "sysdb: no database K in "},
                                    {{"del", "GPIO", "K"}, "sysdb: no database GPIO in "}};
    for (const row &c : cases) {
        EXPECT_EQ(run(c.arguments), 1) << c.message;
        const bool is_key = std::string(c.message).find("no key") != std::string::npos;
        const std::string advice = is_key ? "" : "; \"sysdb databases\" names those that there are";
        EXPECT_EQ(err_, c.message + directory_ + advice + "\n");
        EXPECT_EQ(out_, "");
    }
    EXPECT_EQ(content_of(file("data.mdb")), before);
}

TEST_F(sysdb_tool, wrong_usage_ends_with_2) {
    const std::string too_long(512, 'k');
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"list"},
        {"fly", "CELL"},
        {"--versions"},
        {"list", "CELL", "KEY"},
        {"get", "CELL"},
        {"get", "CELL", "K", "--time"},
        {"databases", "CELL"},
        {"set", "CELL", "K", "int", "1", "--json"},
        {"del", "CELL"},
        {"set", "CELL", "K", "int"},
        {"set", "CELL", "K", "int", "1", "2"},
        {"watch", "CELL", "--xml"},
        {"get", "CELL", ""},
        {"get", "CELL", too_long},
        {"set", "CELL", too_long, "int", "1"},
        {"list", ""},
        {"list", too_long},
    };
    for (const std::vector<std::string> &arguments : cases) {
        std::string words;
        for (const std::string &word : arguments) {
            words += word + " ";
        }
        EXPECT_EQ(run(arguments), 2) << words;
        EXPECT_TRUE(err_.starts_with("sysdb: ")) << words << err_;
        EXPECT_EQ(out_, "") << words;
    }
    EXPECT_FALSE(std::filesystem::exists(directory_));
}

TEST_F(sysdb_tool, wrong_usage_shows_the_right_line) {
    struct row {
        std::vector<std::string> arguments;
        const char *message;
    };
    const std::vector<row> cases = {
        {{"CELL", "list"}, "sysdb: the command comes first: sysdb list DB [--json]; "},
        {{"get", "CELL"}, "sysdb: expected: sysdb get DB KEY [--json]; "},
        {{"set", "CELL", "K", "1"}, "sysdb: expected: sysdb set DB KEY TYPE VALUE; "},
        {{"list", "CELL", "--xml"}, "sysdb: unknown option \"--xml\"; "},
        {{"fly"}, "sysdb: unknown command \"fly\"; "},
        {{"list", "CELL", "--\x1b[2J"}, "sysdb: unknown option \"--\\x1B[2J\"; "},
    };
    for (const row &c : cases) {
        EXPECT_EQ(run(c.arguments), 2) << c.message;
        EXPECT_TRUE(err_.starts_with(c.message)) << err_;
    }
}

TEST_F(sysdb_tool, options_may_stand_anywhere_but_behind_set) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const std::vector<std::vector<std::string>> cases = {
        {"--json", "list", "CELL"}, {"list", "--json", "CELL"}, {"list", "CELL", "--json"}};
    for (const std::vector<std::string> &arguments : cases) {
        EXPECT_EQ(run(arguments), 0);
        EXPECT_EQ(out_, "{\"K\": 1}\n");
    }
    EXPECT_EQ(run({"set", "CELL", "K", "string", "--json"}), 0) << "the value of a string may be anything";
    EXPECT_EQ(run({"get", "CELL", "K"}), 0);
    EXPECT_EQ(out_, "--json\n");
    EXPECT_EQ(run({"get", "--json", "CELL", "K"}), 0);
    EXPECT_EQ(out_, "\"--json\"\n");
    EXPECT_EQ(run({"get", "CELL", "--", "K"}), 0);
    EXPECT_EQ(out_, "--json\n");
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "-X", 7, 0), 0);
    EXPECT_EQ(run({"get", "--", "CELL", "-X"}), 0);
    EXPECT_EQ(out_, "7\n");
}

TEST_F(sysdb_tool, databases_names_each_in_the_order_of_the_bytes) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "a\tb", "K", 1, 0), 0);
    EXPECT_EQ(run({"databases"}), 0);
    EXPECT_EQ(out_, "CELL\nGPIO\na\\tb\n");
}

TEST_F(sysdb_tool, help_says_the_commands_and_the_exit_codes) {
    EXPECT_EQ(run({"--help"}), 0);
    for (const char *word :
         {"list DB", "get DB KEY", "set DB KEY", "del DB KEY", "watch DB", "SYSDB_DIR", "Exit codes"}) {
        EXPECT_NE(out_.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(err_, "");
}

TEST_F(sysdb_tool, without_a_database_it_ends_with_3_says_where_it_looked_and_makes_nothing) {
    const std::vector<std::vector<std::string>> cases = {
        {"list", "CELL"}, {"get", "CELL", "K"}, {"del", "CELL", "K"}, {"databases"}};
    for (const std::vector<std::string> &arguments : cases) {
        EXPECT_EQ(run(arguments), 3) << arguments[0];
        EXPECT_TRUE(err_.starts_with("sysdb: " + directory_ + ": ")) << err_;
        EXPECT_NE(err_.find("SYSDB_DIR"), std::string::npos) << err_;
        EXPECT_FALSE(std::filesystem::exists(directory_)) << arguments[0];
    }
}

TEST_F(sysdb_tool, a_foreign_database_ends_with_3) {
    std::filesystem::create_directory(directory_);
    std::ofstream(file("data.mdb")) << std::string(20000, 'x');
    const std::vector<std::vector<std::string>> cases = {{"list", "CELL"},
                                                         {"get", "CELL", "K"},
                                                         {"set", "CELL", "K", "int", "1"},
                                                         {"del", "CELL", "K"},
                                                         {"watch", "CELL"}};
    for (const std::vector<std::string> &arguments : cases) {
        EXPECT_EQ(run(arguments), 3) << arguments[0];
        EXPECT_NE(err_.find("the database is damaged"), std::string::npos) << err_;
    }
}

// Whatever the bytes are: done, nothing found, or a sentence; never a signal, whose codes are above 128.
TEST_F(sysdb_tool, a_damaged_database_never_ends_it_by_a_signal) {
    const std::string bytes = damage::bytes_of(damage::write_everybodys);
    const std::vector<std::vector<std::string>> cases = {{"databases"},
                                                         {"list", "CELL"},
                                                         {"get", "CELL", "CELL_KEY_3"},
                                                         {"set", "CELL", "CELL_KEY_3", "int", "1"},
                                                         {"del", "CELL", "CELL_KEY_4"}};
    int unavailable = 0;
    for (unsigned int number = 0; number < 20; ++number) {
        damage::random_numbers random(number);
        std::filesystem::remove_all(directory_);
        std::filesystem::create_directory(directory_);
        std::ofstream(file("data.mdb"), std::ios::binary) << damage::damaged(bytes, random);
        for (const std::vector<std::string> &arguments : cases) {
            const int code = run(arguments);
            EXPECT_TRUE(code == 0 || code == 1 || code == 3) << arguments[0] << ", damage " << number << ": " << code;
            EXPECT_EQ(code == 0, err_.empty()) << arguments[0] << ", damage " << number << ": " << err_;
            unavailable += code == 3 ? 1 : 0;
        }
    }
    EXPECT_GT(unavailable, 10);
}

TEST_F(sysdb_tool, a_foreign_value_is_told_and_the_others_are_listed) {
    write_raw("CELL", "A", "i123");
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "B", 2, 0), 0);
    EXPECT_EQ(run({"list", "CELL"}), 3);
    EXPECT_EQ(out_, "B\tint\t2\n");
    EXPECT_TRUE(err_.ends_with("delete or write anew the key A\n")) << err_;
    EXPECT_EQ(run({"get", "CELL", "A"}), 3);
    EXPECT_TRUE(err_.ends_with("delete or write anew the key A\n")) << err_;
    EXPECT_EQ(run({"del", "CELL", "A"}), 0) << "as the message advises";
    EXPECT_EQ(run({"list", "CELL"}), 0);
}

TEST_F(sysdb_tool, a_value_that_does_not_fit_ends_with_3) {
    std::string big(100000, 'x');
    int code = 0;
    for (int n = 0; n < 60 && code == 0; ++n) {  // 6 MB into 4 MiB
        code = run({"set", "CELL", "BIG" + std::to_string(n), "string", big});
    }
    EXPECT_EQ(code, 3);
    EXPECT_NE(err_.find("the database or its file system is full: delete keys"), std::string::npos) << err_;
    EXPECT_EQ(run({"del", "CELL", "BIG0"}), 0) << "as the message advises";
    EXPECT_EQ(run({"set", "CELL", "K", "int", "1"}), 0);
}

TEST_F(sysdb_tool, an_output_that_cannot_be_written_ends_with_3) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    const descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    pipe_ends unread;
    unread.read_end.close();
    const std::vector<std::vector<std::string>> cases = {
        {"list", "CELL"}, {"list", "CELL", "--json"}, {"get", "CELL", "K"}, {"--help"}};
    for (const std::vector<std::string> &arguments : cases) {
        EXPECT_EQ(run(arguments, full.get()), 3) << arguments[0];
        EXPECT_EQ(err_, "sysdb: cannot write the output: No space left on device\n");
        EXPECT_EQ(run(arguments, unread.write_end.get()), 3) << arguments[0];
        EXPECT_EQ(err_, "sysdb: cannot write the output: Broken pipe\n");
    }
}

}  // namespace
