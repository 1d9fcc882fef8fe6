// The system database from a shell. Reading never makes or changes a database.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "store/transaction.h"
#include "store/value_text.h"
#include "tools/sysdb/json.h"
#include "tools/sysdb/output.h"
#include "tools/sysdb/request.h"
#include "tools/sysdb/watch.h"

namespace {

enum exit_code { success = 0, not_found = 1, usage = 2, unavailable = 3 };

constexpr char HELP[] = R"(Reads and writes the router's system database.

  sysdb databases               the names of the databases, one a line
  sysdb list DB [--json]        every key of the named database DB, in bytewise order: KEY<TAB>TYPE<TAB>VALUE
  sysdb get DB KEY [--json]     one value alone
  sysdb set DB KEY TYPE VALUE   writes one value; the first one makes the database
  sysdb del DB KEY              deletes one key
  sysdb watch DB [--json] [--time]
                                every change as it is committed, until Ctrl-C: KEY<TAB>TYPE<TAB>VALUE,
                                a deleted key as KEY<TAB>deleted<TAB>; waits for a database that is not there yet;
                                with --time the time in UTC stands in front: 2026-01-31T12:00:00.000Z<TAB>KEY...
  sysdb --help                  this text
  sysdb --version               which version this is

TYPE is int (32 bits, decimal), real (such as -3.5, 1e6, inf, nan) or string.
In KEY and VALUE a tab, line feed, carriage return or backslash is printed as \t, \n, \r or \\, each byte of another
control character as \x1B. U+0080 to U+009F are control characters too (\xC2\x9B), and so is a byte from 80 to 9F that
belongs to no UTF-8 character (\x9B).
With --json list prints one object {"KEY": value, ...}, get the value, watch one object for each change:
{"key": "KEY", "type": "TYPE", "value": value}, with --time "time" first; there nan and inf are null, and bytes that are
no UTF-8 are U+FFFD.

Environment: SYSDB_DIR   the folder of the database (default /run/sysdb)
Exit codes:  0 done   1 no such key or named database   2 wrong usage
             3 the database is not available, a value in it is foreign, or the output cannot be written
Examples:    sysdb list CELL    sysdb get CELL CELL_RSSIMON    sysdb set GPIO GPIO_TEMP int 41
)";

int report(exit_code code, const std::string &message) {
    std::fprintf(stderr, "sysdb: %s\n", shown(message).c_str());
    return code;
}

int report_usage(const std::string &message) {
    return report(usage, message + "; \"sysdb --help\" shows the usage");
}

int output(const std::string &text) {
    const int error = print(text);
    return error == 0 ? success : report(unavailable, std::string("cannot write the output: ") + std::strerror(error));
}

// A missing environment is "not available"; what is missing inside of it, "not found".
int report_problem(int problem) {
    return report(unavailable, sysdb_problem(sysdb_folder(), problem));
}

int report_missing(int problem, const std::string &what, const std::string &advice = "") {
    return sysdb_is_absent(problem) ? report(not_found, what + " in " + sysdb_folder() + advice)
                                    : report_problem(problem);
}

// One transaction on a named database of the environment.
struct session {
    sysdb_environment environment;
    sysdb_transaction transaction;
};

int begin(session *opened, const std::string &database, sysdb_access access) {
    if (const int problem = opened->environment.open(sysdb_folder(), access); problem != 0) {
        return report_problem(problem);
    }
    const int problem = opened->transaction.begin(opened->environment, database.c_str(), access);
    return problem == 0 ? success
                        : report_missing(problem, "no database " + escaped(database),
                                         "; \"sysdb databases\" names those that there are");
}

std::string key_in_database(const std::string &key, const std::string &database) {
    return "key " + escaped(key) + " of database " + escaped(database);
}

std::string as_lines(const sysdb_values &values) {
    std::string text;
    for (const auto &[key, value] : values) {
        text += escaped(key) + "\t" + std::string(type_name(value)) + "\t" + value_text(value) + "\n";
    }
    return text;
}

std::string as_json(const sysdb_values &values) {
    std::string text = "{";
    for (const auto &[key, value] : values) {
        text += (text.size() > 1 ? ", " : "") + json_string(key) + ": " + json_value(value);
    }
    return text + "}\n";
}

int list(const std::string &database, bool json) {
    session opened;
    if (const int code = begin(&opened, database, sysdb_access::read); code != success) {
        return code;
    }
    sysdb_values values;
    std::vector<std::string> foreign_keys;
    if (const int problem = opened.transaction.list(&values, &foreign_keys); problem != 0) {
        return report_problem(problem);
    }
    opened.transaction.drop();  // before the output: a slow reader of it must not keep old pages from being used again
    const int code = output(json ? as_json(values) : as_lines(values));
    for (const std::string &key : foreign_keys) {
        report(unavailable, sysdb_problem(sysdb_folder(), SYSDB_FOREIGN_VALUE) + " " + escaped(key));
    }
    return foreign_keys.empty() ? code : unavailable;
}

int get(const std::string &database, const std::string &key, bool json) {
    session opened;
    if (const int code = begin(&opened, database, sysdb_access::read); code != success) {
        return code;
    }
    sysdb_value value;
    if (const int problem = opened.transaction.get(key.c_str(), &value); problem != 0) {
        return problem == SYSDB_FOREIGN_VALUE
                   ? report(unavailable, sysdb_problem(sysdb_folder(), problem) + " " + escaped(key))
                   : report_missing(problem, "no " + key_in_database(key, database));
    }
    return output((json ? json_value(value) : value_text(value)) + "\n");
}

int set(const std::string &database, const std::string &key, const sysdb_value &value) {
    session opened;
    if (const int code = begin(&opened, database, sysdb_access::create); code != success) {
        return code;
    }
    int problem = opened.transaction.put(key.c_str(), value);
    problem = problem != 0 ? problem : opened.transaction.commit();
    return problem == 0 ? success : report_problem(problem);
}

int del(const std::string &database, const std::string &key) {
    session opened;
    if (const int code = begin(&opened, database, sysdb_access::modify); code != success) {
        return code;
    }
    if (const int problem = opened.transaction.remove(key.c_str()); problem != 0) {
        return report_missing(problem, "no " + key_in_database(key, database));
    }
    const int problem = opened.transaction.commit();
    return problem == 0 ? success : report_problem(problem);
}

int watch(const std::string &database, bool json, bool time) {
    const watch_end end = watch_changes(sysdb_folder(), database.c_str(), json, time);
    if (end.output_error != 0) {
        return report(unavailable, std::string("cannot write the output: ") + std::strerror(end.output_error));
    }
    return end.problem == 0 ? success : report_problem(end.problem);
}

int databases() {
    session opened;
    std::vector<std::string> names;
    int problem = opened.environment.open(sysdb_folder(), sysdb_access::read);
    problem = problem != 0 ? problem : opened.transaction.begin_unnamed(opened.environment, sysdb_access::read);
    problem = problem != 0 ? problem : opened.transaction.named_databases(&names);
    opened.transaction.drop();
    if (problem != 0) {
        return report_problem(problem);
    }
    std::string text;
    for (const std::string &name : names) {
        text += escaped(name) + "\n";
    }
    return output(text);
}

int run_set(const sysdb_request &request) {
    const std::optional<sysdb_value> value = parse_value(request.type, request.value);
    if (!value) {
        const bool known = request.type == "int" || request.type == "real";
        return report_usage(known
                                ? "\"" + escaped(request.value) + "\" is no " + request.type + " or is out of its range"
                                : "the type must be int, real or string, not \"" + escaped(request.type) + "\"");
    }
    return set(request.database, request.key, *value);
}

int run(const sysdb_request &request) {
    if (request.command == "help") {
        return output(HELP);
    }
    if (request.command == "version") {
        return output("sysdb " ZELT_VERSION "\n");
    }
    if (request.command == "databases") {
        return databases();
    }
    if (request.command == "list") {
        return list(request.database, request.json);
    }
    if (request.command == "get") {
        return get(request.database, request.key, request.json);
    }
    if (request.command == "set") {
        return run_set(request);
    }
    return request.command == "del" ? del(request.database, request.key)
                                    : watch(request.database, request.json, request.time);
}

}  // namespace

int main(int argc, char **argv) try {
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error of the write, which is reported
    return run(read_request(argc, argv));
} catch (const request_error &e) {
    return report_usage(e.text);
} catch (const std::exception &e) {
    return report(unavailable, e.what());
}
