// Hostile values in the database, as people and programs are shown them: the picture of a technology in which the input
// has replaced any number of keys.
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include <fuzzer/FuzzedDataProvider.h>
#include <json/json.h>

#include "fuzz/require.h"
#include "sim/scenario/line_text.h"
#include "store/utf8.h"
#include "store/value_text.h"
#include "tests/view/samples.h"
#include "tools/sysdb/json.h"
#include "tools/zelt_top/antenna.h"
#include "tools/zelt_top/check.h"
#include "tools/zelt_top/columns.h"
#include "tools/zelt_top/csv.h"
#include "tools/zelt_top/layout.h"
#include "view/json.h"
#include "view/keys.h"
#include "view/line.h"

namespace {

using view::snapshot;

std::string any_key(FuzzedDataProvider &input) {
    const auto number = input.ConsumeIntegral<std::uint8_t>();
    std::vector<std::string_view> known(view::INTEGER_KEYS.begin(), view::INTEGER_KEYS.end());
    known.insert(known.end(), view::REAL_KEYS.begin(), view::REAL_KEYS.end());
    known.insert(known.end(), view::TEXT_KEYS.begin(), view::TEXT_KEYS.end());
    if (number < known.size()) {
        return std::string(known[number]);
    }
    if (number < 200) {
        return std::string(view::CARRIER_KEYS.at(number % view::CARRIER_KEYS.size()).stem) +
               std::to_string(number / view::CARRIER_KEYS.size() % 9);
    }
    return "CELL_" + input.ConsumeRandomLengthString(20);
}

sysdb_value any_value(FuzzedDataProvider &input) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
        return input.ConsumeIntegral<std::int32_t>();
    case 1:
        return input.ConsumeFloatingPoint<double>();
    case 2:
        return std::array{std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(), -0.0}
            .at(input.ConsumeIntegralInRange<std::size_t>(0, 3));
    default:
        return input.ConsumeRandomLengthString(100);
    }
}

snapshot any_snapshot(FuzzedDataProvider &input) {
    static const std::array<snapshot, 7> SAMPLES{samples::lte(), samples::cat_m(), samples::nsa(),    samples::sa(),
                                                 samples::gsm(), samples::wcdma(), samples::crowded()};
    snapshot values = SAMPLES.at(input.ConsumeIntegralInRange<std::size_t>(0, SAMPLES.size() - 1));
    while (input.remaining_bytes() > 0) {
        const std::string key = any_key(input);
        values.insert_or_assign(key, any_value(input));
    }
    return values;
}

// One line of UTF-8 in which nothing steers a terminal.
void require_harmless(std::string_view text, const char *where) {
    for (std::string_view rest = text; !rest.empty();) {
        const utf8_character next = first_character(rest);
        require(next.is_valid && !is_control(next), where, " is harmless: ", text);
        rest.remove_prefix(next.bytes);
    }
}

void require_json(const std::string &text, const char *where) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    require(reader->parse(text.data(), text.data() + text.size(), &value, &errors), where, ": ", errors, text);
    require_harmless(text, where);
}

// What stands in the forms for shells reads back, and breaks no line.
void require_same_value_back(const std::string &key, const sysdb_value &value) {
    const std::string shown = value_text(value);
    for (const std::string &text : {shown, escaped(key)}) {
        require(text.find_first_of("\r\n\x1b\t") == text.npos, "one line: ", text);
    }
    require(bytes_of_lines({escaped(key)}, "") == key, "the escapes of a key are its bytes: ", escaped(key));
    require_json(json_value(value), "a value as JSON");
    require_json(json_string(key), "a key as JSON");
    if (const auto *real = std::get_if<double>(&value)) {
        const auto back = parse_value("real", shown);
        require(back.has_value(), "a real reads back: ", shown);
        const double read = std::get<double>(*back);
        require(read == *real || (std::isnan(read) && std::isnan(*real)), "the same real: ", shown);
    }
}

void require_page(const std::vector<zelt_top::line> &lines, const zelt_top::page &on) {
    require(on.height == 0 || lines.size() <= on.height, "a page has its height");
    for (const zelt_top::line &one : lines) {
        const std::string text = one.plain_text();
        require(zelt_top::columns(text) <= on.width, "a line has its width: ", text);
        require_harmless(text, "the page");
        require(on.utf8 || zelt_top::ascii_only(text) == text, "no UTF-8 where there is none: ", text);
    }
}

void require_pages(const view::picture &known, const zelt_top::page &on) {
    const zelt_top::memory past;
    zelt_top::best_signals best;
    best.note(known);
    require_page(zelt_top::lay_out(known, past, on), on);
    require_page(zelt_top::lay_out_antenna(known, best, on), on);
}

// Fields between commas, as RFC 4180 quotes them.
std::size_t count_fields(std::string_view row) {
    std::size_t fields = 1;
    bool in_quotes = false;
    for (const char c : row) {
        in_quotes = in_quotes != (c == '"');
        fields += c == ',' && !in_quotes ? 1 : 0;
    }
    require(!in_quotes, "quotes come in pairs: ", row);
    return fields;
}

void require_row(const view::picture &known, const view::reading &database) {
    const std::string header = zelt_top::csv_header(known.owner.has_value());
    const std::string row = zelt_top::csv_row(known, database);
    require(row.find('\n') == row.size() - 1, "one row: ", row);
    require(count_fields(row) == count_fields(header), "the columns of the header: ", row);
    require_harmless(std::string_view(row).substr(0, row.size() - 1), "a row");
}

void require_verdict(const view::picture &known) {
    std::string problem;
    static const auto LIMITS =
        zelt_top::parse_check("rsrp=-100:-110,nr_sinr=5:0,sqi=30:10,link=up,roaming=no", problem);
    require(LIMITS.has_value(), "limits: ", problem);
    const zelt_top::verdict verdict = zelt_top::judge(*LIMITS, known);
    require(0 <= verdict.exit_code() && verdict.exit_code() <= 3, "an exit code of plug-ins");
    require_harmless(verdict.line, "a verdict");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    zelt_top::page on;
    on.width = input.ConsumeIntegralInRange<std::size_t>(1, 130);
    on.height = input.ConsumeIntegralInRange<std::size_t>(0, 60);
    on.utf8 = input.ConsumeBool();
    const bool with_owner = input.ConsumeBool();

    const view::reading database = samples::read_from(any_snapshot(input));
    for (const auto &[key, value] : *database.cell) {
        require_same_value_back(key, value);
    }
    view::picture known = view::build_picture(database, {}, {2.0, 2.0, 3725.0});
    if (with_owner) {
        known.owner = view::find_subscriber(database);
    }
    require_json(view::to_json(known, database), "the picture as JSON");
    require_harmless(view::line_of(*database.cell), "the line for a log");
    require_pages(known, on);
    require_row(known, database);
    require_verdict(known);
    return 0;
}
