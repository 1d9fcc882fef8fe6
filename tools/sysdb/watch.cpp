#include "tools/sysdb/watch.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <map>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "posix/clock.h"
#include "posix/descriptor.h"
#include "store/reader.h"
#include "store/value_text.h"
#include "tools/sysdb/json.h"
#include "tools/sysdb/output.h"

namespace {

// Writers commit a cycle in many small transactions. One look is for all of those within this time, which is below what
// a person notices.
constexpr int GATHER_MS = 50;

// Each key with what is printed behind it. Compared as text, so that a nan is equal to itself.
using shown_values = std::map<std::string, std::string>;

class printed_form {
public:
    printed_form(bool json, bool with_time) : json_(json), with_time_(with_time) {}

    // What all lines of one look begin with.
    std::string head() const {
        const std::string time = with_time_ ? utc_text(seconds_since_1970()) : "";
        if (json_) {
            return with_time_ ? "{\"time\": \"" + time + "\", " : "{";
        }
        return with_time_ ? time + "\t" : "";
    }

    std::string line(const std::string &key, const std::string &tail) const {
        return json_ ? "\"key\": " + json_string(key) + ", " + tail + "}\n" : escaped(key) + "\t" + tail + "\n";
    }

    std::string tail(const sysdb_value &value) const {
        const std::string type(type_name(value));
        return json_ ? R"("type": ")" + type + R"(", "value": )" + json_value(value) : type + "\t" + value_text(value);
    }

    const char *deleted_tail() const { return json_ ? R"("type": "deleted", "value": null)" : "deleted\t"; }

private:
    bool json_;
    bool with_time_;
};

int read(sysdb_reader *reader, const printed_form &form, shown_values *shown) {
    sysdb_values values;
    std::vector<std::string> foreign_keys;
    const int result = reader->list(&values, &foreign_keys);
    for (const auto &[key, value] : values) {
        shown->emplace(key, form.tail(value));
    }
    return sysdb_is_absent(result) ? 0 : result;
}

// In the order of the keys, deletions in their place.
std::string differences(const printed_form &form, const shown_values &before, const shown_values &after) {
    shown_values changed;
    for (const auto &[key, tail] : before) {
        if (!after.contains(key)) {
            changed.emplace(key, form.deleted_tail());
        }
    }
    for (const auto &[key, tail] : after) {
        const auto old = before.find(key);
        if (old == before.end() || old->second != tail) {
            changed.emplace(key, tail);
        }
    }
    const std::string head = form.head();
    std::string lines;
    for (const auto &[key, tail] : changed) {
        lines += head + form.line(key, tail);
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
bool wait(const descriptor &signals, const sysdb_wait &until) {
    std::array<pollfd, 3> watched = {{{signals.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {until.fd, POLLIN, 0}}};
    const int ready = poll(watched.data(), watched.size(), until.at_most_ms);
    return ready < 0 ? errno == EINTR : watched[0].revents == 0 && watched[1].revents == 0;
}

bool wait_for_change(const descriptor &signals, sysdb_reader *reader) {
    do {
        if (!wait(signals, reader->wait())) {
            return false;
        }
    } while (!reader->has_changed());
    return wait(signals, {-1, GATHER_MS});
}

}  // namespace

watch_end watch_changes(const std::string &folder, const char *named_database, bool json, bool with_time) {
    const descriptor signals = stop_signals();
    const printed_form form(json, with_time);
    sysdb_reader reader(folder, named_database);
    shown_values shown;
    int problem = read(&reader, form, &shown);
    while (problem == 0 && wait_for_change(signals, &reader)) {
        shown_values now;
        problem = read(&reader, form, &now);
        if (problem != 0) {
            break;
        }
        if (const int error = print(differences(form, shown, now)); error != 0) {
            return {0, error == EPIPE ? 0 : error};  // nobody reads: the usual end of "watch | head"
        }
        shown.swap(now);
    }
    return {problem, 0};
}
