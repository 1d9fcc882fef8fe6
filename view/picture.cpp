#include "view/picture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "view/characters.h"
#include "view/duration.h"
#include "view/keys.h"

namespace view {

namespace {

bool has_own_type(const snapshot::value_type &stored) {
    const std::optional<kind> holds = kind_of(stored.first);
    return holds && static_cast<std::size_t>(*holds) == stored.second.index();
}

snapshot split_off_others(snapshot &cell) {
    snapshot others;
    for (auto next = cell.begin(); next != cell.end();) {
        const auto one = next++;
        if (!has_own_type(*one)) {
            others.insert(cell.extract(one));
        }
    }
    return others;
}

// A number behind the key is that of a secondary carrier.
std::vector<fact> find_facts(const snapshot &cell, std::span<const fact_key> keys, const std::string &behind = "") {
    std::vector<fact> facts(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::string key = keys[i].key + behind;
        static_cast<fact_key &>(facts[i]) = keys[i];
        if (kind_of(key) == kind::text) {
            facts[i].value = find_text(cell, key);
        } else {
            facts[i].value = find_number(cell, key);
        }
    }
    return facts;
}

// The daemon publishes RSCP as its index only, 2 * (RSCP + 120) held between 0 and 100.
signal_value rscp_of_index(const signal_key &key, const number &index) {
    const bound limit = index.value <= 0 ? bound::at_most : index.value >= 100 ? bound::at_least : bound::none;
    return {key, {index.state, index.value / 2 - 120}, true, limit};
}

std::vector<signal_value> find_signals(const snapshot &cell, std::span<const signal_key> keys,
                                       const std::string &behind = "") {
    std::vector<signal_value> signals;
    for (const signal_key &one : keys) {
        signal_value found{one, find_signal(cell, one.key + behind, one.what)};
        if (!found.value.told() && *one.index_key != '\0') {
            found = rscp_of_index(one, find_signal(cell, one.index_key, quantity::sqi));
        }
        if (found.value.told() || one.shown != showing::when_there) {
            signals.push_back(found);
        }
    }
    return signals;
}

// 28 bits: the upper 20 number the station, the lower 8 its cells.
std::optional<station> find_station(const snapshot &cell, const technology &radio) {
    const number id = find_number(cell, "CELL_CID");
    if (radio.legs.front().name != std::string_view("LTE") || !id.known() || id.value < 0 || id.value > 0xFFFFFFF) {
        return std::nullopt;
    }
    const int bits = static_cast<int>(id.value);
    return station{bits >> 8, bits & 0xFF};
}

std::vector<leg> find_legs(const snapshot &cell, std::span<const leg_keys> keys) {
    std::vector<leg> legs;
    for (const leg_keys &one : keys) {
        legs.push_back({one.name, one.heading, find_facts(cell, one.facts), find_signals(cell, one.signals)});
    }
    return legs;
}

// Of a technology that nobody knows nothing can be said to be missing.
void drop_what_is_missing(picture &known) {
    const auto fact_is_missing = [](const fact &one) { return !one.known(); };
    std::erase_if(known.cell, fact_is_missing);
    std::erase_if(known.radio, fact_is_missing);
    for (leg &one : known.legs) {
        std::erase_if(one.signals, [](const signal_value &each) { return !each.value.told(); });
    }
}

carrier find_carrier(const snapshot &cell, std::string name, const carrier_keys &keys, const std::string &behind = "") {
    return {std::move(name), find_facts(cell, keys.facts, behind), find_signals(cell, keys.signals, behind)};
}

std::vector<carrier> find_carriers(const snapshot &cell, const technology &radio) {
    std::vector<carrier> carriers;
    for (int index = 1; index <= CARRIERS_MAX; ++index) {
        const std::string number = std::to_string(index);
        const bool there = std::ranges::any_of(
            CARRIER_KEYS, [&](const carrier_key &one) { return cell.contains(std::string(one.stem) + number); });
        if (there) {
            carriers.push_back(find_carrier(cell, "SCC " + number, secondary_carrier(), number));
        }
    }
    if (!carriers.empty() && !radio.primary_carrier.signals.empty()) {
        carriers.insert(carriers.begin(), find_carrier(cell, "primary", radio.primary_carrier));
    }
    return carriers;
}

phrase find_address(const snapshot &cell, const char *key) {
    const phrase stored = find_text(cell, key);
    return stored.value == "0.0.0.0" ? phrase{} : stored;  // what a clear leaves behind
}

// The line without its empty places and the card's number, and with words where the daemon writes the mark of a missing
// value.
phrase tidy_summary(const phrase &line) {
    if (!line.known()) {
        return line;
    }
    const std::string mark = ": " + std::string(NOT_REPORTED_TEXT);
    std::string tidy;
    std::string_view rest = line.value;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(", "), rest.size());
        std::string field(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 2, rest.size()));
        if (const std::size_t at = field.find(mark); at != std::string::npos) {
            field.resize(at);
            field += std::string(": ") + word(presence::not_reported);
        }
        if (field.find_first_not_of(" ,") != std::string::npos && !field.starts_with("ICCID: ")) {
            tidy += (tidy.empty() ? "" : ", ") + field;
        }
    }
    return {presence::known, tidy};
}

// An exchange of the daemon holds the lock for 5 s at most. Longer, while no answer comes, it is somebody else's.
constexpr double HELD_SECONDS = 10;

bool is_held(const picture &known, const runtime_state &around) {
    return around.seconds_locked.value_or(0) > HELD_SECONDS && known.updated.value_or(0) > HELD_SECONDS;
}

std::optional<condition> judge_port(const port_report &port) {
    if (trouble_of(port).empty()) {
        return std::nullopt;
    }
    return port.is == port_report::state::hung_up            ? condition::hung_up
           : port.is == port_report::state::cannot_be_opened ? condition::no_port
           : port.is == port_report::state::in_use           ? condition::port_held
                                                             : condition::no_answer;
}

condition judge(const picture &known, const reading &database, const runtime_state &around) {
    if (!database.cell) {
        return condition::no_database;
    }
    if (around.daemon != runtime_state::process::running) {
        return condition::daemon_absent;
    }
    if (around.paused) {
        return condition::paused;
    }
    if (!around.module_present) {
        return condition::module_gone;
    }
    if (is_held(known, around)) {
        return condition::port_held;
    }
    if (const std::optional<condition> trouble = judge_port(database.port)) {
        return *trouble;
    }
    if (std::max(known.updated, known.age.written).value_or(0) > STALE_SECONDS) {
        return condition::stale;
    }
    return known.registered.known() && known.registered.value ? condition::well : condition::not_registered;
}

std::string say_held(const runtime_state &around) {
    const std::string time = duration(around.seconds_locked.value_or(0));
    if (!around.holder.empty()) {
        return "Another program has held the port for " + time + ": " + around.holder +
               ". The daemon waits until it removes /tmp/zelt.cli.";
    }
    return "The port has been locked for " + time + " (/tmp/zelt.cli)" +
           (around.sees_all_programs ? ", but no program has it open: remove the file if nobody uses the module."
                                     : ": the daemon waits. Only root sees which program has it open.");
}

std::string say_trouble(const port_report &port, const runtime_state &around) {
    return trouble_of(port) + (around.holder.empty() ? "" : " Another program has it open: " + around.holder + '.') +
           (around.module_in_box && port.is != port_report::state::no_answer
                ? " When the module is back, start the box again."
                : "");
}

std::string sentence_of(const picture &known, const reading &database, const runtime_state &around) {
    switch (known.state) {
    case condition::no_database:
        return harmless(database.problem);
    case condition::daemon_absent:
        return around.daemon == runtime_state::process::gone ? "Daemon not running: its process has gone."
                                                             : "Daemon not running (no /var/run/zelt-stats.pid).";
    case condition::paused:
        return "Daemon paused (no /tmp/zstats.running).";
    case condition::module_gone:
        return "Module gone (no /dev/ttyQSB3).";
    case condition::port_held:
        return is_held(known, around) ? say_held(around) : trouble_of(database.port);
    case condition::hung_up:
    case condition::no_port:
    case condition::no_answer:
        return say_trouble(database.port, around);
    case condition::stale:
        return "No news for " + duration(std::max(known.updated, known.age.written).value_or(0)) +
               ": the daemon hangs or waits for the module.";
    case condition::not_registered:
        return known.registered.known() ? "Not registered in a network. Last known values."
                                        : "Registration not known yet.";
    case condition::well:
        break;
    }
    return known.roaming.known() && known.roaming.value ? "Registered, roaming." : "Registered at home.";
}

}  // namespace

const signal_value *leg::find(quantity what) const {
    const auto found = std::ranges::find(signals, what, &signal_value::what);
    return found == signals.end() ? nullptr : &*found;
}

const char *name_of(condition state) {
    // In the order of the enumeration.
    constexpr std::array<const char *, 11> NAMES{"no database", "daemon absent",  "paused",  "module gone",
                                                 "port held",   "hung up",        "no port", "no answer",
                                                 "stale",       "not registered", "well"};
    return NAMES.at(static_cast<std::size_t>(state));
}

picture build_picture(const reading &database, const runtime_state &around, const ages &age) {
    picture known;
    snapshot cell = database.cell.value_or(snapshot{});
    known.other = split_off_others(cell);
    for (const char *key : SUBSCRIBER_KEYS) {
        known.other.erase(key);
    }
    known.foreign_keys = database.foreign_keys;
    const phrase net_type = find_text(cell, "CELL_NET_TYPE");
    const technology &radio = technology_of(net_type.value);
    known.technology = net_type.value;
    known.model = find_text(cell, "CELL_MODEL");
    known.carrier_name = find_text(cell, "CELL_CARRIER");
    known.mcc = find_text(cell, "CELL_MCC");
    known.mnc = find_text(cell, "CELL_MNC");
    known.cell = find_facts(cell, radio.cell);
    known.lte_station = find_station(cell, radio);
    known.radio = find_facts(cell, radio.radio);
    known.legs = find_legs(cell, radio.legs);
    known.carriers = find_carriers(cell, radio);
    if (radio.name.empty()) {
        drop_what_is_missing(known);
    }
    known.registered = find_flag(cell, "CELL_REGISTERED");
    known.roaming = find_flag(cell, "CELL_ROAMING");
    known.link_watched = !around.module_in_box;
    known.link_up = known.link_watched ? find_flag(cell, "CELL_CONNECTED") : maybe<bool>{};
    const bool link_down = known.link_up.known() && !known.link_up.value;
    if (!link_down && known.link_watched) {
        known.address = find_address(cell, "CELL_IPV4");
        known.gateway = find_address(cell, "CELL_GATEWAY");
        known.primary_dns = find_address(cell, "CELL_PRIMARY_DNS");
        known.secondary_dns = find_address(cell, "CELL_SECONDARY_DNS");
    }
    known.summary = tidy_summary(find_text(cell, "CELL_RSSIMON"));
    known.age = age;
    known.updated = database.port.knows() ? database.port.seconds_silent : age.written;
    known.state = judge(known, database, around);
    known.sentence = sentence_of(known, database, around);
    return known;
}

subscriber find_subscriber(const reading &database) {
    const snapshot cell = database.cell.value_or(snapshot{});
    const auto [imsi, directory_number, iccid] = SUBSCRIBER_KEYS;
    return {find_text(cell, imsi), find_text(cell, directory_number), find_text(cell, iccid)};
}

}  // namespace view
