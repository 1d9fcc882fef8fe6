#include "sim/database.h"

#include "sim/text.h"
#include "store/value_text.h"

namespace {

// The type is right already, and the text of a string holds escapes for some bytes.
sysdb_value to_sysdb_value(const typed_value &value) {
    return parse_value(value.type, bytes_of_lines({value.text}, "").value_or(value.text)).value_or(value.text);
}

}  // namespace

typed_value to_typed_value(const sysdb_value &value) {
    return {std::string(type_name(value)), value_text(value)};
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
        values_.emplace(escaped(key), to_typed_value(value));
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
