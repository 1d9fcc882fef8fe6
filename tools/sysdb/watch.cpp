#include "tools/sysdb/watch.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <map>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "posix/descriptor.h"
#include "store/environment.h"
#include "store/value_text.h"
#include "tools/sysdb/json.h"
#include "tools/sysdb/output.h"

namespace {

// Below what a person notices; a look costs one stat() and one word of mapped memory.
constexpr int LOOK_EVERY_MS = 50;

// Each key with what is printed behind it. Compared as text, so that a nan is equal to itself.
using shown_values = std::map<std::string, std::string>;

class watched_database {
public:
    watched_database(std::string folder, const char *named_database, bool json)
        : folder_(std::move(folder)), named_database_(named_database), json_(json) {}

    bool has_changed() {
        if (environment_.is_open() && environment_.is_stale()) {
            environment_.close();
        }
        return !environment_.is_open() || environment_.change_counter() != seen_;
    }

    int read(shown_values *shown) {
        sysdb_values values;
        const int result = read_values(&values);
        if (result != 0 && !sysdb_is_absent(result)) {
            return result;
        }
        for (const auto &[key, value] : values) {
            shown->emplace(key, tail(value));
        }
        return 0;
    }

    std::string line(const std::string &key, const std::string &tail) const {
        return json_ ? "{\"key\": " + json_string(key) + ", " + tail + "}\n" : escaped(key) + "\t" + tail + "\n";
    }

    const char *deleted_tail() const { return json_ ? R"("type": "deleted", "value": null)" : "deleted\t"; }

private:
    std::string tail(const sysdb_value &value) const {
        const std::string type(type_name(value));
        return json_ ? R"("type": ")" + type + R"(", "value": )" + json_value(value) : type + "\t" + value_text(value);
    }

    int read_values(sysdb_values *values) {
        if (!environment_.is_open()) {
            if (const int result = environment_.open(folder_, sysdb_access::read); result != 0) {
                return result;
            }
        }
        seen_ = environment_.change_counter();  // before the look: a commit in between is looked at twice, not missed
        sysdb_transaction transaction;
        const int result = transaction.begin(environment_, named_database_.c_str(), sysdb_access::read);
        std::vector<std::string> foreign_keys;
        return result != 0 ? result : transaction.list(values, &foreign_keys);
    }

    std::string folder_;
    std::string named_database_;
    bool json_;
    sysdb_environment environment_;
    std::size_t seen_ = 0;
};

// In the order of the keys, deletions in their place.
std::string differences(const watched_database &database, const shown_values &before, const shown_values &after) {
    shown_values changed;
    for (const auto &[key, tail] : before) {
        if (!after.contains(key)) {
            changed.emplace(key, database.deleted_tail());
        }
    }
    for (const auto &[key, tail] : after) {
        const auto old = before.find(key);
        if (old == before.end() || old->second != tail) {
            changed.emplace(key, tail);
        }
    }
    std::string lines;
    for (const auto &[key, tail] : changed) {
        lines += database.line(key, tail);
    }
    return lines;
}

descriptor stop_signals() {
    sigset_t signals = {};
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

// False when it is time to end: a signal, or nobody at the other end of the output, which poll() reports unasked.
bool wait_for_next_look(const descriptor &signals) {
    std::array<pollfd, 2> watched = {{{signals.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    const int ready = poll(watched.data(), watched.size(), LOOK_EVERY_MS);
    return ready == 0 || (ready < 0 && errno == EINTR);
}

}  // namespace

watch_end watch_changes(const std::string &folder, const char *named_database, bool json) {
    const descriptor signals = stop_signals();
    watched_database database(folder, named_database, json);
    shown_values shown;
    if (const int problem = database.read(&shown); problem != 0) {
        return {problem, 0};
    }
    while (wait_for_next_look(signals)) {
        if (!database.has_changed()) {
            continue;
        }
        shown_values now;
        if (const int problem = database.read(&now); problem != 0) {
            return {problem, 0};
        }
        const int error = print(differences(database, shown, now));
        if (error != 0) {
            return {0, error == EPIPE ? 0 : error};  // nobody reads: the usual end of "watch | head"
        }
        shown.swap(now);
    }
    return {};
}
