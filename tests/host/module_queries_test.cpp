// The typed queries over a PTY, against a module with a table of answers.
#include <map>

#include <gmock/gmock.h>

#include "tests/host/scripted_module.h"
#include "tests/support/other_process.h"

namespace {

using testing::ElementsAre;

using answers = std::map<std::string, std::string>;

// Answers by the table, everything else with ERROR; an empty answer is silence.
scripted_module::script by_table(answers table) {
    return [table = std::move(table)](scripted_module &module) {
        for (std::string command = module.hear(); !command.empty(); command = module.hear()) {
            const auto row = table.find(command);
            module.say(command + "\r\r\n");
            module.say(row == table.end() ? "ERROR\r\n" : row->second);
        }
    };
}

class queries : public testing::Test {
protected:
    void SetUp() override { get_back_in_step(); }
};

struct registration {
    int result;
    bool registered;
    bool roaming;
    bool operator==(const registration &) const = default;
};
std::ostream &operator<<(std::ostream &out, const registration &r) {
    return out << "result " << r.result << " registered " << r.registered << " roaming " << r.roaming;
}

// Both flags begin as given, so that untouched ones show.
registration ask_registration(int fd, bool flags_before) {
    registration seen = {0, flags_before, flags_before};
    seen.result = zelt_at_cmd_get_registration_and_roaming(fd, &seen.registered, &seen.roaming);
    return seen;
}

TEST_F(queries, registration_is_taken_from_the_first_domain_that_has_it) {
    const struct {
        const char *why;
        answers table;
        registration expected;
        std::vector<std::string> asked;
    } rows[] = {
        {"home", {{"at+creg?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"}}, {0, true, false}, {"at+creg?"}},
        {"roaming", {{"at+creg?", "\r\n+CREG: 0,5\r\n\r\nOK\r\n"}}, {0, true, true}, {"at+creg?"}},
        {"circuit-switched denied, packets fine",
         {{"at+creg?", "\r\n+CREG: 0,3\r\n\r\nOK\r\n"}, {"at+cgreg?", "\r\n+CGREG: 0,1\r\n\r\nOK\r\n"}},
         {0, true, false},
         {"at+creg?", "at+cgreg?"}},
        {"4G only, roaming",
         {{"at+creg?", "\r\n+CREG: 2,0\r\n\r\nOK\r\n"},
          {"at+cgreg?", "\r\n+CGREG: 0,4\r\n\r\nOK\r\n"},
          {"at+cereg?", "\r\n+CEREG: 2,5,\"27bd\",\"0ac17d03\",7\r\n\r\nOK\r\n"}},
         {0, true, true},
         {"at+creg?", "at+cgreg?", "at+cereg?"}},
        {"5G only; a domain that the module does not know is passed over",
         {{"at+creg?", "\r\n+CME ERROR: 3\r\n"},
          {"at+cereg?", "\r\n+CEREG: 0,0\r\n\r\nOK\r\n"},
          {"at+c5greg?", "\r\n+C5GREG: 2,1,\"0016\",\"840484001\",11,9,01\r\n\r\nOK\r\n"}},
         {0, true, false},
         {"at+creg?", "at+cgreg?", "at+cereg?", "at+c5greg?"}},
        {"nowhere; short messages, emergency calls and searching do not count",
         {{"at+creg?", "\r\n+CREG: 0,6\r\n\r\nOK\r\n"},
          {"at+cgreg?", "\r\n+CGREG: 0,8\r\n\r\nOK\r\n"},
          {"at+cereg?", "\r\n+CEREG: 0,2\r\n\r\nOK\r\n"}},
         {0, false, false},
         {"at+creg?", "at+cgreg?", "at+cereg?", "at+c5greg?"}},
        {"an unsolicited registration is no answer",
         {{"at+creg?", "\r\n+CREG: 1,\"1A2B\",\"0000C5F3\",0\r\n\r\n+CREG: 2,2\r\n\r\nOK\r\n"}},
         {0, false, false},
         {"at+creg?", "at+cgreg?", "at+cereg?", "at+c5greg?"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.why);
        scripted_module module(by_table(row.table));
        const opened_port port(module);
        const bool opposite = !row.expected.registered;
        EXPECT_EQ(ask_registration(port.fd(), opposite), row.expected);
        EXPECT_EQ(module.heard(), row.asked);
    }
}

TEST_F(queries, registration_fails_when_no_domain_answers_and_leaves_the_flags) {
    for (const bool before : {false, true}) {
        scripted_module module(by_table({{"at+creg?", "\r\n+CREG: 1,\"1A2B\"\r\n\r\nOK\r\n"}}));
        const opened_port port(module);
        const registration seen = ask_registration(port.fd(), before);
        EXPECT_EQ(seen, (registration{-1, before, before}));
        EXPECT_THAT(module.heard(), ElementsAre("at+creg?", "at+cgreg?", "at+cereg?", "at+c5greg?"));
    }
}

// The first domain's "no" does not yet mean "not registered".
TEST_F(queries, registration_fails_when_the_module_falls_silent_and_asks_no_further) {
    scripted_module module(by_table({{"at+creg?", "\r\n+CREG: 0,3\r\n\r\nOK\r\n"}, {"at+cgreg?", ""}}));
    const opened_port port(module);
    EXPECT_EQ(ask_registration(port.fd(), true), (registration{-1, true, true}));
    EXPECT_THAT(module.heard(), ElementsAre("at+creg?", "at+cgreg?"));
}

TEST_F(queries, registration_fails_when_the_module_vanishes) {
    scripted_module module([](scripted_module &m) {
        m.hear();
        m.vanish();
    });
    const opened_port port(module);
    EXPECT_EQ(ask_registration(port.fd(), true), (registration{-1, true, true}));
}

TEST_F(queries, a_stop_ends_the_registration_query_and_leaves_the_flags) {
    other_process child([] {
        scripted_module module([](scripted_module &m) {
            m.hear();
            stop_libzelt_funcs();
            m.say("\r\n+CREG: 0,3\r\n\r\nOK\r\n");
            m.hear();
        });
        const opened_port port(module);
        return ask_registration(port.fd(), true) == registration{-1, true, true} ? 7 : 0;
    });
    EXPECT_EQ(child.wait(), 7);
}

using text_query = int (*)(int, char *, unsigned int);

struct text_result {
    int result;
    std::string text;
    bool operator==(const text_result &) const = default;
};
std::ostream &operator<<(std::ostream &out, const text_result &r) {
    return out << r.result << " \"" << r.text << '"';
}

template <unsigned int size = 64>
text_result ask_text(text_query query, int fd) {
    std::array<char, size> buffer = {};
    buffer.fill('#');
    const int result = query(fd, buffer.data(), size);
    const std::string text(buffer.data(), size);
    return {result, text.substr(0, text.find('\0'))};
}

TEST_F(queries, texts) {
    const struct {
        const char *why;
        text_query query;
        const char *command;
        const char *answer;
        text_result expected;
    } rows[] = {
        {"carrier",
         zelt_at_cmd_get_carrier_name,
         "at+cops?",
         "+COPS: 0,0,\"TW Mobile\",7\r\n\r\nOK\r\n",
         {9, "TW Mobile"}},
        {"no carrier", zelt_at_cmd_get_carrier_name, "at+cops?", "+COPS: 0\r\n\r\nOK\r\n", {0, ""}},
        {"carrier error", zelt_at_cmd_get_carrier_name, "at+cops?", "ERROR\r\n", {-1, ""}},
        {"IMSI", zelt_at_cmd_get_imsi, "at+cimi", "310260485000000\r\n\r\nOK\r\n", {15, "310260485000000"}},
        {"no IMSI", zelt_at_cmd_get_imsi, "at+cimi", "+CCLK: \"24/01/18,08:32:36+28\"\r\nOK\r\n", {0, ""}},
        {"no card", zelt_at_cmd_get_imsi, "at+cimi", "+CME ERROR: 10\r\n", {-1, ""}},
        {"number",
         zelt_at_cmd_get_mdn,
         "at+cnum",
         "+CNUM: \"\",\"+33606000000\",145\r\n\r\nOK\r\n",
         {12, "+33606000000"}},
        {"no number", zelt_at_cmd_get_mdn, "at+cnum", "OK\r\n", {0, ""}},
        {"number and then an error",
         zelt_at_cmd_get_mdn,
         "at+cnum",
         "+CNUM: \"\",\"+33606000000\",145\r\n+CME ERROR: 25\r\n",
         {-1, ""}},
        {"level", zelt_at_cmd_get_cfun, "at+cfun?", "+CFUN: 7\r\n\r\nOK\r\n", {1, "7"}},
        {"no level", zelt_at_cmd_get_cfun, "at+cfun?", "OK\r\n", {0, ""}},
        {"level error", zelt_at_cmd_get_cfun, "at+cfun?", "+CME ERROR: 3\r\n", {-1, ""}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.why);
        scripted_module module(by_table({{row.command, row.answer}}));
        const opened_port port(module);
        EXPECT_EQ(ask_text(row.query, port.fd()), row.expected);
        EXPECT_THAT(module.heard(), ElementsAre(row.command));
    }
}

TEST_F(queries, texts_are_cut_to_the_buffer) {
    scripted_module module(by_table({{"at+cops?", "+COPS: 0,0,\"TW Mobile\",7\r\n\r\nOK\r\n"}}));
    const opened_port port(module);
    EXPECT_EQ(ask_text<10>(zelt_at_cmd_get_carrier_name, port.fd()), (text_result{9, "TW Mobile"}));
    EXPECT_EQ(ask_text<9>(zelt_at_cmd_get_carrier_name, port.fd()), (text_result{8, "TW Mobil"}));
    EXPECT_EQ(ask_text<1>(zelt_at_cmd_get_carrier_name, port.fd()), (text_result{0, ""}));
    char untouched = '#';
    EXPECT_LE(zelt_at_cmd_get_carrier_name(port.fd(), &untouched, 0), 0);
    EXPECT_LE(zelt_at_cmd_get_carrier_name(port.fd(), nullptr, 64), 0);
    EXPECT_EQ(untouched, '#');
}

TEST_F(queries, texts_fail_on_a_bad_descriptor) {
    for (const text_query query :
         {zelt_at_cmd_get_carrier_name, zelt_at_cmd_get_imsi, zelt_at_cmd_get_mdn, zelt_at_cmd_get_cfun}) {
        EXPECT_EQ(ask_text(query, -1), (text_result{-1, ""}));
    }
}

TEST_F(queries, factory_settings_are_restored) {
    scripted_module module(by_table({{"at&f", "OK\r\n"}}));
    const opened_port port(module);
    EXPECT_EQ(zelt_at_cmd_restore_factory_settings(port.fd()), 0);
    EXPECT_THAT(module.heard(), ElementsAre("at&f"));
}

TEST_F(queries, a_refused_restore_fails) {
    scripted_module module(by_table({}));
    const opened_port port(module);
    EXPECT_NE(zelt_at_cmd_restore_factory_settings(port.fd()), 0);
}

// The answers that the daemon's decoders read by their prefix.
TEST_F(queries, recorded_lines) {
    const struct {
        const char *command;
        const char *prefix;
        const char *answer;
        unsigned int result;
        const char *line;
    } rows[] = {
        {"at+csq\r", "+CSQ:", "AT+CSQ\r\n+CSQ: 99,99\r\n\r\nOK\r\n", 1, "+CSQ: 99,99"},
        {"at+csq\r", "+CSQ:", "AT+CSQ\r\r\n+CSQ: 99,99\r\n\r\nOK\r\n", 1, "+CSQ: 99,99"},
        {"at+csq\r", "+CSQ:", "at+csq\r\r\n+CSQ: 18,99\r\n\r\nOK\r\n", 1, "+CSQ: 18,99"},
        {"at+csq\r", "+CSQ:", "AT+CSQ\r\n+CSQ: 5,99\r\n\r\nOK\r\n", 1, "+CSQ: 5,99"},
        {"at+csq\r", "+CSQ:", "+CSQ: 16,99\r\n", 1, "+CSQ: 16,99"},
        {"at+csq\r", "+CSQ:", "+CSQ: 37,20\r\n", 1, "+CSQ: 37,20"},
        {"at+csq\r", "+CSQ:", "\r\n\r\nBG96\r\n\r\n+CSQ: 99,99\r\n\r\n+COPS: 0\r\n\r\n+CGREG: 0,4\r\n\r\nOK\r\n", 1,
         "+CSQ: 99,99"},
        {"at+csq\r", "+CSQ:", "+CSQ: 10,99\r\nOK\r\n", 1, "+CSQ: 10,99"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+QNWINFO\r\n+QNWINFO: \"FDD LTE\",\"46001\",\"LTE BAND 8\",3740\r\n", 1,
         "+QNWINFO: \"FDD LTE\",\"46001\",\"LTE BAND 8\",3740"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+qnwinfo\r\n+QNWINFO: \"FDD LTE\",\"12301\",\"LTE BAND 3\",1802\r\nOK\r\n", 1,
         "+QNWINFO: \"FDD LTE\",\"12301\",\"LTE BAND 3\",1802"},
        {"at+qnwinfo\r",
         "+QNWINFO:", "AT+QNWINFO\r\n+QNWINFO: \"TDD NR5G\",\"310260\",\"NR5G BAND 41\",516270\r\n\r\nOK\r\n", 1,
         "+QNWINFO: \"TDD NR5G\",\"310260\",\"NR5G BAND 41\",516270"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+QNWINFO\r\r\n+QNWINFO: \"eMTC\",\"26203\",\"LTE BAND 20\",6200\r\n\r\nOK\r\n",
         1, "+QNWINFO: \"eMTC\",\"26203\",\"LTE BAND 20\",6200"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+QNWINFO\r\n+QNWINFO: \"eMTC\",\"45006\",\"LTE BAND 5\",2600\r\n\r\nOK\r\n", 1,
         "+QNWINFO: \"eMTC\",\"45006\",\"LTE BAND 5\",2600"},
        {"at+qnwinfo\r", "+QNWINFO:", "+QNWINFO: \"HSPA+\",\"26006\",\"WCDMA 900\",2938\r\nOK\r\n", 1,
         "+QNWINFO: \"HSPA+\",\"26006\",\"WCDMA 900\",2938"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+QNWINFO\r\n+QNWINFO: \"HSPA+\",\"23203\",\"WCDMA 2100\",10836\r\nOK\r\n", 1,
         "+QNWINFO: \"HSPA+\",\"23203\",\"WCDMA 2100\",10836"},
        {"at+qnwinfo\r", "+QNWINFO:",
         "AT+QNWINFO\r\n+QNWINFO: \"FDD LTE\",\"26201\",\"LTE BAND 3\",1300\r\n"
         "+QNWINFO: \"FDD NR5G\",\"26201\",\"NR5G BAND 1\",431070\r\n\r\nOK\r\n",
         1, "+QNWINFO: \"FDD LTE\",\"26201\",\"LTE BAND 3\",1300"},
        {"at+qnwinfo\r", "+QNWINFO:", "+QNWINFO: \"HSPA+\",25002,\"WCDMA 2100\",10687\r\nOK\r\n", 1,
         "+QNWINFO: \"HSPA+\",25002,\"WCDMA 2100\",10687"},
        {"at+qnwinfo\r", "+QNWINFO:", "AT+QNWINFO\r\n+QNWINFO: \"NR5G-SA\",46001,\"NR N78\",627264\r\nOK\r\n", 1,
         "+QNWINFO: \"NR5G-SA\",46001,\"NR N78\",627264"},
        {"at+qnwinfo\r", "+QNWINFO:", "+QNWINFO: \"EDGE\",\"40420\",\"GSM 900\",10\r\nOK\r\n", 1,
         "+QNWINFO: \"EDGE\",\"40420\",\"GSM 900\",10"},
        {"at+qnwinfo\r", "+QNWINFO:", "+QNWINFO: \"TDD LTE\",\"405874\",\"LTE BAND 40\",38900\r\nOK\r\n", 1,
         "+QNWINFO: \"TDD LTE\",\"405874\",\"LTE BAND 40\",38900"},
        {"at+qnwinfo\r", "+QNWINFO:", "\r\n+QNWINFO: \"TDD LTE\",\"46000\",\"LTE BAND 40\",38950\r\n\r\nOK\r\n", 1,
         "+QNWINFO: \"TDD LTE\",\"46000\",\"LTE BAND 40\",38950"},
        {"at+qnwinfo\r", "+QNWINFO:", "+QNWINFO: TDD LTE,46000,LTE BAND 41,40936  OK\r\n", 1,
         "+QNWINFO: TDD LTE,46000,LTE BAND 41,40936  OK"},
        {"at+qnwinfo\r", "+QNWINFO:", "+CSQ: 99,99\r\n+QNWINFO: No Service\r\nOK\r\n", 1, "+QNWINFO: No Service"},
        {"at+qeng=\"servingcell\"\r",
         "+QENG:", "at+qeng=\"servingcell\"\r\r\n+QENG: \"servingcell\",\"SEARCH\"\r\n\r\nOK\r\n", 1,
         "+QENG: \"servingcell\",\"SEARCH\""},
        {"at+qeng=\"servingcell\"\r", "+QENG:", "+QENG:\"NR5G-NSA\",460,01,747,-71,13,-11,627264,78,12,1\r\nOK\r\n", 1,
         "+QENG:\"NR5G-NSA\",460,01,747,-71,13,-11,627264,78,12,1"},
        {"at+qeng=\"servingcell\"\r", "+QENG:", "\r\n+CME ERROR: 3\r\n", 3, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.answer);
        scripted_module module(always(row.answer));
        const opened_port port(module);
        const std::array<std::string, 3> texts = {row.prefix, "OK", "ERROR"};
        std::array<char, 256> buffer = {};
        EXPECT_EQ(
            ser_write_and_wait_for_txt_get_line(port.fd(), row.command, texts.data(), 3, buffer.data(), 256, 1, 1),
            row.result);
        EXPECT_STREQ(buffer.data(), row.line);
    }
}

}  // namespace
