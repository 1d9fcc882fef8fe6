// AT answers as modules print them: cut shorter and shorter, torn, and with lines that only look like an answer.
#include "host/at_text.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

at_lines lines_of(std::string_view bytes) {
    line_cutter cutter;
    at_lines lines;
    while (const std::optional<std::string_view> line = cutter.next_line(bytes)) {
        lines.emplace_back(*line);
    }
    return lines;
}

// Recorded answers end where the recorder stopped; on the port a line end follows.
at_lines recorded(const std::string &answer) {
    return lines_of(answer + "\r\n");
}

TEST(line_cutter, ends_lines_at_any_mix_of_CR_and_LF) {
    EXPECT_THAT(lines_of("a\rb\nc\r\nd\r\r\ne\n\n\nf\r"), ElementsAre("a", "b", "c", "d", "e", "f"));
}

TEST(line_cutter, keeps_a_torn_line_until_its_end_comes) {
    line_cutter cutter;
    std::string_view bytes = "+CSQ: 1";
    EXPECT_EQ(cutter.next_line(bytes), std::nullopt);
    bytes = "8,99\r\nO";
    EXPECT_EQ(cutter.next_line(bytes), "+CSQ: 18,99");
    EXPECT_EQ(cutter.next_line(bytes), std::nullopt);
    bytes = "K\r";
    EXPECT_EQ(cutter.next_line(bytes), "OK");
}

TEST(line_cutter, drops_NUL_bytes) {
    EXPECT_THAT(lines_of({"\0O\0K\0\r\0\n\0x\n", 11}), ElementsAre("OK", "x"));
}

TEST(line_cutter, keeps_blanks) {
    EXPECT_THAT(lines_of(" a b \r\n"), ElementsAre(" a b "));
}

TEST(line_cutter, cuts_at_the_longest_line) {
    const std::string longest(line_cutter::LONGEST_LINE, 'x');
    EXPECT_THAT(lines_of(longest + "\nA\n"), ElementsAre(longest, "A"));
    EXPECT_THAT(lines_of(longest + "y\nA\n"), ElementsAre(longest, "A"));
}

TEST(final_results, are_whole_lines) {
    const struct {
        const char *why;
        const char *line;
        bool is_final;
        bool is_error;
    } rows[] = {
        {"success", "OK", true, false},
        {"failure", "ERROR", true, true},
        {"equipment error", "+CME ERROR: 0", true, true},
        {"equipment error in words", "+CME ERROR: SIM not inserted", true, true},
        {"message service error", "+CMS ERROR: 500", true, true},
        {"longer", "OKAY", false, false},
        {"shorter", "O", false, false},
        {"behind other text", "+QNWINFO: TDD LTE,46000,LTE BAND 41,40936  OK", false, false},
        {"behind a blank", " OK", false, false},
        {"lower case", "ok", false, false},
        {"an operator of that name", "+COPS: 0,0,\"OK\"", false, false},
        {"an unsolicited line", "+QIND: ERROR", false, false},
        {"without the colon", "+CME ERROR", false, false},
        {"empty", "", false, false},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(is_final_result(row.line), row.is_final) << row.why;
        EXPECT_EQ(is_error_result(row.line), row.is_error) << row.why;
    }
}

TEST(echo, is_the_command_in_either_case) {
    EXPECT_TRUE(is_echo("at+csq", "at+csq\r"));
    EXPECT_TRUE(is_echo("AT+CSQ", "at+csq\r"));
    EXPECT_TRUE(is_echo("AT+QENG=\"servingcell\"", "at+qeng=\"servingcell\"\r"));
    EXPECT_FALSE(is_echo("at+csq?", "at+csq\r"));
    EXPECT_FALSE(is_echo("at+cs", "at+csq\r"));
    EXPECT_FALSE(is_echo("+CSQ: 1,99", "at+csq\r"));
}

TEST(fields, are_cut_at_commas_outside_of_quotes) {
    EXPECT_THAT(cut_fields(" 0,2, \"a, b\" ,,7"), ElementsAre("0", "2", "\"a, b\"", "", "7"));
    EXPECT_THAT(cut_fields(""), ElementsAre(""));
    EXPECT_THAT(cut_fields(","), ElementsAre("", ""));
    EXPECT_THAT(cut_fields("0,\"never closed, 1"), ElementsAre("0", "\"never closed, 1"));
}

TEST(fields, lose_their_quotes) {
    EXPECT_EQ(without_quotes("\"a\""), "a");
    EXPECT_EQ(without_quotes("\"\""), "");
    EXPECT_EQ(without_quotes("\""), "");
    EXPECT_EQ(without_quotes("\"a"), "a");
    EXPECT_EQ(without_quotes("a"), "a");
    EXPECT_EQ(without_quotes(""), "");
}

TEST(registration, recorded_answers) {
    const struct {
        const char *why;
        const char *prefix;
        const char *answer;
        std::optional<int> state;
    } rows[] = {
        {"searching", "+CREG:", "at+creg?\r\n+CREG: 0,2\r\n\r\nOK", 2},
        {"home", "+CREG:", "at+creg?\r\n+CREG: 0,1\r\n\r\nOK", 1},
        {"not registered", "+CREG:", "+CREG: 2,0\r\n\r\nOK", 0},
        {"roaming, echo with two CR", "+CREG:", "at+creg?\r\r\n+CREG: 0,5\r\n\r\nOK\r\n", 5},
        {"unsolicited", "+CREG:", "\r\n+CREG: 1,\"1A2B\",\"0000C5F3\",0\r\n", std::nullopt},
        {"unsolicited before the answer",
         "+CREG:", "+CREG: 1,\"1A2B\",\"C5F3\",0\r\n+CREG: 2,5,\"1A2B\",\"C5F3\",7\r\nOK", 5},
        {"unsolicited within the answer", "+CREG:", "+CREG: 0,1\r\n+CREG: 2\r\nOK", 1},
        {"unsolicited, the state alone", "+CREG:", "+CREG: 1\r\n", std::nullopt},
        {"unsolicited area of digits without quotes", "+CREG:", "+CREG: 1,1234,5678\r\n", std::nullopt},
        {"denied for packets",
         "+CGREG:", "\r\n\r\nBG96\r\n\r\n+CSQ: 99,99\r\n\r\n+COPS: 0\r\n\r\n+CGREG: 0,4\r\n\r\nOK\r\n", 4},
        {"mode 1", "+CEREG:", "AT+CEREG?\r\n+CEREG: 1,1", 1},
        {"no blank line before OK", "+CEREG:", "+CEREG: 0,5\r\nOK", 5},
        {"4G searching", "+CEREG:", "+CEREG: 2,2\r\n\r\nOK", 2},
        {"with area, cell and technology", "+CEREG:", "+CEREG: 2,1,\"27bd\",\"0ac17d03\",7", 1},
        {"4G roaming", "+CEREG:", "AT+CEREG?\r\r\n+CEREG: 0,5\r\n\r\nOK\r\n", 5},
        {"empty fields in the answer", "+CEREG:", "AT+CEREG?\r\n+CEREG: 5,0,,,,,0,0", 0},
        {"4G home", "+CEREG:", "AT+CEREG?\r\n+CEREG: 0,1\r\n\r\nOK\r\n", 1},
        {"unsolicited with empty fields", "+CEREG:", "+CEREG: 2,,,,,0,0\r\n+CEREG: 3,,,,,0,15\r\n+CEREG: 0,,,,,0,0",
         std::nullopt},
        {"denied among other answers", "+CEREG:", "+CPIN: READY\r\n+COPS: 0\r\n+CEREG: 0,3\r\n+CSQ: 99,99", 3},
        {"5G with slice",
         "+C5GREG:", "at+c5greg=2;+c5greg?\r\n+C5GREG: 2,1,\"114000\",\"100072000\",11,4,\"01.010101\"", 1},
        {"5G, slice without quotes", "+C5GREG:", "+C5GREG: 2,1,\"835500\",\"8350C6180\",11,9,01", 1},
        {"5G, long slice", "+C5GREG:", "+C5GREG: 2,1,\"0016\",\"840484001\",11,9,01.000001", 1},
        {"5G home", "+C5GREG:", "AT+C5GREG?\r\n+C5GREG: 0,1\r\n\r\nOK\r\n", 1},
        {"another domain", "+CGREG:", "+CREG: 0,1\r\nOK", std::nullopt},
        {"no blank behind the colon", "+CREG:", "+CREG:0,1\r\nOK", 1},
        {"two digits", "+CREG:", "+CREG: 0,10\r\nOK", 10},
        {"cut before the state", "+CREG:", "+CREG: 0,\r\nOK", std::nullopt},
        {"cut before the mode", "+CREG:", "+CREG:\r\nOK", std::nullopt},
        {"not supported", "+C5GREG:", "ERROR", std::nullopt},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(registration_state(recorded(row.answer), row.prefix), row.state) << row.why;
    }
}

TEST(registration, states) {
    //                           0      1     2      3      4      5     6      7      8      9     10    11
    const bool registered[] = {false, true, false, false, false, true, false, false, false, true, true, false};
    const bool roaming[] = {false, false, false, false, false, true, false, false, false, false, true, false};
    EXPECT_FALSE(is_registered(-1));
    EXPECT_FALSE(is_roaming(-1));
    for (int state = 0; state <= 11; ++state) {
        EXPECT_EQ(is_registered(state), registered[state]) << state;
        EXPECT_EQ(is_roaming(state), roaming[state]) << state;
    }
}

struct text_row {
    const char *why;
    const char *answer;
    const char *text;
};

void expect_texts(std::string (*text_in)(const at_lines &), const std::vector<text_row> &rows) {
    for (const text_row &row : rows) {
        EXPECT_EQ(text_in(recorded(row.answer)), row.text) << row.why;
    }
}

TEST(carrier_name, recorded_answers) {
    expect_texts(carrier_name,
                 {
                     {"no network", "at+cops?\r\n+COPS: 0\r\n\r\nOK", ""},
                     {"no network, mode 5", "\r\n+COPS: 5\r\n\r\nOK\r\n", ""},
                     {"no network, without echo", "+COPS: 0\r\n\r\nOK", ""},
                     {"a blank inside", "AT+COPS?\r\n+COPS: 0,0,\"TW Mobile\",7\r\n\r\nOK", "TW Mobile"},
                     {"blank and hyphens", "AT+COPS?\r\n+COPS: 0,0,\"TRUE-H TRUE-H\",13", "TRUE-H TRUE-H"},
                     {"hyphen", "AT+COPS?\r\n+COPS: 0,0,\"T-Mobile\",11\r\n", "T-Mobile"},
                     {"short", "AT+COPS?\r\n+COPS: 0,0,\"VERY\",13", "VERY"},
                     {"the network's number", "AT+COPS?\r\n+COPS: 0,2,\"310260\",11\r\n\r\nOK\r\n", "310260"},
                     {"number and name", "AT+COPS?\r\n+COPS: 0,0,\"242 01 Telenor\",9", "242 01 Telenor"},
                     {"ampersand", "at+cops?\r\r\n+COPS: 0,0,\"AT&T\",7\r\n\r\nOK\r\n", "AT&T"},
                     {"full stop", "AT+COPS?\r\n+COPS: 0,0,\"Telekom.de\",13\r\n\r\nOK\r\n", "Telekom.de"},
                     {"among other answers", "+CPIN: READY\r\n+COPS: 0\r\n+CEREG: 0,3", ""},
                     {"a comma in quotes", "+COPS: 0,0,\"Mobile, Inc\",7\r\nOK", "Mobile, Inc"},
                     {"without technology", "+COPS: 0,0,\"VERY\"\r\nOK", "VERY"},
                     {"no quotes", "+COPS: 0,0,VERY,7\r\nOK", "VERY"},
                     {"an empty name", "+COPS: 0,0,\"\",7\r\nOK", ""},
                     {"cut in the name", "+COPS: 0,0,\"VE", "VE"},
                     {"cut before the name", "+COPS: 0,0", ""},
                     {"no answer", "OK", ""},
                 });
}

TEST(imsi, recorded_answers) {
    expect_texts(imsi, {
                           {"with echo", "AT+CIMI\r\n310260485000000\r\n", "310260485000000"},
                           {"alone", "515031726000000", "515031726000000"},
                           {"another one", "AT+CIMI\r\n310260702000000\r\n", "310260702000000"},
                           {"only an unsolicited line", "at+cimi\r\n+CCLK: \"24/01/18,08:32:36+28\"\r\nOK", ""},
                           {"unsolicited line before", "+CREG: 1\r\n310260485000000\r\n\r\nOK", "310260485000000"},
                           {"shortest", "310260\r\nOK", "310260"},
                           {"too short", "31026\r\nOK", ""},
                           {"longest", "123456789012345\r\nOK", "123456789012345"},
                           {"too long", "1234567890123456\r\nOK", ""},
                           {"a letter", "31026048500000A\r\nOK", ""},
                           {"no card", "+CME ERROR: 10", ""},
                       });
}

TEST(own_number, recorded_answers) {
    expect_texts(
        own_number,
        {
            {"no name", "+CNUM: ,\"+639391000000\",145", "+639391000000"},
            {"not only digits", "AT+CNUM\r\n+CNUM: ,\"1**********\",129\r\n\r\nOK", "1**********"},
            {"an empty name", "+CNUM: \"\",\"+51945000000\",145,7,4", "+51945000000"},
            {"several, a line end missing behind an error",
             "\r\n+CNUM: \"\",\"+33606000000\",145\r\n+CME ERROR: 25+CNUM: \"\",\"+33671000000\",145\r\n"
             "+CNUM: \"Fax\",\"\",0\r\n\r\n",
             "+33606000000"},
            {"the first is empty", "+CNUM: \"Fax\",\"\",0\r\n+CNUM: \"\",\"+33606000000\",145\r\nOK", "+33606000000"},
            {"none has a number", "+CNUM: \"Fax\",\"\",0\r\nOK", ""},
            {"a comma in the name", "+CNUM: \"Doe, Jane\",\"+33606000000\",145\r\nOK", "+33606000000"},
            {"cut before the number", "+CNUM: \"\"\r\nOK", ""},
            {"a card without numbers", "OK", ""},
        });
}

TEST(functionality_level, recorded_answers) {
    expect_texts(functionality_level, {
                                          {"full", "AT+CFUN?\r\r\n+CFUN: 1\r\n\r\nOK\r\n", "1"},
                                          {"stuck", "\r\n+CFUN: 7\r\n\r\nOK\r\n", "7"},
                                          {"among the lines of a start",
                                           "RDY\r\n+CPIN: READY\r\n+QUSIM: 1\r\n+CFUN: 1\r\n+QIND: SMS DONE", "1"},
                                          {"error", "AT+CFUN=1\r\n+CME ERROR: 0", ""},
                                          {"no number", "+CFUN: (0,1,4)\r\nOK", ""},
                                          {"cut", "+CFUN:\r\nOK", ""},
                                      });
}

}  // namespace
