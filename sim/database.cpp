#include "sim/database.h"

#include "posix/clock.h"
#include "sim/scenario/line_text.h"
#include "store/transaction.h"
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
    std::vector<std::string> foreign_keys;
    if (!reader_.has_changed()) {
        return values_;
    }
    sysdb_values found;
    if (const int result = reader_.list(&found, &foreign_keys); result != 0 && !sysdb_is_absent(result)) {
        return values_;
    }
    stored_ = std::move(found);
    values_.clear();
    for (const auto &[key, value] : stored_) {
        values_.emplace(escaped(key), to_typed_value(value));
    }
    return values_;
}

const sysdb_values &box_database::stored() {
    cell();
    return stored_;
}

view::port_report box_database::port() {
    cell();
    return view::read_port(reader_.values_beside(), static_cast<double>(seconds_since_boot()));
}

std::string box_database::write(const set_key &what) {
    reader_.close();
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
