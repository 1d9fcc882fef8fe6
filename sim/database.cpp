#include "sim/database.h"

#include <array>
#include <charconv>
#include <cstdlib>

#include "sim/scenario/line_text.h"

namespace {

std::string real_text(double value) {
    std::array<char, 64> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    std::string text(digits.data(), end);
    return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

sysdb_value to_sysdb_value(const typed_value &value) {
    if (value.type == "int") {
        return static_cast<std::int32_t>(std::strtol(value.text.c_str(), nullptr, 10));
    }
    if (value.type == "real") {
        return std::strtod(value.text.c_str(), nullptr);
    }
    return bytes_of_lines({value.text}, "").value_or(value.text);
}

}  // namespace

typed_value to_typed_value(const sysdb_value &value) {
    if (const auto *integer = std::get_if<std::int32_t>(&value)) {
        return {"int", std::to_string(*integer)};
    }
    if (const auto *real = std::get_if<double>(&value)) {
        return {"real", real_text(*real)};
    }
    return {"string", printable(std::get<std::string>(value))};
}

const cell_values &box_database::cell() {
    if (environment_.is_open() && environment_.is_stale()) {
        environment_.close();
        values_.clear();
    }
    if (!environment_.is_open()) {
        seen_ = 0;
        if (environment_.open(sysdb_folder(), sysdb_access::read) != 0) {
            return values_;
        }
    }
    const std::size_t counter = environment_.change_counter();
    if (counter == seen_) {
        return values_;
    }
    sysdb_transaction transaction;
    sysdb_values found;
    std::vector<std::string> foreign;
    if (transaction.begin(environment_, "CELL", sysdb_access::read) != 0 || transaction.list(&found, &foreign) != 0) {
        return values_;
    }
    seen_ = counter;
    values_.clear();
    for (const auto &[key, value] : found) {
        values_.emplace(key, to_typed_value(value));
    }
    return values_;
}

std::string box_database::write(const set_key &what) {
    environment_.close();  // one environment may be open only once in a process
    seen_ = 0;
    sysdb_environment writer;
    int result = writer.open(sysdb_folder(), sysdb_access::create);
    sysdb_transaction transaction;
    if (result == 0) {
        result = transaction.begin(writer, what.database.c_str(), sysdb_access::create);
    }
    if (result == 0) {
        result = transaction.put(what.what.key.c_str(), to_sysdb_value(what.what.value));
    }
    if (result == 0) {
        result = transaction.commit();
    }
    return result == 0 ? "" : sysdb_problem(sysdb_folder(), result);
}
